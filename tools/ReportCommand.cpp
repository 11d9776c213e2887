// SPDX-License-Identifier: Apache-2.0
//
// report: what a developer needs to know about a fault, in one archive.
#include "Arguments.h"
#include "Child.h"
#include "Commands.h"
#include "Evidence.h"
#include "Failure.h"
#include "recording/Recorder.h"

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>

namespace ctl {

namespace {

namespace fs = std::filesystem;

constexpr const char* kName = "srcwatch-report";
constexpr std::size_t kLogLimit = std::size_t{8} * 1024 * 1024;  // of a longer log the end is taken
constexpr const char* kLogLines = "20000";

struct ReportOptions {
    std::string file;
    std::string recording;  // empty for none that is there already
    std::string logFile;    // empty for the one of SRCWATCH_LOG, or else the journal
    RecordOptions record;
};

// A directory for the parts, which is gone afterwards.
class Parts {
public:
    Parts()
    {
        const srcwatch::Handle<char, g_free> path(g_dir_make_tmp("srcwatch-report-XXXXXX", nullptr));
        if (!path) throw Failure(std::string("cannot make a directory in ") + g_get_tmp_dir());
        m_path = path.get();
        fs::create_directory(Path());
    }
    Parts(const Parts&) = delete;
    Parts& operator=(const Parts&) = delete;
    ~Parts()
    {
        std::error_code ignored;  // nothing more can be done about what stays
        fs::remove_all(m_path, ignored);
    }

    const std::string& Parent() const { return m_path; }
    std::string Path(const std::string& part = "") const { return m_path + "/" + kName + "/" + part; }

    void Add(const std::string& part, std::string text, AksvHider& hider) const
    {
        std::replace(text.begin(), text.end(), '\0', '?');
        std::ofstream file(Path(part), std::ios::binary);
        if (!(file << hider.HideIn(text)).flush()) throw Failure("cannot write " + Path(part));
    }

private:
    std::string m_path;
};

// ---------------------------------------------------------------------------------------------------------------------
// The parts

std::string ContentOf(const std::string& path)
{
    const auto read = srcwatch::ReadBoundedFile(path, kLogLimit, srcwatch::Excess::kKeepsEnd);
    if (!read) return "no such file: " + path + "\n";
    if (!read->value) return path + ": " + srcwatch::InOneLine(read->remarks) + "\n";
    return {read->value->begin(), read->value->end()};
}

std::string Versions(const std::string& self)
{
    return RunChild({self, "--version"}) + RunChild({"uname", "-srvm"}) + ContentOf("/etc/os-release") +
           RunChild({"dpkg-query", "-W", "libsrcwatch-api0", "srcwatch-service", "srcwatch-tools", "dbus-daemon",
                     "dbus-broker", "libglib2.0-0", "libjsoncpp25", "libsqlite3-0", "systemd"});
}

std::string LogText(const std::string& given)
{
    if (!given.empty()) return ContentOf(given);
    const char* const variable = std::getenv("SRCWATCH_LOG");  // NOLINT(concurrency-mt-unsafe): is never set here
    const std::string sink = variable != nullptr ? variable : "";
    if (sink.rfind("file:", 0) == 0) return ContentOf(sink.substr(5));
    return RunChild({"journalctl", "--no-pager", "--quiet", "--lines", kLogLines, "--output", "short-precise", "--unit",
                     "org.nalto.srcwatch-service.service"});
}

void AddRecording(const ReportOptions& options, const Parts& parts, AksvHider& hider)
{
    RecordOptions record = options.record;
    record.file = parts.Path("recording.jsonl");
    if (!options.recording.empty()) {
        CopyRecording(options.recording, record.file, hider);
    } else if (record.seconds) {
        try {
            Recorder(record, hider).Run();
        } catch (const Failure& failure) {  // which may be what is reported
            parts.Add("recording.txt", std::string("not recorded: ") + failure.what() + "\n", hider);
        }
    }
}

void AddParts(const ReportOptions& options, const Parts& parts)
{
    AksvHider hider(AksvHider::Mode::kHides);
    AddRecording(options, parts, hider);
    const std::string self = fs::read_symlink("/proc/self/exe");
    parts.Add("settings.json", RunChild({self, "settings", "list", "-o", "json"}), hider);
    parts.Add("doctor.txt", RunChild({self, "doctor"}), hider);
    parts.Add("list.json", RunChild({self, "list", "-o", "json"}), hider);
    parts.Add("status.json", RunChild({self, "call", "status", "-o", "json"}), hider);
    parts.Add("versions.txt", Versions(self), hider);
    const char* const conf = srcwatch_host_conf_path != nullptr ? srcwatch_host_conf_path() : nullptr;
    if (conf != nullptr) parts.Add("platform.conf", ContentOf(conf), hider);
    parts.Add("log.txt", LogText(options.logFile), hider);
}

// ---------------------------------------------------------------------------------------------------------------------
// The archive

bool EndsWith(const std::string& text, const std::string& end)
{
    return text.size() > end.size() && text.compare(text.size() - end.size(), end.size(), end) == 0;
}

std::string CheckName(const std::string& name)
{
    const bool isArchive = EndsWith(name, ".tar") || EndsWith(name, ".tar.gz") || EndsWith(name, ".tgz");
    return isArchive ? "" : "'" + name + "' is not the name of an archive: it ends with .tar, .tar.gz or .tgz";
}

void Pack(const Parts& parts, const std::string& file)
{
    int code = 0;
    const std::string errors =
        RunChild({"tar", "--create", "--auto-compress", "--force-local", "--file", fs::absolute(file), "--owner=0",
                  "--group=0", "--numeric-owner", "--directory", parts.Parent(), kName},
                 &code);
    if (code == 0) return;
    std::error_code ignored;  // it may not be there
    fs::remove(file, ignored);
    throw Failure("cannot write " + file + ": " + errors.substr(0, errors.find('\n')));
}

void RunReport(const ReportOptions& options, Output& output)
{
    std::error_code error;
    if (fs::exists(fs::symlink_status(options.file, error))) throw Failure(options.file + " exists already");
    const Loop interrupts;  // what is interrupted clears up
    const Parts parts;
    AddParts(options, parts);
    Pack(parts, options.file);
    Json::Value document;
    document["report"] = options.file;
    for (const auto& part : fs::directory_iterator(parts.Path())) {
        document["parts"].append(part.path().filename().string());
    }
    output.Confirm(document, "wrote " + options.file + "; review it before you share it");
}

}  // namespace

void AddReportCommand(cli::Command app, Output& output)
{
    const auto options = std::make_shared<ReportOptions>();
    const cli::Command report =
        app.AddCommand("report", "Pack what a developer needs to know about a fault into an archive");
    report.AddArgument("FILE", &options->file, "New archive, such as report.tar.gz").Required().CheckedBy({CheckName});
    const cli::Option recording = report.AddOption("--recording", &options->recording, "FILE", "Recording to pack");
    AddSeconds(report, "--seconds", options->record.seconds, "Record for this time, and pack the recording")
        .Excludes(recording);
    report.AddOption("--log-file", &options->logFile, "FILE",
                     "Log to pack instead of the file of SRCWATCH_LOG, or the journal");
    AddInputs(report, options->record.inputs);
    report.Runs([=, &output] { RunReport(*options, output); });
}

}  // namespace ctl
