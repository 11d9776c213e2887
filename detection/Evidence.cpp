// SPDX-License-Identifier: Apache-2.0
#include "Evidence.h"

#include "Aksv.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace srcwatch {

namespace {

constexpr std::size_t kEntriesLookedAt = 1000;
constexpr std::size_t kPrintableLimit = 200;

class FileDescriptor {
public:
    explicit FileDescriptor(int fd) : m_fd(fd) {}
    ~FileDescriptor()
    {
        if (m_fd >= 0) (void)close(m_fd);  // opened for reading: nothing can be lost
    }
    FileDescriptor(const FileDescriptor&) = delete;
    FileDescriptor& operator=(const FileDescriptor&) = delete;
    int Get() const { return m_fd; }

private:
    int m_fd;
};

Fault SystemFault(const char* what) { return Fault{std::string(what) + ": " + std::strerror(errno)}; }

// At most limit bytes: a file that grows meanwhile is cut, and its decoder says what is wrong with it.
Decoded<Bytes> ReadAll(int fd, std::size_t limit)
{
    Bytes bytes(limit);
    std::size_t size = 0;
    while (size < limit) {
        const ssize_t got = read(fd, bytes.data() + size, limit - size);
        if (got < 0 && errno == EINTR) continue;
        if (got < 0) return SystemFault("cannot be read");
        if (got == 0) break;
        size += static_cast<std::size_t>(got);
    }
    bytes.resize(size);
    return bytes;
}

template <typename T>
std::optional<Decoded<T>> ReadItem(const std::string& path, std::size_t limit, Decoded<T> (*decode)(const Bytes&))
{
    const auto bytes = ReadBoundedFile(path, limit);
    if (!bytes) return std::nullopt;
    if (const auto* fault = std::get_if<Fault>(&*bytes)) return *fault;
    return decode(std::get<Bytes>(*bytes));
}

template <typename T>
const Fault* FaultOf(const std::optional<Decoded<T>>& item)
{
    return item ? std::get_if<Fault>(&*item) : nullptr;
}

template <typename T>
void AddRemarks(const char* file, const std::optional<Decoded<T>>& item, Remarks& all)
{
    if (!item) return;
    for (Remark& remark : RemarksOn(*item)) all.push_back({file, remark.line, std::move(remark.text)});
}

bool IsKnownName(const char* name)
{
    constexpr const char* kKnown[] = {".", "..", kSpdFile, kCecFile, kAksvFile, kEdidFile};
    return std::any_of(std::begin(kKnown), std::end(kKnown),
                       [&](const char* known) { return std::strcmp(name, known) == 0; });
}

// Looks at a bounded number of entries, however many there are.
std::optional<Remark> RemarkOnOtherFiles(const std::string& directory)
{
    const std::unique_ptr<DIR, int (*)(DIR*)> dir(opendir(directory.c_str()), closedir);
    if (!dir) return SystemFault("cannot be listed").remarks.front();
    std::size_t seen = 0;
    std::size_t unknown = 0;
    std::string first;
    // Each call has its own stream, so readdir is safe here.
    while (const dirent* entry = readdir(dir.get())) {  // NOLINT(concurrency-mt-unsafe)
        if (++seen > kEntriesLookedAt) break;
        if (IsKnownName(entry->d_name)) continue;
        if (unknown++ == 0) first = entry->d_name;
    }
    if (unknown == 0) return std::nullopt;
    const char* const more = seen > kEntriesLookedAt ? " or more" : "";
    return Remark{
        "", 0, std::to_string(unknown) + more + " file(s) of other names ignored, such as '" + Printable(first) + "'"};
}

}  // namespace

Remarks Evidence::AllRemarks() const
{
    Remarks all;
    if (directory) all = directory->remarks;
    AddRemarks(kSpdFile, spd, all);
    AddRemarks(kCecFile, cec, all);
    AddRemarks(kAksvFile, aksv, all);
    if (otherFiles) all.push_back(*otherFiles);
    return all;
}

bool Evidence::IsRefused(const std::string& file) const
{
    if (file == kSpdFile) return FaultOf(spd) != nullptr;
    if (file == kCecFile) return FaultOf(cec) != nullptr;
    if (file == kAksvFile) return FaultOf(aksv) != nullptr;
    return directory.has_value();
}

Remarks RemarksOn(const Decoded<SpdInfoFrame>& item)
{
    const SpdInfoFrame* const frame = ValueOf(item);
    return frame != nullptr ? frame->remarks : std::get<Fault>(item).remarks;
}

Remarks RemarksOn(const Decoded<CecLog>& item)
{
    const CecLog* const log = ValueOf(item);
    return log != nullptr ? log->remarks : std::get<Fault>(item).remarks;
}

Remarks RemarksOn(const Decoded<std::string>& item)
{
    return ValueOf(item) != nullptr ? Remarks() : std::get<Fault>(item).remarks;
}

std::optional<Decoded<Bytes>> ReadBoundedFile(const std::string& path, std::size_t limit)
{
    // Without O_NONBLOCK, opening a pipe would wait for its writer.
    const FileDescriptor file(open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC | O_NOCTTY));
    if (file.Get() < 0 && errno == ENOENT) return std::nullopt;
    if (file.Get() < 0) return SystemFault("cannot be opened");
    struct stat status {};
    if (fstat(file.Get(), &status) != 0) return SystemFault("cannot be examined");
    if (!S_ISREG(status.st_mode)) return Fault{"not a regular file"};
    if (status.st_size > static_cast<off_t>(limit)) {
        return Fault{std::to_string(status.st_size) + " bytes, more than " + std::to_string(limit)};
    }
    return ReadAll(file.Get(), limit);
}

Evidence ReadEvidence(const std::string& directory)
{
    Evidence evidence;
    if (faccessat(AT_FDCWD, directory.c_str(), R_OK | X_OK, AT_EACCESS) != 0) {
        evidence.directory = SystemFault("cannot be read");
        return evidence;
    }
    evidence.spd = ReadItem(directory + "/" + kSpdFile, kBinaryLimit, DecodeSpdInfoFrame);
    evidence.cec = ReadItem(directory + "/" + kCecFile, kCecLimit, DecodeCecLog);
    evidence.aksv = ReadItem(directory + "/" + kAksvFile, kBinaryLimit, DecodeAksv);
    evidence.otherFiles = RemarkOnOtherFiles(directory);
    return evidence;
}

std::string Printable(const std::string& text)
{
    std::string printable;
    for (const char c : text) {
        if (printable.size() >= kPrintableLimit) return printable + "...";
        if (c >= 0x20 && c <= 0x7e && c != '\\') {
            printable += c;
            continue;
        }
        char escaped[8];
        (void)std::snprintf(escaped, sizeof escaped, "\\x%02x", static_cast<unsigned char>(c));  // 4 characters
        printable += escaped;
    }
    return printable;
}

}  // namespace srcwatch
