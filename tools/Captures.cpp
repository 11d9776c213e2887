// SPDX-License-Identifier: Apache-2.0
#include "Captures.h"

#include "Bus.h"
#include "Failure.h"
#include "InputsDirectory.h"
#include "srcwatch-protocol.h"

#include <algorithm>
#include <filesystem>
#include <system_error>

namespace ctl {

namespace {

bool IsCapture(const std::filesystem::path& directory)
{
    std::error_code error;
    return std::filesystem::exists(directory / srcwatch::kSpdFile, error) ||
           std::filesystem::exists(directory / srcwatch::kCecFile, error) ||
           std::filesystem::exists(directory / srcwatch::kAksvFile, error);
}

}  // namespace

std::optional<srcwatch::Capture> AskForCapture(int port)
try {
    if (!ServiceOwner(ConnectBus().get())) return std::nullopt;
    srcwatch_event_s request{};
    request.args[0] = port;
    auto capture = srcwatch::CaptureOf(ParseReply(CallService(SRCWATCH_REQUEST_CAPTURE, request, "")));
    return capture && !capture->IsEmpty() ? capture : std::nullopt;
} catch (const Failure&) {
    return std::nullopt;
}

void SaveCapture(const std::string& directory, const srcwatch::Capture& capture)
{
    const std::string why = srcwatch::SaveCapture(directory, capture);
    if (!why.empty()) throw Failure(why);
}

std::vector<std::string> FindCaptures(const std::string& directory)
{
    if (IsCapture(directory)) return {directory};
    std::error_code error;
    std::vector<std::string> captures;
    for (std::filesystem::directory_iterator it(directory, error), end; !error && it != end; it.increment(error)) {
        if (IsCapture(it->path())) captures.push_back(it->path());
    }
    if (error) throw Failure("cannot read the directory " + directory + ": " + error.message());
    if (captures.empty()) throw Failure(directory + " has no captures");
    std::sort(captures.begin(), captures.end());
    return captures;
}

}  // namespace ctl
