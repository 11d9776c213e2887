// SPDX-License-Identifier: Apache-2.0
//
// srcwatch-panel: a TV's inputs in the browser.
#include "Access.h"
#include "Evidence.h"
#include "Panel.h"
#include "srcwatch-version.h"

#include <charconv>
#include <cstdio>
#include <exception>
#include <optional>
#include <string>

#include <CLI/CLI.hpp>
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

void AddOptions(CLI::App& app, panel::Options& options, Texts& texts)
{
    app.set_version_flag("--version", "srcwatch-panel " SRCWATCH_VERSION);
    app.add_option("--inputs", options.inputs, "Inputs directory of the detection service")
        ->envname("SRCWATCH_INPUTS")
        ->type_name("DIR")
        ->required();
    app.add_option("--captures", options.captures, "Directory of the captures")
        ->envname("SRCWATCH_CAPTURES")
        ->type_name("DIR")
        ->capture_default_str();
    app.add_option("--profiles", options.profiles,
                   "Profiles instead of the service's, a file or a directory; the first wins")
        ->type_name("PATH")
        ->allow_extra_args(false);
    app.add_option("--log", options.log, "Log file to show")->type_name("FILE");
    app.add_option("--recordings", options.recordings, "Directory of recordings")->type_name("DIR");
    app.add_option("--listen", texts.listen, "Address to listen on, and port (127.0.0.1, any free port)")
        ->type_name("ADDRESS[:PORT]")
        ->check(CLI::Validator(CheckListen, ""));
    app.add_flag("--read-only", options.isReadOnly, "Refuse all commands that change something");
    app.add_option("--token-file", texts.tokenFile, "File with the token of the address, instead of a random one")
        ->type_name("FILE");
}

int RunCommand(int argc, char** argv)
{
    panel::Options options;
    options.captures = SRCWATCH_CAPTURES_DIR;
    Texts texts;
    CLI::App app("Show the inputs of a TV in the browser");
    AddOptions(app, options, texts);
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        constexpr int kUsage = 2;
        return app.exit(error) == 0 ? 0 : kUsage;
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
