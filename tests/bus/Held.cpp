// SPDX-License-Identifier: Apache-2.0
#pragma GCC visibility push(default)  // so that a shared library takes what is defined here
#include <gio/gio.h>
#pragma GCC visibility pop

#include "Held.h"

#include <utility>

#include <dlfcn.h>

namespace srcwatch_test {
namespace {

constexpr char kHeldChannel[] = "held";

thread_local const std::function<void()>* t_insideSend = nullptr;  // called once

}  // namespace

void RunInsideASend(const std::function<void()>& body)
{
    t_insideSend = &body;
    qdinfo::CQDEventSender(kHeldChannel).SendEvent(1);
    EXPECT_EQ(std::exchange(t_insideSend, nullptr), nullptr) << "nothing was sent";
}

HeldSender::HeldSender()
    : m_thread([this] {
          RunInsideASend([this] {
              m_isInside = true;
              WaitUntil([this] { return m_isReleased.load(); }, 2 * kDeadline);
          });
      })
{
    EXPECT_TRUE(WaitUntil([this] { return m_isInside.load(); }));
}

HeldCallback::HeldCallback(std::function<void()> body) : m_body(std::move(body))
{
    m_loop.Call([this] { m_receiver = std::make_unique<qdinfo::CQDEventReciever>(kHeldChannel, false); });
    m_receiver->RegisterEventCallback(1, &Hold, this);
    qdinfo::CQDEventSender(kHeldChannel).SendEvent(1);
    EXPECT_TRUE(WaitUntil([this] { return m_isInside.load(); }));
}

HeldCallback::~HeldCallback()
{
    Release();
    m_loop.Call([this] { m_receiver.reset(); });
}

void HeldCallback::Hold(void* callback, srcwatch_event_s*)
{
    auto* self = static_cast<HeldCallback*>(callback);
    self->m_body();
    self->m_isInside = true;
    WaitUntil([self] { return self->m_isReleased.load(); }, 2 * kDeadline);
}

}  // namespace srcwatch_test

gboolean g_dbus_connection_emit_signal(GDBusConnection* connection, const gchar* destination, const gchar* path,
                                       const gchar* interface, const gchar* member, GVariant* body, GError** error)
{
    const std::function<void()>* inside = std::exchange(srcwatch_test::t_insideSend, nullptr);
    if (inside != nullptr) (*inside)();
    static const auto next =
        reinterpret_cast<decltype(&g_dbus_connection_emit_signal)>(dlsym(RTLD_NEXT, "g_dbus_connection_emit_signal"));
    return next(connection, destination, path, interface, member, body, error);
}
