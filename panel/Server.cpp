// SPDX-License-Identifier: Apache-2.0
#include "Server.h"

#include "StreamReader.h"

#include <algorithm>
#include <memory>

#include <gio/gio.h>

namespace panel {

namespace {

using ErrorPtr = srcwatch::Handle<GError, g_error_free>;
using MessagePtr = std::shared_ptr<SoupServerMessage>;

// Sent with every reply. A page runs nothing but what is in this program, and connects to nothing but it.
constexpr const char* kHeaders[][2] = {
    {"Content-Security-Policy",
     "default-src 'none'; script-src 'self'; style-src 'self'; img-src 'self'; connect-src 'self'; base-uri 'none'; "
     "form-action 'none'; frame-ancestors 'none'"},
    {"X-Content-Type-Options", "nosniff"},
    {"Referrer-Policy", "no-referrer"},
    {"Cache-Control", "no-store"},
};

void AddHeaders(SoupServerMessage* message)
{
    SoupMessageHeaders* const headers = soup_server_message_get_response_headers(message);
    for (const auto& [name, value] : kHeaders) soup_message_headers_replace(headers, name, value);
}

void Send(SoupServerMessage* message, const Reply& reply)
{
    AddHeaders(message);
    SoupMessageHeaders* const headers = soup_server_message_get_response_headers(message);
    for (const auto& [name, value] : reply.headers) soup_message_headers_replace(headers, name.c_str(), value.c_str());
    soup_server_message_set_status(message, reply.status, nullptr);
    soup_server_message_set_response(message, reply.type.c_str(), SOUP_MEMORY_COPY, reply.body.data(),
                                     reply.body.size());
}

std::string HeaderOf(SoupServerMessage* message, const char* name)
{
    const char* const value = soup_message_headers_get_one(soup_server_message_get_request_headers(message), name);
    return value != nullptr ? value : "";
}

// ---------------------------------------------------------------------------------------------------------------------
// Bodies

constexpr char kBody[] = "srcwatch-panel-body";

// The body of a request, as far as it has arrived.
std::string& BodyOf(SoupServerMessage* message)
{
    return *static_cast<std::string*>(g_object_get_data(G_OBJECT(message), kBody));
}

// Of one without a length in its headers as much is kept as shows that it is too large.
void OnChunk(SoupServerMessage* message, GBytes* chunk, void* /*data*/)
{
    std::size_t size = 0;
    const void* const bytes = g_bytes_get_data(chunk, &size);
    std::string& body = BodyOf(message);
    body.append(static_cast<const char*>(bytes), std::min(size, kLargestBody + 1 - body.size()));
}

Request RequestOf(SoupServerMessage* message, const char* path, GHashTable* query)
{
    Request request;
    request.method = soup_server_message_get_method(message);
    request.path = path;
    request.host = HeaderOf(message, "Host");
    request.origin = HeaderOf(message, "Origin");
    request.cookie = HeaderOf(message, "Cookie");
    request.contentType = HeaderOf(message, "Content-Type");
    request.lastEventId = HeaderOf(message, "Last-Event-ID");
    request.body = BodyOf(message);
    if (query == nullptr) return request;
    GHashTableIter it;
    g_hash_table_iter_init(&it, query);
    void* name = nullptr;
    void* value = nullptr;
    while (g_hash_table_iter_next(&it, &name, &value) != FALSE) {
        request.query[static_cast<const char*>(name)] = static_cast<const char*>(value);
    }
    return request;
}

double Seconds() { return static_cast<double>(g_get_monotonic_time()) / G_USEC_PER_SEC; }

}  // namespace

// ---------------------------------------------------------------------------------------------------------------------
// Server

Server::Server() : m_server(soup_server_new(nullptr, nullptr))
{
    // Paths and names come as they are meant, without percent signs.
    soup_server_add_early_handler(m_server.get(), nullptr, OnHeaders, this, nullptr);
    soup_server_add_handler(m_server.get(), nullptr, OnRequest, this, nullptr);
}

Server::~Server() { soup_server_disconnect(m_server.get()); }

std::string Server::Open(const Listen& where)
{
    m_where = where;
    const srcwatch::Handle<GSocketAddress, g_object_unref> address(
        g_inet_socket_address_new_from_string(where.address.c_str(), where.port));
    if (!address) return "'" + where.address + "' is not an address to listen on, such as 127.0.0.1";
    GInetAddress* const host = g_inet_socket_address_get_address(G_INET_SOCKET_ADDRESS(address.get()));
    if (g_inet_address_get_is_any(host) != FALSE) return where.address + " stands for every address: name one of them";
    GError* failure = nullptr;
    if (soup_server_listen(m_server.get(), address.get(), SoupServerListenOptions{}, &failure) == FALSE) {
        const ErrorPtr error(failure);
        return "cannot listen on " + where.address + ": " + error->message;
    }
    GSList* const uris = soup_server_get_uris(m_server.get());
    m_where.port = static_cast<unsigned>(g_uri_get_port(static_cast<GUri*>(uris->data)));
    g_slist_free_full(uris, [](void* uri) { g_uri_unref(static_cast<GUri*>(uri)); });
    return "";
}

std::vector<std::string> Server::Authorities() const
{
    std::vector<std::string> authorities;
    const bool isIpv6 = m_where.address.find(':') != std::string::npos;
    for (const std::string& host : {isIpv6 ? "[" + m_where.address + "]" : m_where.address, std::string("localhost"),
                                    std::string("127.0.0.1"), std::string("[::1]")}) {
        authorities.push_back(host + ":" + std::to_string(m_where.port));
    }
    return authorities;
}

void Server::Serve(Router& router, Streams& streams)
{
    m_router = &router;
    m_streams = &streams;
}

// The body is collected here, within its limit.
void Server::OnHeaders(SoupServer* /*server*/, SoupServerMessage* message, const char* /*path*/, GHashTable* /*query*/,
                       void* /*self*/)
{
    g_object_set_data_full(G_OBJECT(message), kBody, new std::string,
                           [](void* body) { delete static_cast<std::string*>(body); });
    soup_message_body_set_accumulate(soup_server_message_get_request_body(message), FALSE);
    SoupMessageHeaders* const headers = soup_server_message_get_request_headers(message);
    const goffset length = soup_message_headers_get_content_length(headers);
    if (length > static_cast<goffset>(kLargestBody)) {
        soup_message_headers_replace(soup_server_message_get_response_headers(message), "Connection", "close");
        return Send(message, Refusal(kTooLarge, "the request is too large"));
    }
    g_signal_connect(message, "got-chunk", G_CALLBACK(OnChunk), nullptr);
}

void Server::OnRequest(SoupServer* /*server*/, SoupServerMessage* message, const char* path, GHashTable* query,
                       void* self)
{
    auto& server = *static_cast<Server*>(self);
    const Request request = RequestOf(message, path, query);
    // Whoever answers later finds the message paused, and goes on with it.
    const MessagePtr kept(SOUP_SERVER_MESSAGE(g_object_ref(message)), g_object_unref);
    const auto isLate = std::make_shared<bool>(false);
    const auto isAnswered = std::make_shared<bool>(false);
    const Answer answer = [kept, isLate, isAnswered](const Reply& reply) {
        *isAnswered = true;
        Send(kept.get(), reply);
        if (*isLate) soup_server_message_unpause(kept.get());
    };
    if (server.m_router->Handle(request, Seconds(), answer)) return server.OpenStream(message, request.lastEventId);
    if (*isAnswered) return;
    *isLate = true;
    soup_server_message_pause(message);
}

void Server::OpenStream(SoupServerMessage* message, const std::string& lastId)
{
    if (m_streams->IsFull()) return Send(message, Refusal(kUnavailable, "too many pages are open"));
    AddHeaders(message);
    const auto onEnd = [streams = m_streams](const PageReader* reader) { streams->Remove(reader); };
    m_streams->Add(std::make_shared<StreamReader>(message, onEnd), lastId);
}

}  // namespace panel
