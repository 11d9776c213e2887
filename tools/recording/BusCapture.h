// SPDX-License-Identifier: Apache-2.0
//
// The messages of the channel in what `busctl capture` wrote, as entries of a recording.
#ifndef SRCWATCH_TOOLS_BUSCAPTURE_H
#define SRCWATCH_TOOLS_BUSCAPTURE_H

#include "ChannelMessages.h"
#include "RecordingFile.h"

#include <cstdio>

#include <pcap/pcap.h>

namespace ctl {

class BusCapture : public srcwatch::EntrySource {
public:
    /// Takes the file over. Throws a Failure if it is not a capture of a bus.
    BusCapture(const std::string& path, FILE* file);

    BusCapture(const BusCapture&) = delete;
    BusCapture& operator=(const BusCapture&) = delete;
    /// Says on standard error how many messages could not be decoded.
    ~BusCapture() override;

private:
    // The first entry is a snapshot without settings.
    std::optional<srcwatch::Entry> Read() override;
    std::optional<Json::Value> EntryOf(const pcap_pkthdr& header, const unsigned char* bytes);
    srcwatch::Entry Timed(Json::Value json, const timeval& time) const;

    const std::string m_path;
    srcwatch::Handle<pcap_t, pcap_close> m_capture;
    ChannelMessages m_messages;
    std::optional<srcwatch::Entry> m_waiting;
    std::size_t m_number = 0;  // of the packet
    std::int64_t m_begin = 0;  // time of the first packet, in microseconds
    int m_cutOff = 0;
};

}  // namespace ctl

#endif
