// SPDX-License-Identifier: Apache-2.0
#include "DetectionLog.h"

#include "Log.h"
#include "Remark.h"

#include <cerrno>
#include <chrono>
#include <cstring>
#include <optional>

#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

namespace srcwatch {

namespace {

class Descriptor {
public:
    explicit Descriptor(int number) : m_number(number) {}
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;
    ~Descriptor()
    {
        if (m_number >= 0) close(m_number);
    }
    int Number() const { return m_number; }

private:
    const int m_number;
};

// A pipe that nobody reads is refused and not waited for.
int Open(const std::string& path)
{
    if (path == "-") return fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, 0);
    constexpr mode_t kMode = S_IRUSR | S_IWUSR | S_IRGRP;
    return open(path.c_str(), O_WRONLY | O_APPEND | O_CREAT | O_NONBLOCK | O_NOCTTY | O_CLOEXEC, kMode);
}

// What a full disk or a power cut left of a line must not spoil the next one.
bool EndsWithinLine(const Descriptor& file)
{
    struct stat status {};
    if (fstat(file.Number(), &status) != 0 || !S_ISREG(status.st_mode) || status.st_size == 0) return false;
    const std::string same = "/proc/self/fd/" + std::to_string(file.Number());
    const Descriptor readable(open(same.c_str(), O_RDONLY | O_CLOEXEC));
    char last = '\n';
    return pread(readable.Number(), &last, 1, status.st_size - 1) == 1 && last != '\n';
}

// A line is shorter than what a pipe takes at once when it takes anything. @return The error, or 0.
int Append(const std::string& path, std::string line)
{
    const Descriptor file(Open(path));
    if (file.Number() < 0) return errno;
    pollfd writable{file.Number(), POLLOUT, 0};
    if (poll(&writable, 1, 0) == 0) return EAGAIN;
    if (EndsWithinLine(file)) line.insert(0, 1, '\n');
    const ssize_t written = write(file.Number(), line.data(), line.size());
    if (written < 0) return errno;
    return static_cast<std::size_t>(written) == line.size() ? 0 : ENOSPC;
}

}  // namespace

void DetectionLog::Redirect(std::string path, Origin origin)
{
    if (path != m_path) m_complaint.clear();
    m_path = std::move(path);
    m_origin = std::move(origin);
}

void DetectionLog::Write(const Detection& detection)
{
    if (m_path.empty()) return;
    const Json::Value line = DetectionLine(m_origin, detection, std::chrono::system_clock::now());
    const int error = Append(m_path, LineText(line) + '\n');
    const std::string complaint = error == 0 ? "" : std::strerror(error);
    if (std::exchange(m_complaint, complaint) == complaint) return;
    if (error == 0) {
        SWLOG(kLogInfo, "%s: detections are written again", Printable(m_path).c_str());
    } else {
        SWLOG(kLogError, "%s: detections are lost: %s", Printable(m_path).c_str(), complaint.c_str());
    }
}

}  // namespace srcwatch
