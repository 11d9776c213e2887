// SPDX-License-Identifier: Apache-2.0
//
// The files of the page, which are in the program.
#include "Commands.h"
#include "Handle.h"

#include <gio/gio.h>

namespace panel {

namespace {

constexpr char kResources[] = "/srcwatch/panel/page/";

struct FileType {
    const char* ending;
    const char* type;
};
constexpr FileType kTypes[] = {
    {".html", "text/html; charset=utf-8"},
    {".js", "text/javascript; charset=utf-8"},
    {".css", "text/css; charset=utf-8"},
    {".svg", "image/svg+xml"},
};

const char* TypeOf(const std::string& name)
{
    for (const auto& [ending, type] : kTypes) {
        if (name.size() > std::char_traits<char>::length(ending) &&
            name.compare(name.size() - std::char_traits<char>::length(ending), std::string::npos, ending) == 0)
            return type;
    }
    return nullptr;
}

void SendFile(const std::string& name, const Answer& answer)
{
    const char* const type = TypeOf(name);
    const srcwatch::Handle<GBytes, g_bytes_unref> bytes(
        type != nullptr ? g_resources_lookup_data((kResources + name).c_str(), G_RESOURCE_LOOKUP_FLAGS_NONE, nullptr)
                        : nullptr);
    if (!bytes) return answer(Refusal(kNotFound, "no such page"));
    std::size_t size = 0;
    const auto* const data = static_cast<const char*>(g_bytes_get_data(bytes.get(), &size));
    answer({kOk, type, std::string(data, size)});
}

}  // namespace

void AddPages(Routes& routes)
{
    routes.questions.push_back(
        {"/", [](const std::string&, const Request&, const Answer& answer) { SendFile("index.html", answer); }});
    routes.questions.push_back(
        {"/page/*", [](const std::string& name, const Request&, const Answer& answer) { SendFile(name, answer); }});
}

}  // namespace panel
