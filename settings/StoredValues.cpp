// SPDX-License-Identifier: Apache-2.0
#include "StoredValues.h"

#include "Handle.h"
#include "OptionalPlatform.h"

#include <cerrno>
#include <cstdlib>

#include <vconf.h>

namespace srcwatch {

namespace {

// Whether the result of a read says that the setting cannot be read, and is not merely absent or of the other type.
bool IsFailure(int result) { return SaysWhyReadsFail() && result != 0 && result != -ENOENT; }

}  // namespace

// A text that cannot be read looks like an absent one, so the number is asked for, whose result has the reason.
ReadResult ReadText(const std::string& key, std::string& text)
{
    const Handle<char, std::free> stored(vconf_get_str(key.c_str()));
    if (stored) {
        text = stored.get();
        return ReadResult::kRead;
    }
    int number = 0;
    const int result = vconf_get_int(key.c_str(), &number);
    if (!IsFailure(result)) return ReadResult::kAbsent;
    return result == -E2BIG ? ReadResult::kTooLarge : ReadResult::kFailed;
}

ReadResult ReadNumber(const std::string& key, int& number)
{
    const int result = vconf_get_int(key.c_str(), &number);
    if (result == 0) return ReadResult::kRead;
    const bool isText = result == -EPROTOTYPE || result == -E2BIG;
    return IsFailure(result) && !isText ? ReadResult::kFailed : ReadResult::kAbsent;
}

std::optional<std::string> ReadText(const std::string& key)
{
    std::string text;
    return ReadText(key, text) == ReadResult::kRead ? std::make_optional(text) : std::nullopt;
}

std::optional<int> ReadNumber(const std::string& key)
{
    int number = 0;
    return ReadNumber(key, number) == ReadResult::kRead ? std::make_optional(number) : std::nullopt;
}

}  // namespace srcwatch
