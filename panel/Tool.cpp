// SPDX-License-Identifier: Apache-2.0
#include "Tool.h"

#include <csignal>
#include <filesystem>
#include <system_error>

#include <sys/prctl.h>

namespace panel {

namespace {

constexpr char kName[] = "srcwatchctl";

// It ends its file with a whole line then, too.
void EndWithParent(void* /*data*/) { static_cast<void>(prctl(PR_SET_PDEATHSIG, SIGTERM)); }

std::string FirstLine(const std::string& text) { return text.substr(0, text.find('\n')); }

}  // namespace

Tool::Tool()
{
    std::error_code error;
    const std::filesystem::path here = std::filesystem::read_symlink("/proc/self/exe", error).parent_path();
    for (const std::filesystem::path& path : {here / kName, here.parent_path() / "tools" / kName}) {
        if (std::filesystem::is_regular_file(path, error) && m_path.empty()) m_path = path;
    }
    const srcwatch::Handle<char, g_free> found(g_find_program_in_path(kName));
    if (m_path.empty() && found) m_path = found.get();
}

Tool::Run Tool::Start(const std::vector<std::string>& arguments, Callback onEnd) const
{
    std::vector<std::string> command = {m_path};
    command.insert(command.end(), arguments.begin(), arguments.end());
    return std::make_unique<Process>(command, std::move(onEnd));
}

Tool::Process::Process(const std::vector<std::string>& command, Callback onEnd)
    : m_onEnd(std::move(onEnd)), m_cancellable(g_cancellable_new())
{
    const srcwatch::Handle<GSubprocessLauncher, g_object_unref> launcher(g_subprocess_launcher_new(
        static_cast<GSubprocessFlags>(G_SUBPROCESS_FLAGS_STDOUT_SILENCE | G_SUBPROCESS_FLAGS_STDERR_PIPE)));
    g_subprocess_launcher_set_child_setup(launcher.get(), EndWithParent, nullptr, nullptr);
    std::vector<const char*> words;
    words.reserve(command.size() + 1);
    for (const std::string& word : command) words.push_back(word.c_str());
    words.push_back(nullptr);
    m_process.reset(g_subprocess_launcher_spawnv(launcher.get(), words.data(), nullptr));
    if (m_process) {
        g_subprocess_communicate_utf8_async(m_process.get(), nullptr, m_cancellable.get(), OnEnd, this);
    }
}

Tool::Process::~Process()
{
    g_cancellable_cancel(m_cancellable.get());
    Interrupt();
}

void Tool::Process::Interrupt()
{
    if (m_process) g_subprocess_send_signal(m_process.get(), SIGINT);
}

void Tool::Process::OnEnd(GObject* process, GAsyncResult* result, void* self)
{
    char* errors = nullptr;
    GError* failure = nullptr;
    const bool isDone =
        g_subprocess_communicate_utf8_finish(G_SUBPROCESS(process), result, nullptr, &errors, &failure) != FALSE;
    const srcwatch::Handle<char, g_free> text(errors);
    const srcwatch::Handle<GError, g_error_free> error(failure);
    if (error && g_error_matches(error.get(), G_IO_ERROR, G_IO_ERROR_CANCELLED)) return;
    const bool isWell = isDone && g_subprocess_get_successful(G_SUBPROCESS(process)) != FALSE;
    const std::string why = text && *text != '\0' ? FirstLine(text.get()) : "srcwatchctl failed";
    static_cast<Process*>(self)->m_onEnd(isWell ? "" : why);
}

}  // namespace panel
