// SPDX-License-Identifier: Apache-2.0
#include "LogTail.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <vector>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace panel {

namespace {

constexpr unsigned kPauseMilliseconds = 20;  // so that many lines are one change
constexpr off_t kMostRead = 256L * 1024;     // at once; of more, the end
constexpr std::size_t kLongestLine = 2UL * 1024;

class File {
public:
    explicit File(const std::string& path) : m_descriptor(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK)) {}
    File(const File&) = delete;
    File& operator=(const File&) = delete;
    ~File()
    {
        if (m_descriptor >= 0) close(m_descriptor);
    }

    // Of a regular file; nothing of any other.
    bool Stat(struct stat& status) const
    {
        return m_descriptor >= 0 && fstat(m_descriptor, &status) == 0 && S_ISREG(status.st_mode);
    }

    std::string ReadAt(off_t at, off_t size) const
    {
        std::string text(static_cast<std::size_t>(size), '\0');
        const ssize_t got = pread(m_descriptor, text.data(), text.size(), at);
        text.resize(static_cast<std::size_t>(std::max<ssize_t>(got, 0)));
        return text;
    }

private:
    const int m_descriptor;
};

}  // namespace

// "2026-01-31T12:00:00.000Z I TAG PID TEXT"
Json::Value DescribeLogLine(const std::string& line)
{
    constexpr char kLetters[] = "VDIWEF";
    const std::size_t space = line.find(' ');
    const bool hasPriority = space != std::string::npos && space + 2 < line.size() && line[space + 2] == ' ' &&
                             std::strchr(kLetters, line[space + 1]) != nullptr;
    Json::Value json;
    json["text"] = line.substr(0, kLongestLine);
    json["priority"] = hasPriority ? line.substr(space + 1, 1) : "";
    return json;
}

LogTail::LogTail(std::string path, State& state, std::function<void()> onChange)
    : m_path(std::move(path)),
      m_state(state),
      m_onChange(std::move(onChange)),
      m_later(kPauseMilliseconds, [this] { Read(); }),
      m_watch(
          std::filesystem::absolute(m_path).parent_path(), [this] { m_later.Ask(); },
          std::filesystem::path(m_path).filename())
{
    Read();
}

// A file that is another one, or shorter than before, is read from its beginning.
void LogTail::Read()
{
    const File file(m_path);
    struct stat status {};
    if (!file.Stat(status)) return;
    if (m_at < 0 || status.st_ino != m_inode || status.st_size < m_at) {
        m_at = 0;
        m_rest.clear();
    }
    m_inode = status.st_ino;
    if (status.st_size - m_at > kMostRead) {
        m_at = status.st_size - kMostRead;
        m_rest.clear();
    }
    const std::string text = file.ReadAt(m_at, status.st_size - m_at);
    m_at += static_cast<off_t>(text.size());
    m_rest += text;
    TakeLines();
}

void LogTail::TakeLines()
{
    std::size_t begin = 0;
    for (std::size_t end = m_rest.find('\n'); end != std::string::npos; end = m_rest.find('\n', begin)) {
        m_state.Append("log", DescribeLogLine(m_rest.substr(begin, end - begin)));
        begin = end + 1;
    }
    m_rest.erase(0, begin);
    if (m_rest.size() > static_cast<std::size_t>(kMostRead)) m_rest.clear();
    m_onChange();
}

}  // namespace panel
