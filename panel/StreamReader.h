// SPDX-License-Identifier: Apache-2.0
//
// A page that reads the stream, on its connection.
#ifndef SRCWATCH_PANEL_STREAMREADER_H
#define SRCWATCH_PANEL_STREAMREADER_H

#include "Handle.h"
#include "Streams.h"

#include <functional>

#include <libsoup/soup.h>

namespace panel {

class StreamReader : public PageReader {
public:
    /// @param onEnd  Is called once when the connection has ended, by whomever; may destroy the reader.
    StreamReader(SoupServerMessage* message, std::function<void(const PageReader*)> onEnd);
    StreamReader(const StreamReader&) = delete;
    StreamReader& operator=(const StreamReader&) = delete;
    ~StreamReader() override;

    void Send(const std::string& text) override;
    std::size_t Unsent() const override { return m_appended - m_written; }
    void Drop() override;

private:
    static void OnWritten(SoupServerMessage* message, unsigned size, void* self);
    static void OnFinished(SoupServerMessage* message, void* self);
    static gboolean OnInput(GSocket* socket, GIOCondition condition, void* self);
    void Disconnect();
    void End();

    srcwatch::Handle<SoupServerMessage, g_object_unref> m_message;
    std::function<void(const PageReader*)> m_onEnd;
    std::size_t m_appended = 0;
    std::size_t m_written = 0;
    GSource* m_input = nullptr;
};

}  // namespace panel

#endif
