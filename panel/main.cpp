// SPDX-License-Identifier: Apache-2.0
//
// srcwatch-panel: a TV's inputs in the browser.
#include "Access.h"
#include "CommandLine.h"
#include "Evidence.h"
#include "Panel.h"
#include "srcwatch-version.h"

#include <charconv>
#include <cstdio>
#include <exception>
#include <optional>
#include <string>

#include <glib-unix.h>

namespace {

// Reads ADDRESS or ADDRESS:PORT, of which the address may be in brackets. Returns nothing if a text is neither.
std::optional<panel::Listen> ListenOf(const std::string& text)
{
    panel::Listen listen;
    const std::size_t bracket = text.find(']');
    const bool isBare = text.find(':') != text.rfind(':') && text[0] != '[';  // of IPv6, without a port
    const std::size_t colon = isBare ? std::string::npos : text.find(':', bracket == std::string::npos ? 0 : bracket);
    listen.address = text.substr(0, colon);
    if (text[0] == '[' && bracket != std::string::npos) listen.address = text.substr(1, bracket - 1);
    if (colon == std::string::npos) return listen;
    const char* const end = text.data() + text.size();
    const auto [last, error] = std::from_chars(text.data() + colon + 1, end, listen.port);
    if (error != std::errc() || last != end || listen.port > 65535) return std::nullopt;
    return listen;
}

std::string CheckListen(const std::string& text)
{
    return !text.empty() && ListenOf(text) ? ""
                                           : "'" + text + "' is not ADDRESS or ADDRESS:PORT, such as 127.0.0.1:8080";
}

// The token in the first line of a file; empty if there is none.
std::string ReadToken(const std::string& path)
{
    constexpr std::size_t kLimit = 1024;
    const auto bytes = srcwatch::ReadBoundedFile(path, kLimit);
    if (!bytes || !bytes->value) return "";
    const std::string text(bytes->value->begin(), bytes->value->end());
    const std::string token = text.substr(0, text.find('\n'));
    return panel::IsTokenText(token) ? token : "";
}

gboolean OnSignal(void* loop)
{
    g_main_loop_quit(static_cast<GMainLoop*>(loop));
    return G_SOURCE_CONTINUE;
}

int Fail(const char* why)
{
    static_cast<void>(std::fprintf(stderr, "srcwatch-panel: %s\n", why));  // nothing more can be done
    return 1;
}

int Run(const panel::Options& options)
{
    const srcwatch::Handle<GMainLoop, g_main_loop_unref> loop(g_main_loop_new(nullptr, FALSE));
    g_unix_signal_add(SIGTERM, OnSignal, loop.get());
    g_unix_signal_add(SIGINT, OnSignal, loop.get());
    panel::Panel panel(options);
    const std::string fault = panel.Open();
    if (!fault.empty()) return Fail(fault.c_str());
    static_cast<void>(std::printf("%s\n", panel.Address().c_str()));  // as is a closed standard output
    static_cast<void>(std::fflush(stdout));
    g_main_loop_run(loop.get());
    return 0;
}

// What the command line says beside the options of the panel itself.
struct Texts {
    std::string listen;
    std::string tokenFile;
};

void AddOptions(cli::Program& program, panel::Options& options, Texts& texts)
{
    program.AddVersion("srcwatch-panel " SRCWATCH_VERSION, "Display program version information and exit");
    const cli::Command app = program.Root();
    app.AddOption("--inputs", &options.inputs, "DIR", "Inputs directory of the detection service")
        .ReadsVariable("SRCWATCH_INPUTS")
        .Required();
    app.AddOption("--captures", &options.captures, "DIR", "Directory of the captures")
        .ReadsVariable("SRCWATCH_CAPTURES")
        .ShowsDefault();
    app.AddOption("--profiles", &options.profiles, "PATH",
                  "Profiles instead of the service's, a file or a directory; the first wins")
        .TakesOneEach();
    app.AddOption("--log", &options.log, "FILE", "Log file to show");
    app.AddOption("--recordings", &options.recordings, "DIR", "Directory of recordings");
    app.AddOption("--listen", &texts.listen, "ADDRESS[:PORT]",
                  "Address to listen on, and port (127.0.0.1, any free port)")
        .CheckedBy({CheckListen});
    app.AddFlag("--read-only", &options.isReadOnly, "Refuse all commands that change something");
    app.AddOption("--token-file", &texts.tokenFile, "FILE",
                  "File with the token of the address, instead of a random one");
}

int RunCommand(int argc, char** argv)
{
    panel::Options options;
    options.captures = SRCWATCH_CAPTURES_DIR;
    Texts texts;
    cli::Program program("Show the inputs of a TV in the browser", argv[0]);
    AddOptions(program, options, texts);
    try {
        if (!program.Parse({argv + 1, argv + argc})) return 0;
    } catch (const cli::UsageError& error) {
        constexpr int kUsage = 2;
        Report(error);
        return kUsage;
    }
    if (!texts.listen.empty()) options.listen = *ListenOf(texts.listen);
    options.token = texts.tokenFile.empty() ? panel::MakeToken() : ReadToken(texts.tokenFile);
    if (!options.token.empty()) return Run(options);
    return Fail((texts.tokenFile + ": has no token: 16 to 128 letters, digits, '-' and '_'").c_str());
}

}  // namespace

int main(int argc, char** argv)
{
    try {
        return RunCommand(argc, argv);
    } catch (const std::exception& error) {
        return Fail(error.what());
    }
}
