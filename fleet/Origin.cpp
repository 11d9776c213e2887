// SPDX-License-Identifier: Apache-2.0
#include "Origin.h"

#include "Handle.h"

#include <cerrno>
#include <cstring>
#include <fstream>

#include <glib.h>

namespace srcwatch {

namespace {

constexpr std::size_t kShortestKey = 16;
constexpr std::size_t kLongestKey = 4096;
constexpr std::size_t kTvDigits = 32;
constexpr std::size_t kTextLimit = 128;  // so that lines stay short

std::string OsInfo(const char* key)
{
    const Handle<gchar, g_free> text(g_get_os_info(key));
    return text ? std::string(text.get()).substr(0, kTextLimit) : "";
}

}  // namespace

std::string CheckOriginText(const std::string& text)
{
    const bool isUsable = !text.empty() && text.size() <= kTextLimit &&
                          g_utf8_validate(text.data(), static_cast<gssize>(text.size()), nullptr) != FALSE;
    return isUsable ? "" : "'" + text + "' is not a text of 1 to 128 bytes";
}

// The machine-id is a secret of the machine, so it is the key and not the text.
std::string DefaultTv()
{
    std::string machineId;
    std::getline(std::ifstream("/etc/machine-id"), machineId);
    if (machineId.empty()) return "";
    const Handle<gchar, g_free> hash(g_compute_hmac_for_string(
        G_CHECKSUM_SHA256, reinterpret_cast<const guchar*>(machineId.data()), machineId.size(), "srcwatch", -1));
    return std::string(hash.get()).substr(0, kTvDigits);
}

std::string DefaultFirmware()
{
    const std::string image = OsInfo("IMAGE_VERSION");
    return image.empty() ? OsInfo(G_OS_INFO_KEY_VERSION_ID) : image;
}

AksvKey ReadAksvKey(const std::string& path)
{
    errno = 0;
    std::ifstream file(path, std::ios::binary);
    std::string key(kLongestKey + 1, '\0');
    file.read(key.data(), static_cast<std::streamsize>(key.size()));
    if (!file.is_open() || file.bad()) return {"", "the key " + path + " cannot be read: " + std::strerror(errno)};
    key.resize(static_cast<std::size_t>(file.gcount()));
    if (key.size() >= kShortestKey && key.size() <= kLongestKey) return {key, ""};
    return {"", "the key " + path + " must have 16 to 4096 bytes"};
}

}  // namespace srcwatch
