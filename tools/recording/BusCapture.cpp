// SPDX-License-Identifier: Apache-2.0
#include "BusCapture.h"

#include "EntryForm.h"
#include "Failure.h"
#include "Note.h"

#include <utility>

namespace ctl {

namespace {

std::int64_t Microseconds(const timeval& time) { return std::int64_t{time.tv_sec} * 1'000'000 + time.tv_usec; }

Json::Value EmptySnapshot()
{
    Json::Value entry;
    entry["kind"] = "snapshot";
    entry["version"] = srcwatch::kRecordingVersion;
    return entry;
}

}  // namespace

BusCapture::BusCapture(const std::string& path, FILE* file) : m_path(path)
{
    char why[PCAP_ERRBUF_SIZE] = "";
    m_capture.reset(pcap_fopen_offline(file, why));
    if (!m_capture) {
        static_cast<void>(std::fclose(file));  // was only read
        throw Failure(path + kForeign);
    }
    if (pcap_datalink(m_capture.get()) == DLT_DBUS) return;
    throw Failure(path + " is a capture of a network, not of a message bus");
}

BusCapture::~BusCapture()
{
    if (m_cutOff == 0) return;
    Note(m_path + ": " + std::to_string(m_cutOff) +
         " message(s) are cut off, and left out; 'busctl capture --size=1000000' " + "captures them whole");
}

// What other programs send may be beyond GDBus.
std::optional<Json::Value> BusCapture::EntryOf(const pcap_pkthdr& header, const unsigned char* bytes)
{
    if (header.caplen < header.len) {
        ++m_cutOff;
        return std::nullopt;
    }
    // The function wants bytes that it may write to, and does not write.
    const srcwatch::Handle<GDBusMessage, g_object_unref> message(g_dbus_message_new_from_blob(
        const_cast<unsigned char*>(bytes), header.caplen, G_DBUS_CAPABILITY_FLAGS_UNIX_FD_PASSING, nullptr));
    return message ? m_messages.EntryOf(message.get()) : std::nullopt;
}

srcwatch::Entry BusCapture::Timed(Json::Value json, const timeval& time) const
{
    json["at"] = static_cast<double>(Microseconds(time) - m_begin) / 1e6;
    json["time"] = WallClock(Microseconds(time));
    return {m_number, std::move(json)};
}

std::optional<srcwatch::Entry> BusCapture::Read()
{
    if (m_waiting) return std::exchange(m_waiting, std::nullopt);
    pcap_pkthdr* header = nullptr;
    const unsigned char* bytes = nullptr;
    int result = 0;
    while ((result = pcap_next_ex(m_capture.get(), &header, &bytes)) == 1) {
        ++m_number;
        std::optional<Json::Value> json = EntryOf(*header, bytes);
        if (m_number == 1) {
            m_begin = Microseconds(header->ts);
            if (json) m_waiting = Timed(std::move(*json), header->ts);
            return Timed(EmptySnapshot(), header->ts);
        }
        if (json) return Timed(std::move(*json), header->ts);
    }
    if (result == PCAP_ERROR_BREAK && m_number > 0) return std::nullopt;
    if (result == PCAP_ERROR_BREAK) throw Failure(m_path + " has no entries");
    return Fail("after packet " + std::to_string(m_number) + ": " + pcap_geterr(m_capture.get()));
}

}  // namespace ctl
