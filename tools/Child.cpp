// SPDX-License-Identifier: Apache-2.0
#include "Child.h"

#include "Failure.h"
#include "Handle.h"
#include "Loop.h"

#include <gio/gio.h>

namespace ctl {

namespace {

constexpr double kLongestSeconds = 60;

struct Communication {
    Loop loop;
    GBytes* output = nullptr;
    bool isDone = false;
};

void OnEnd(GObject* child, GAsyncResult* result, void* data)
{
    auto& communication = *static_cast<Communication*>(data);
    // Without a result there is no output.
    static_cast<void>(g_subprocess_communicate_finish(reinterpret_cast<GSubprocess*>(child), result,
                                                      &communication.output, nullptr, nullptr));
    communication.isDone = true;
    communication.loop.Quit();
}

std::string TextOf(const srcwatch::Handle<GBytes, g_bytes_unref>& bytes)
{
    if (!bytes) return "";
    gsize size = 0;
    const auto* const data = static_cast<const char*>(g_bytes_get_data(bytes.get(), &size));
    return data != nullptr ? std::string(data, size) : "";
}

}  // namespace

std::string RunChild(const std::vector<std::string>& command, int* code)
{
    std::vector<const char*> words;
    words.reserve(command.size() + 1);
    for (const std::string& word : command) words.push_back(word.c_str());
    words.push_back(nullptr);
    if (code != nullptr) *code = 1;

    constexpr auto kFlags =
        static_cast<GSubprocessFlags>(G_SUBPROCESS_FLAGS_STDOUT_PIPE | G_SUBPROCESS_FLAGS_STDERR_MERGE);
    GError* failure = nullptr;
    const srcwatch::Handle<GSubprocess, g_object_unref> child(g_subprocess_newv(words.data(), kFlags, &failure));
    const srcwatch::Handle<GError, g_error_free> error(failure);
    if (!child) return std::string(error->message) + "\n";

    Communication communication;
    g_subprocess_communicate_async(child.get(), nullptr, nullptr, OnEnd, &communication);
    const Loop::End end = communication.loop.Run(kLongestSeconds);
    if (end != Loop::End::kDone) {
        g_subprocess_force_exit(child.get());
        while (!communication.isDone) g_main_context_iteration(nullptr, TRUE);
    }
    const srcwatch::Handle<GBytes, g_bytes_unref> output(communication.output);
    if (end == Loop::End::kInterrupted) throw Failure("interrupted");
    if (end == Loop::End::kTimedOut) return TextOf(output) + "\n" + command.front() + " does not end\n";
    if (code != nullptr && g_subprocess_get_if_exited(child.get()) != FALSE) {
        *code = g_subprocess_get_exit_status(child.get());
    }
    return TextOf(output);
}

}  // namespace ctl
