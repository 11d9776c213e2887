// SPDX-License-Identifier: Apache-2.0
#include "Files.h"

#include "Evidence.h"
#include "Failure.h"

namespace ctl {

std::string ReadFile(const std::string& path, std::size_t limit)
{
    const auto read = srcwatch::ReadBoundedFile(path, limit);
    if (!read) throw Failure("no such file: " + path);
    if (!read->value) throw Failure(path + ": " + srcwatch::InOneLine(read->remarks));
    return {read->value->begin(), read->value->end()};
}

}  // namespace ctl
