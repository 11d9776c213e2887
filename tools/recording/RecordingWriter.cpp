// SPDX-License-Identifier: Apache-2.0
#include "Failure.h"
#include "Handle.h"
#include "RecordingFile.h"

#include <cerrno>
#include <cstring>

#include <fcntl.h>
#include <glib.h>
#include <json/writer.h>
#include <unistd.h>

namespace ctl {

namespace {

constexpr std::size_t kPendingLimit = 65536;

int Create(const std::string& path)
{
    const int file = open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
    if (file >= 0) return file;
    throw Failure(errno == EEXIST ? path + " exists already" : "cannot make " + path + ": " + strerrordesc_np(errno));
}

std::string LineOf(const Json::Value& entry)
{
    Json::StreamWriterBuilder builder;
    builder["indentation"] = "";
    builder["precisionType"] = "decimal";
    builder["precision"] = 6;
    return Json::writeString(builder, entry) + "\n";
}

}  // namespace

std::string WallClock(std::int64_t microseconds)
{
    constexpr std::int64_t kSecond = 1'000'000;
    const srcwatch::Handle<GDateTime, g_date_time_unref> time(g_date_time_new_from_unix_utc(microseconds / kSecond));
    if (!time) return "";
    const srcwatch::Handle<char, g_free> text(g_date_time_format(time.get(), "%Y-%m-%dT%H:%M:%S"));
    char fraction[16];
    static_cast<void>(
        std::snprintf(fraction, sizeof fraction, ".%06dZ", static_cast<int>(microseconds % kSecond)));  // fits
    return std::string(text.get()) + fraction;
}

RecordingWriter::RecordingWriter(std::string path, AksvHider& hider)
    : m_path(std::move(path)), m_hider(hider), m_file(Create(m_path))
{
}

RecordingWriter::~RecordingWriter() { close(m_file); }

void RecordingWriter::Write(Json::Value entry)
{
    entry["at"] = static_cast<double>(g_get_monotonic_time()) / 1e6;
    entry["time"] = WallClock(g_get_real_time());
    WriteTimed(std::move(entry));
}

void RecordingWriter::WriteTimed(Json::Value entry)
{
    m_hider.HideInEntry(entry);
    if (entry["kind"] == "snapshot") entry["aksvs"] = m_hider.Keeps() ? "kept" : "hashed";
    m_pending += LineOf(entry);
    ++m_count;
    if (m_pending.size() >= kPendingLimit) Flush();
}

void RecordingWriter::Flush()
{
    std::size_t written = 0;
    while (!m_isFull && written < m_pending.size()) {
        const ssize_t size = write(m_file, m_pending.data() + written, m_pending.size() - written);
        if (size > 0) {
            written += static_cast<std::size_t>(size);
        } else if (errno != EINTR) {
            m_isFull = true;
        }
    }
    if (!m_isFull) return m_pending.clear();

    const int why = errno;
    const std::size_t begun = written == 0 ? 0 : written - (m_pending.rfind('\n', written - 1) + 1);
    const bool isWhole = ftruncate(m_file, lseek(m_file, 0, SEEK_CUR) - static_cast<off_t>(begun)) == 0;
    m_pending.clear();
    throw Failure("cannot write " + m_path + ": " + strerrordesc_np(why) +
                  (isWhole ? "; it ends with the last whole line" : "; its last line is cut off"));
}

}  // namespace ctl
