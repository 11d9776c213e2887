// SPDX-License-Identifier: Apache-2.0
#include "Evidence.h"

#include "Aksv.h"
#include "Handle.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <utility>

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace srcwatch {

namespace {

constexpr std::size_t kEntriesRead = 1000;

Remarks SystemRemark(const char* what) { return OnlyRemark(std::string(what) + ": " + std::strerror(errno)); }

Decoded<Bytes> Refused(Remarks remarks) { return {std::nullopt, std::move(remarks)}; }

Decoded<Bytes> Unread(const char* what) { return {std::nullopt, SystemRemark(what), IsTransient(errno)}; }

// Reads at most limit bytes: a file that has grown is cut, and its decoder reports what is wrong with it.
Decoded<Bytes> ReadOpen(std::FILE* file, std::size_t limit, Excess excess)
{
    struct stat status {};
    if (fstat(fileno(file), &status) != 0) return Unread("cannot be examined");
    if (!S_ISREG(status.st_mode)) return Refused(OnlyRemark("not a regular file"));
    const off_t surplus = status.st_size - static_cast<off_t>(limit);
    if (surplus > 0 && excess == Excess::kRefused) {
        return Refused(OnlyRemark(std::to_string(status.st_size) + " bytes, more than " + std::to_string(limit)));
    }
    if (surplus > 0 && fseeko(file, surplus, SEEK_SET) != 0) return Unread("cannot be read");
    Bytes bytes(limit);
    bytes.resize(std::fread(bytes.data(), 1, limit, file));
    if (std::ferror(file) != 0) return Unread("cannot be read");
    return {std::move(bytes), {}};
}

// A device that sends all the time makes a log of any length, whose newest lines count.
std::optional<Decoded<CecLog>> ReadCecLog(const std::string& path)
{
    auto bytes = ReadBoundedFile(path, kCecLimit + 1, Excess::kKeepsEnd);
    if (!bytes) return std::nullopt;
    if (!bytes->value) return Decoded<CecLog>{std::nullopt, bytes->remarks, bytes->mayPass};
    const bool isCut = bytes->value->size() > kCecLimit;
    const auto firstEnd = std::find(bytes->value->begin(), bytes->value->end(), std::uint8_t{'\n'});
    if (isCut && firstEnd != bytes->value->end()) bytes->value->erase(bytes->value->begin(), firstEnd + 1);
    Decoded<CecLog> log = DecodeCecLog(*bytes->value);
    if (isCut && !log.remarks.empty()) {
        log.remarks.insert(log.remarks.begin(),
                           {"", 0, "the lines are counted in the last " + std::to_string(kCecLimit) + " bytes"});
    }
    return log;
}

template <typename T>
std::optional<Decoded<T>> ReadItem(const std::string& path, std::size_t limit, Decoded<T> (*decode)(const Bytes&))
{
    const auto bytes = ReadBoundedFile(path, limit);
    if (!bytes) return std::nullopt;
    return bytes->value ? decode(*bytes->value) : Decoded<T>{std::nullopt, bytes->remarks, bytes->mayPass};
}

template <typename T>
bool IsRefusedItem(const std::optional<Decoded<T>>& item)
{
    return item && !item->value;
}

template <typename T>
bool IsKnown(const std::optional<Decoded<T>>& item)
{
    return !item || !item->mayPass;
}

template <typename T>
void AddRemarks(const char* file, const std::optional<Decoded<T>>& item, Remarks& all)
{
    if (!item) return;
    for (const Remark& remark : item->remarks) all.push_back({file, remark.line, remark.text});
}

bool IsKnownName(const char* name)
{
    constexpr const char* kKnown[] = {".", "..", kSpdFile, kCecFile, kAksvFile, kEdidFile};
    return std::any_of(std::begin(kKnown), std::end(kKnown),
                       [&](const char* known) { return std::strcmp(name, known) == 0; });
}

// Reads a bounded number of entries, however many there are.
Remarks RemarkOnOtherFiles(const std::string& directory)
{
    const Handle<DIR, closedir> dir(opendir(directory.c_str()));
    if (!dir) return SystemRemark("cannot be listed");
    std::size_t seen = 0;
    std::size_t unknown = 0;
    std::string first;
    // Each call has its own stream, so readdir is safe here.
    while (const dirent* entry = readdir(dir.get())) {  // NOLINT(concurrency-mt-unsafe)
        if (++seen > kEntriesRead) break;
        if (IsKnownName(entry->d_name)) continue;
        if (unknown++ == 0) first = entry->d_name;
    }
    if (unknown == 0) return {};
    const char* const more = seen > kEntriesRead ? " or more" : "";
    return OnlyRemark(std::to_string(unknown) + more + " file(s) of other names ignored, such as '" + Printable(first) +
                      "'");
}

}  // namespace

const CecDevice* Evidence::CecDeviceOnPort() const
{
    const CecLog* const log = ValueOf(cec);
    return log == nullptr ? nullptr : FindOnPort(*log, hdmiInput);
}

std::vector<CecDevice> Evidence::CecDevicesBehind() const
{
    const CecLog* const log = ValueOf(cec);
    return log == nullptr ? std::vector<CecDevice>() : FindBehind(*log, hdmiInput);
}

Remarks Evidence::AllRemarks() const
{
    Remarks all = directory;
    AddRemarks(kSpdFile, spd, all);
    AddRemarks(kCecFile, cec, all);
    AddRemarks(kAksvFile, aksv, all);
    all.insert(all.end(), otherFiles.begin(), otherFiles.end());
    return all;
}

bool Evidence::IsRefused(const std::string& file) const
{
    if (file == kSpdFile) return IsRefusedItem(spd);
    if (file == kCecFile) return IsRefusedItem(cec);
    if (file == kAksvFile) return IsRefusedItem(aksv);
    return !directory.empty();
}

bool IsTransient(int error)
{
    constexpr int kPassing[] = {EAGAIN, EIO, EMFILE, ENFILE, ENOMEM, ENOSPC, ESTALE};
    return std::find(std::begin(kPassing), std::end(kPassing), error) != std::end(kPassing);
}

std::optional<Decoded<Bytes>> ReadBoundedFile(const std::string& path, std::size_t limit, Excess excess)
{
    // Without O_NONBLOCK, opening a pipe would wait for its writer.
    const int fd = open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC | O_NOCTTY);
    if (fd < 0 && errno == ENOENT) return std::nullopt;
    const Handle<std::FILE, std::fclose> file(fd < 0 ? nullptr : fdopen(fd, "r"));
    if (file) return ReadOpen(file.get(), limit, excess);
    Decoded<Bytes> refused = Unread("cannot be opened");
    if (fd >= 0) static_cast<void>(close(fd));  // there was no memory for the stream; nothing was written
    return refused;
}

Evidence ReadEvidence(const std::string& directory, int hdmiInput)
{
    Evidence evidence;
    evidence.hdmiInput = hdmiInput;
    if (faccessat(AT_FDCWD, directory.c_str(), R_OK | X_OK, AT_EACCESS) != 0) {
        evidence.isComplete = !IsTransient(errno);
        evidence.directory = SystemRemark("cannot be read");
        return evidence;
    }
    evidence.spd = ReadItem(directory + "/" + kSpdFile, kBinaryLimit, DecodeSpdInfoFrame);
    evidence.cec = ReadCecLog(directory + "/" + kCecFile);
    evidence.aksv = ReadItem(directory + "/" + kAksvFile, kBinaryLimit, DecodeAksv);
    evidence.isComplete = IsKnown(evidence.spd) && IsKnown(evidence.cec) && IsKnown(evidence.aksv);
    evidence.otherFiles = RemarkOnOtherFiles(directory);
    return evidence;
}

}  // namespace srcwatch
