// SPDX-License-Identifier: Apache-2.0
#include "DiskImages.h"

#include <algorithm>
#include <utility>

namespace srcwatch_test {

namespace {

constexpr std::size_t kSector = 512;

using Kind = FileEvent::Kind;

bool Toss(std::mt19937& random) { return (random() & 1U) != 0; }

void Put(std::string& content, std::size_t offset, const char* bytes, std::size_t size)
{
    if (content.size() < offset + size) content.resize(offset + size, '\0');
    content.replace(offset, size, bytes, size);
}

// Also a write that brings none of its bytes may have made the file longer.
void PutTorn(std::string& content, const FileEvent& event, std::mt19937& random)
{
    const std::size_t end = event.offset + event.bytes.size();
    if (Toss(random) && content.size() < end) content.resize(end, '\0');
    for (std::size_t at = event.offset; at < end;) {
        const std::size_t next = std::min(end, (at / kSector + 1) * kSector);
        if (Toss(random)) Put(content, at, event.bytes.data() + (at - event.offset), next - at);
        at = next;
    }
}

}  // namespace

void Disk::Change(std::string& content, const FileEvent& event)
{
    if (event.kind == Kind::kWrite) Put(content, event.offset, event.bytes.data(), event.bytes.size());
    if (event.kind == Kind::kTruncate) content.resize(event.offset, '\0');
}

// Writes to a file that was removed afterwards are nothing any more.
void Disk::SyncName(File& file)
{
    std::vector<FileEvent> rest;
    for (FileEvent& event : file.queue) {
        if (event.kind == Kind::kCreate) {
            file.isThere = true;
        } else if (event.kind == Kind::kRemove) {
            file.isThere = false;
            file.content.clear();
            rest.clear();
        } else if (event.kind == Kind::kRename) {
            file.isThere = true;
            file.content = event.bytes;
            rest.clear();
        } else {
            rest.push_back(std::move(event));
        }
    }
    file.queue = std::move(rest);
}

// File systems that keep a journal also keep the name of a new file when its content is synchronised.
void Disk::Sync(File& file)
{
    SyncName(file);
    for (const FileEvent& event : file.queue) Change(file.content, event);
    file.queue.clear();
}

void Disk::Apply(const FileEvent& event)
{
    if (event.kind == Kind::kNote) return;
    if (event.kind == Kind::kRename) return Rename(event);
    if (event.kind != Kind::kSync) {
        m_files[event.file].queue.push_back(event);
        return;
    }
    if (!m_obeysSync) return;
    if (event.file == kDirectoryItself) {
        for (auto& [name, file] : m_files) SyncName(file);
    } else {
        Sync(m_files[event.file]);
    }
}

// Only what was synchronised under the old name is sure to be there under the new one.
void Disk::Rename(const FileEvent& event)
{
    File& before = m_files[event.bytes];
    FileEvent arrival = event;
    arrival.bytes = before.content;
    m_files[event.file].queue.push_back(std::move(arrival));
    before.queue.push_back({Kind::kRemove, event.bytes, 0, {}});
}

void Disk::Settle()
{
    for (auto& [name, file] : m_files) Sync(file);
}

void Disk::Arrive(const File& file, Unsynced kind, std::mt19937& random, std::string& content, bool& isThere)
{
    for (const FileEvent& event : file.queue) {
        const bool isTorn = kind == Unsynced::kTorn && event.kind == Kind::kWrite;
        if (!isTorn && kind != Unsynced::kKept && (kind == Unsynced::kLost || Toss(random))) continue;
        if (event.kind == Kind::kCreate || event.kind == Kind::kRename) isThere = true;
        if (event.kind == Kind::kRename) content = event.bytes;
        if (event.kind == Kind::kRemove) isThere = false;
        if (event.kind == Kind::kRemove) content.clear();
        if (isTorn) {
            PutTorn(content, event, random);
        } else {
            Change(content, event);
        }
    }
}

DiskImage Disk::CutPower(Unsynced kind, std::mt19937& random) const
{
    DiskImage image;
    for (const auto& [name, file] : m_files) {
        std::string content = file.content;
        bool isThere = file.isThere;
        Arrive(file, kind, random, content, isThere);
        if (isThere) image[name] = content;
    }
    return image;
}

}  // namespace srcwatch_test
