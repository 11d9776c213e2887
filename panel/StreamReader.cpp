// SPDX-License-Identifier: Apache-2.0
#include "StreamReader.h"

#include <utility>

namespace panel {

StreamReader::StreamReader(SoupServerMessage* message, std::function<void(const PageReader*)> onEnd)
    : m_message(SOUP_SERVER_MESSAGE(g_object_ref(message))), m_onEnd(std::move(onEnd))
{
    soup_server_message_set_status(message, SOUP_STATUS_OK, nullptr);
    SoupMessageHeaders* const headers = soup_server_message_get_response_headers(message);
    soup_message_headers_set_content_type(headers, "text/event-stream", nullptr);
    soup_message_headers_set_encoding(headers, SOUP_ENCODING_CHUNKED);
    // What was written is not kept.
    soup_message_body_set_accumulate(soup_server_message_get_response_body(message), FALSE);
    g_signal_connect(message, "wrote-body-data", G_CALLBACK(OnWritten), this);
    g_signal_connect(message, "finished", G_CALLBACK(OnFinished), this);
    // A page that is closed is noticed here: nothing else reads while there is nothing to write.
    m_input = g_socket_create_source(soup_server_message_get_socket(message), G_IO_IN, nullptr);
    g_source_set_callback(m_input, G_SOURCE_FUNC(OnInput), this, nullptr);
    g_source_attach(m_input, nullptr);
}

StreamReader::~StreamReader() { Disconnect(); }

void StreamReader::Disconnect()
{
    if (m_input == nullptr) return;
    g_signal_handlers_disconnect_by_data(m_message.get(), this);
    g_source_destroy(m_input);
    g_source_unref(std::exchange(m_input, nullptr));
}

void StreamReader::Send(const std::string& text)
{
    if (m_input == nullptr) return;
    m_appended += text.size();
    soup_message_body_append(soup_server_message_get_response_body(m_message.get()), SOUP_MEMORY_COPY, text.data(),
                             text.size());
    soup_server_message_unpause(m_message.get());
}

// The server ends the message by itself when it next writes to the socket.
void StreamReader::Drop()
{
    if (m_input == nullptr) return;
    Disconnect();
    GSocket* const socket = soup_server_message_get_socket(m_message.get());
    if (socket == nullptr) return;
    static_cast<void>(g_socket_shutdown(socket, TRUE, TRUE, nullptr));  // it may have ended already
    soup_message_body_complete(soup_server_message_get_response_body(m_message.get()));
    soup_server_message_unpause(m_message.get());
}

void StreamReader::End()
{
    const auto onEnd = std::exchange(m_onEnd, nullptr);
    if (onEnd) onEnd(this);
}

void StreamReader::OnWritten(SoupServerMessage* /*message*/, unsigned size, void* self)
{
    static_cast<StreamReader*>(self)->m_written += size;
}

void StreamReader::OnFinished(SoupServerMessage* /*message*/, void* self)
{
    auto& reader = *static_cast<StreamReader*>(self);
    reader.Disconnect();
    reader.End();
}

// Whatever arrives is the end: a reader of a stream has nothing to say.
gboolean StreamReader::OnInput(GSocket* /*socket*/, GIOCondition /*condition*/, void* self)
{
    auto& reader = *static_cast<StreamReader*>(self);
    reader.Drop();
    reader.End();
    return G_SOURCE_REMOVE;
}

}  // namespace panel
