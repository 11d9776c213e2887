// SPDX-License-Identifier: Apache-2.0
#include "Tar.h"

#include "Handle.h"

#include <archive.h>
#include <archive_entry.h>

namespace panel {

namespace {

using Archive = srcwatch::Handle<archive, archive_write_free>;
using Entry = srcwatch::Handle<archive_entry, archive_entry_free>;

la_ssize_t Append(archive* /*tar*/, void* bytes, const void* block, std::size_t size)
{
    static_cast<std::string*>(bytes)->append(static_cast<const char*>(block), size);
    return static_cast<la_ssize_t>(size);
}

bool Add(archive* tar, const TarFile& file)
{
    const Entry entry(archive_entry_new());
    archive_entry_set_pathname(entry.get(), file.name.c_str());
    archive_entry_set_filetype(entry.get(), AE_IFREG);
    archive_entry_set_perm(entry.get(), 0644);
    archive_entry_set_size(entry.get(), static_cast<la_int64_t>(file.bytes.size()));
    return archive_write_header(tar, entry.get()) == ARCHIVE_OK &&
           archive_write_data(tar, file.bytes.data(), file.bytes.size()) == static_cast<la_ssize_t>(file.bytes.size());
}

}  // namespace

std::optional<std::string> PackTar(const std::vector<TarFile>& files)
{
    std::string bytes;
    const Archive tar(archive_write_new());
    bool isPacked = archive_write_set_format_gnutar(tar.get()) == ARCHIVE_OK &&
                    archive_write_open(tar.get(), &bytes, nullptr, Append, nullptr) == ARCHIVE_OK;
    for (const TarFile& file : files) isPacked = isPacked && Add(tar.get(), file);
    if (!isPacked || archive_write_close(tar.get()) != ARCHIVE_OK) return std::nullopt;
    return bytes;
}

}  // namespace panel
