// SPDX-License-Identifier: Apache-2.0
#include "KeyFile.h"

#include "Evidence.h"
#include "Handle.h"

#include <filesystem>
#include <set>
#include <sstream>
#include <system_error>
#include <utility>

#include <glib.h>

namespace srcwatch {

namespace {

constexpr std::size_t kFileLimit = 64UL * 1024;

using Error = Handle<GError, g_error_free>;
using Texts = Handle<gchar*, g_strfreev>;
using Text = Handle<gchar, g_free>;

// GLib's messages have quotation marks that not every log shows.
std::string Plain(std::string message)
{
    for (const std::string mark : {"\u201c", "\u201d"}) {
        for (std::size_t at = 0; (at = message.find(mark)) != std::string::npos;) message.replace(at, mark.size(), "'");
    }
    return message;
}

std::string PlaceOf(const std::string& path, const std::string& group, const std::string& key)
{
    return path + ":" + group + "/" + key;
}

// A line about a file, or about a key of it.
void AddFault(const std::string& place, const std::string& what, KeyFile& file)
{
    file.faults.push_back(place + ": " + what);
}

std::string Stripped(const std::string& text)
{
    constexpr const char* kBlanks = " \t\r";
    const std::size_t first = text.find_first_not_of(kBlanks);
    return first == std::string::npos ? "" : text.substr(first, text.find_last_not_of(kBlanks) - first + 1);
}

// GLib takes the last value of a key that is given twice, and drops the others without a word.
void ReportRepeated(const std::string& path, const std::string& content, KeyFile& file)
{
    std::istringstream lines(content);
    std::set<std::string> seen;
    std::string group;
    for (std::string line; std::getline(lines, line);) {
        line = Stripped(line);
        if (line.empty() || line[0] == '#') continue;
        const std::size_t end = line.find('=');
        if (line[0] == '[') {
            group = line.substr(1, line.rfind(']') - 1);
        } else if (end != std::string::npos) {
            const std::string place = PlaceOf(path, group, Stripped(line.substr(0, end)));
            if (!seen.insert(place).second) AddFault(place, "given twice", file);
        }
    }
}

void ReadEntry(const std::string& path, GKeyFile* keys, const char* group, const char* key, KeyFile& file)
{
    GError* failure = nullptr;
    const Text text(g_key_file_get_string(keys, group, key, &failure));
    Texts list;
    if (failure == nullptr) list.reset(g_key_file_get_string_list(keys, group, key, nullptr, &failure));
    if (failure != nullptr) {
        const Error owner(failure);
        AddFault(PlaceOf(path, group, key), Plain(failure->message), file);
        return;
    }
    KeyFileEntry entry{group, key, text.get(), {}};
    for (gchar** value = list.get(); *value != nullptr; ++value) entry.list.emplace_back(*value);
    file.entries.push_back(std::move(entry));
}

std::string Load(const std::string& path, KeyFile& file)
{
    const auto read = ReadBoundedFile(path, kFileLimit);
    if (read && read->value) return {read->value->begin(), read->value->end()};
    std::error_code ignored;  // what is not known to be absent is not
    file.isAbsent = !read || std::filesystem::status(path, ignored).type() == std::filesystem::file_type::not_found;
    AddFault(path, "cannot be read: " + (read ? InOneLine(read->remarks) : "No such file or directory"), file);
    return "";
}

}  // namespace

KeyFile ReadKeyFile(const std::string& path)
{
    KeyFile file;
    const std::string content = Load(path, file);
    const Handle<GKeyFile, g_key_file_unref> keys(g_key_file_new());
    GError* failure = nullptr;
    if (!content.empty() &&
        g_key_file_load_from_data(keys.get(), content.data(), content.size(), G_KEY_FILE_NONE, &failure) == FALSE) {
        const Error owner(failure);
        AddFault(path, Plain(failure->message), file);
        return file;
    }
    ReportRepeated(path, content, file);
    const Texts groups(g_key_file_get_groups(keys.get(), nullptr));
    for (gchar** group = groups.get(); *group != nullptr; ++group) {
        file.groups.emplace_back(*group);
        const Texts names(g_key_file_get_keys(keys.get(), *group, nullptr, nullptr));
        for (gchar** key = names.get(); *key != nullptr; ++key) ReadEntry(path, keys.get(), *group, *key, file);
    }
    return file;
}

}  // namespace srcwatch
