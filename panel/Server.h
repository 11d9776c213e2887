// SPDX-License-Identifier: Apache-2.0
//
// The connections: HTTP requests in, replies and streams out.
#ifndef SRCWATCH_PANEL_SERVER_H
#define SRCWATCH_PANEL_SERVER_H

#include "Handle.h"
#include "Router.h"
#include "Streams.h"

#include <functional>
#include <string>
#include <vector>

#include <libsoup/soup.h>

namespace panel {

/// Where to listen.
struct Listen {
    std::string address = "127.0.0.1";
    unsigned port = 0;  ///< 0 for any that is free
};

class Server {
public:
    Server();
    Server(const Server&) = delete;
    Server& operator=(const Server&) = delete;
    ~Server();

    /// Begins to listen. @return Why it cannot; empty if it does.
    std::string Open(const Listen& where);

    /// Returns the authorities under which it is reached, the one to print first.
    std::vector<std::string> Authorities() const;

    /// Begins to answer.
    void Serve(Router& router, Streams& streams);

private:
    using SoupServerPtr = srcwatch::Handle<SoupServer, g_object_unref>;

    static void OnHeaders(SoupServer* server, SoupServerMessage* message, const char* path, GHashTable* query,
                          void* self);
    static void OnRequest(SoupServer* server, SoupServerMessage* message, const char* path, GHashTable* query,
                          void* self);
    void OpenStream(SoupServerMessage* message, const std::string& lastId);

    const SoupServerPtr m_server;
    Listen m_where;
    Router* m_router = nullptr;
    Streams* m_streams = nullptr;
};

}  // namespace panel

#endif
