// SPDX-License-Identifier: Apache-2.0
#include "SpdFile.h"

#include "Log.h"

#include <utility>

namespace srcwatch {

SpdFile::SpdFile(int port, std::string path, unsigned intervalMilliseconds)
    : m_port(port), m_path(std::move(path)), m_intervalMilliseconds(intervalMilliseconds)
{
}

std::string SpdFile::Start(InputListener& listener)
{
    m_listener = &listener;
    Look();
    return "";
}

Capture SpdFile::ReadCapture(int port) const
{
    Capture capture;
    if (IsPlugged(port)) capture.spd = m_frame;
    return capture;
}

void SpdFile::Refresh(int port)
{
    if (port == m_port && m_listener != nullptr) Look();
}

void SpdFile::CancelSettling(int port)
{
    if (port == m_port) m_settling.Stop();
}

void SpdFile::SettleLater(int port)
{
    if (port == m_port) m_settling.Start(m_intervalMilliseconds, [this] { m_listener->OnSettled(m_port); });
}

// A frame comes as a whole, so there is nothing to wait for.
void SpdFile::Look()
{
    m_next.Start(m_intervalMilliseconds, [this] { Look(); });
    Bytes frame = Read();
    if (frame == m_frame) return;
    const bool wasPlugged = !std::exchange(m_frame, std::move(frame)).empty();
    m_settling.Stop();
    if (m_frame.empty()) return m_listener->OnUnplugged(m_port);
    m_settling.Start(0, [this] { m_listener->OnSettled(m_port); });
    if (!wasPlugged) m_listener->OnPlugged(m_port);
}

// A file that cannot be read for a moment has the frame that it had.
Bytes SpdFile::Read()
{
    const auto read = ReadBoundedFile(m_path, kBinaryLimit);
    const std::string complaint = !read ? "no such file: no InfoFrames" : InOneLine(read->remarks);
    if (!complaint.empty() && complaint != m_complaint) {
        SWLOG(kLogWarn, "%s: %s: %s", InputName(m_port).c_str(), Printable(m_path).c_str(), complaint.c_str());
    }
    m_complaint = complaint;
    if (!read) return {};
    return read->value ? *read->value : read->mayPass ? m_frame : Bytes();
}

}  // namespace srcwatch
