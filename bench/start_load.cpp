// SPDX-License-Identifier: Apache-2.0
//
// Loads the library into a process that has all that it needs already, and prints the nanoseconds from its first call
// of the platform, with which its own start begins, until it was there; then those of the whole loading.
#include <cstdint>
#include <cstdio>
#include <ctime>

#include <dlfcn.h>
#include <dlog.h>
#include <gio/gio.h>
#include <json/json.h>
#include <system_info.h>
#include <vconf.h>

namespace {

std::int64_t g_firstCallNs = 0;

std::int64_t NowNs()
{
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return now.tv_sec * 1000000000LL + now.tv_nsec;
}

}  // namespace

// Called by the library at the beginning of the start of each of its source files.
extern "C" __attribute__((visibility("default"))) int system_info_get_value_int(system_info_key_e, int* value)
{
    if (g_firstCallNs == 0) g_firstCallNs = NowNs();
    *value = 8;
    return 0;
}

int main(int argc, char** argv)
{
    int number = 0;
    const Json::Value value("text");
    if (argc < 2 || !value.isString() || g_dbus_is_name("org.nalto.tv.qdinfo") == FALSE) return 1;
    if (vconf_get_int("", &number) == 0) return 1;  // the platform is there too

    const std::int64_t start = NowNs();
    if (dlopen(argv[1], RTLD_NOW) == nullptr) {
        std::fprintf(stderr, "%s\n", dlerror());
        return 1;
    }
    const std::int64_t end = NowNs();
    if (g_firstCallNs == 0) return 1;
    std::printf("%lld %lld\n", static_cast<long long>(end - g_firstCallNs), static_cast<long long>(end - start));
    return 0;
}
