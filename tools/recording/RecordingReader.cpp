// SPDX-License-Identifier: Apache-2.0
#include "BusCapture.h"
#include "EntryForm.h"
#include "Failure.h"
#include "Handle.h"
#include "JsonText.h"
#include "RecordingFile.h"

#include <cerrno>
#include <cstdio>
#include <cstring>

#include <sys/stat.h>

namespace ctl {

namespace {

constexpr std::size_t kLineLimit = std::size_t{256} * 1024 * 1024;

using FilePtr = srcwatch::Handle<FILE, std::fclose>;

class LineSource : public EntrySource {
public:
    LineSource(const std::string& path, FilePtr file) : m_path(path), m_file(std::move(file)) {}

    std::optional<Entry> Next() override
    {
        std::string line;
        if (!ReadLine(line)) return std::nullopt;
        const auto json = srcwatch::ParseJson(line);
        if (m_number == 1 && (!json || !json->isObject() || (*json)["kind"] != "snapshot")) {
            throw Failure(m_path + " is neither a recording nor what 'busctl capture' wrote");
        }
        const std::string fault = json ? srcwatch::FaultOf(*json) : "it is not JSON";
        if (!fault.empty()) Fail(fault);
        return Entry{m_number, *json};
    }

private:
    [[noreturn]] void Fail(const std::string& why) const
    {
        throw Failure(m_path + ", line " + std::to_string(m_number) + ": " + why);
    }

    // Returns false at the end of the file.
    bool ReadLine(std::string& line)
    {
        ++m_number;
        char part[65536];
        while (std::fgets(part, sizeof part, m_file.get()) != nullptr) {
            line += part;
            if (line.size() > kLineLimit) Fail("it is too long for a recording");
            if (!line.empty() && line.back() == '\n') return true;
        }
        if (std::ferror(m_file.get()) != 0) Fail(std::string("cannot be read: ") + strerrordesc_np(errno));
        if (!line.empty() && m_number > 1) {
            Fail("it is cut off; 'head -n " + std::to_string(m_number - 1) + "' keeps the whole lines before it");
        }
        return !line.empty();
    }

    const std::string m_path;
    const FilePtr m_file;
    std::size_t m_number = 0;
};

FilePtr Open(const std::string& path)
{
    FilePtr file(std::fopen(path.c_str(), "rbe"));
    struct stat status {};
    if (!file || fstat(fileno(file.get()), &status) != 0) {
        throw Failure(errno == ENOENT ? "no such file: " + path
                                      : "cannot read " + path + ": " + strerrordesc_np(errno));
    }
    if (!S_ISREG(status.st_mode)) throw Failure(path + " is not a file");
    if (status.st_size == 0) throw Failure(path + " is empty");
    return file;
}

}  // namespace

std::unique_ptr<EntrySource> OpenRecording(const std::string& path)
{
    FilePtr file = Open(path);
    const int first = std::fgetc(file.get());
    static_cast<void>(std::ungetc(first, file.get()));  // one byte can always be put back
    // The forms of packet captures begin with a magic number, in which there is no such byte.
    if (first == '{') return std::make_unique<LineSource>(path, std::move(file));
    return std::make_unique<BusCapture>(path, file.release());
}

int CopyRecording(const std::string& from, const std::string& to, AksvHider& hider)
{
    const std::unique_ptr<EntrySource> source = OpenRecording(from);
    RecordingWriter writer(to, hider);
    while (std::optional<Entry> entry = source->Next()) writer.WriteTimed(std::move(entry->json));
    writer.Flush();
    return writer.Count();
}

}  // namespace ctl
