// SPDX-License-Identifier: Apache-2.0
//
// The smallest platform that the library can work on: a TV with two HDMI inputs and a cable in the first, whose
// settings are files, and whose log is the standard error stream. The files are in the directory that EXAMPLE_SETTINGS
// names, all together: this TV does not forget the volatile settings, nor does it sync the durable ones to its disk.
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iterator>
#include <optional>
#include <string>

#include <TVServiceAPI.h>
#include <dlog.h>
#include <system_info.h>
#include <unistd.h>
#include <vconf.h>

namespace {

constexpr int kHdmi1 = 13;

// The first character of a file is the type of its setting.
constexpr char kNumber = 'n';
constexpr char kText = 't';

std::string PathOf(std::string key)
{
    for (char& c : key) {
        if (c == '/') c = '%';
    }
    const char* const directory = std::getenv("EXAMPLE_SETTINGS");
    return std::string(directory == nullptr ? "." : directory) + "/" + key;
}

std::optional<std::string> Read(const char* key, char type)
{
    std::ifstream file(PathOf(key), std::ios::binary);
    if (file.get() != type) return std::nullopt;
    return std::string(std::istreambuf_iterator<char>(file), {});
}

// The setting is replaced at once, whoever reads it meanwhile. A process that is killed leaves its new file behind.
int Write(const char* key, char type, const std::string& value)
{
    const std::string path = PathOf(key);
    std::string written = path + ".XXXXXX";
    const int descriptor = mkstemp(written.data());
    if (descriptor < 0) return -1;
    close(descriptor);
    std::ofstream file(written, std::ios::binary);
    file << type << value;
    file.close();
    if (file && std::rename(written.c_str(), path.c_str()) == 0) return 0;
    std::remove(written.c_str());
    return -1;
}

class SourceControl : public ISourceControl {
public:
    int IsExternalSourceConnected(int sourceId, bool* connected) override
    {
        *connected = sourceId == kHdmi1;
        return 1;
    }
};

}  // namespace

int vconf_get_int(const char* key, int* value)
{
    const std::optional<std::string> stored = Read(key, kNumber);
    if (!stored) return -1;
    *value = std::atoi(stored->c_str());
    return 0;
}

int vconf_set_int(const char* key, int value) { return Write(key, kNumber, std::to_string(value)); }

char* vconf_get_str(const char* key)
{
    const std::optional<std::string> stored = Read(key, kText);
    return stored ? strdup(stored->c_str()) : nullptr;
}

int vconf_set_str(const char* key, const char* value) { return Write(key, kText, value); }

int __dlog_print(int, int, const char* tag, const char* format, ...)
{
    std::va_list arguments;
    va_start(arguments, format);
    const int prefix = std::fprintf(stderr, "%s: ", tag);
    const int line = std::vfprintf(stderr, format, arguments);
    va_end(arguments);
    return prefix + line;
}

int system_info_get_value_int(system_info_key_e key, int* value)
{
    if (key != SYSTEM_INFO_KEY_NUM_OF_HDMI) return -1;
    *value = 2;
    return 0;
}

int system_info_get_custom_bool(const char*, bool* value)
{
    *value = true;
    return 0;
}

int TVServiceAPI::CreateSourceControl(EProfile, int, ISourceControl** control)
{
    static SourceControl theControl;
    *control = &theControl;
    return 0;
}
