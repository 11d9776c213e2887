// SPDX-License-Identifier: Apache-2.0
#include "ServiceCalls.h"

#include "Json.h"
#include "QDInfoEventManager.h"

#include <memory>
#include <sstream>
#include <utility>

namespace panel {

namespace {

constexpr int kMostWaiting = 8;

ServiceReply ReplyOf(const std::string& text)
{
    const auto object = ParseObject(text);
    if (!object) return {{}, "the detection service does not answer this request"};
    if ((*object)["error"].isString()) return {{}, "the detection service refused: " + (*object)["error"].asString()};
    return {*object, ""};
}

}  // namespace

struct ServiceCalls::Task {
    ServiceCalls& calls;
    Callback callback;
    int request;
    int port;
    ServiceReply reply = {};
};

void ServiceCalls::Call(int request, int port, Callback callback)
{
    if (m_waiting >= kMostWaiting) return callback({{}, "the detection service is busy"});
    ++m_waiting;
    GTask* const task = g_task_new(nullptr, m_cancellable.get(), OnDone, nullptr);
    g_task_set_task_data(task, new Task{*this, std::move(callback), request, port},
                         [](void* data) { delete static_cast<Task*>(data); });
    g_task_run_in_thread(task, Run);
    g_object_unref(task);
}

// The sender is a new one each time, and so keeps no connection whose bus has died.
void ServiceCalls::Run(GTask* task, void* /*source*/, void* data, GCancellable* /*cancellable*/)
{
    auto& call = *static_cast<Task*>(data);
    {
        qdinfo::CQDEventSender sender("");
        sender.AppendArgs(call.port, 0, 0, 0);
        std::stringstream reply;
        const bool isAnswered = sender.Call(call.request, reply) == 1;
        call.reply = isAnswered ? ReplyOf(reply.str()) : ServiceReply{{}, "the detection service does not answer"};
    }
    g_task_return_boolean(task, TRUE);
}

// After the calls have ended, tasks are cancelled.
void ServiceCalls::OnDone(GObject* /*source*/, GAsyncResult* result, void* /*data*/)
{
    GTask* const task = G_TASK(result);
    const bool isCancelled = g_cancellable_is_cancelled(g_task_get_cancellable(task)) != FALSE;
    static_cast<void>(g_task_propagate_boolean(task, nullptr));  // says nothing beyond that
    if (isCancelled) return;
    auto& call = *static_cast<Task*>(g_task_get_task_data(task));
    --call.calls.m_waiting;
    call.callback(call.reply);
}

}  // namespace panel
