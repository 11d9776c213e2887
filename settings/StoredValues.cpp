// SPDX-License-Identifier: Apache-2.0
#include "StoredValues.h"

#include <cstdlib>
#include <memory>

#include <vconf.h>

namespace srcwatch {

std::optional<std::string> ReadText(const std::string& key)
{
    const std::unique_ptr<char, decltype(&std::free)> text(vconf_get_str(key.c_str()), std::free);
    if (text == nullptr) return std::nullopt;
    return std::string(text.get());
}

std::optional<int> ReadNumber(const std::string& key)
{
    int number = 0;
    if (vconf_get_int(key.c_str(), &number) != 0) return std::nullopt;
    return number;
}

}  // namespace srcwatch
