// SPDX-License-Identifier: Apache-2.0
//
// One description of the options serves command line, environment and file: a text of the file is put into the option
// that has its name, as if it stood on the command line, unless the option has been given already.
#include "Configuration.h"

#include "CommandLine.h"
#include "InputName.h"
#include "KeyFile.h"
#include "Remark.h"
#include "srcwatch-version.h"

#include <algorithm>
#include <cstdlib>
#include <iterator>
#include <set>
#include <utility>

namespace srcwatch {

namespace {

enum ExitCode { kDone = 0, kUsage = 2 };

constexpr unsigned kMostMilliseconds = 60000;
constexpr const char* kFileVariable = "SRCWATCH_SERVICE_CONF";

// A key of the file, which has the name of an option.
struct Key {
    const char* group;
    const char* name;
    bool isAdopted;  // while the service runs
};

constexpr Key kKeys[] = {
    {"inputs", "inputs", false},       {"inputs", "cec", false},
    {"inputs", "cec-round-ms", false}, {"inputs", "spd", false},
    {"inputs", "power", false},        {"inputs", "quiet-ms", false},
    {"detection", "profiles", true},   {"detection", "scan-step-ms", true},
    {"fleet", "detections", true},     {"fleet", "tv", true},
    {"fleet", "firmware", true},       {"fleet", "aksv-key", true},
};
constexpr const char* kNeedDetections[] = {"tv", "firmware", "aksv-key"};

// The group of a key; empty if there is no such key.
std::string GroupOf(const std::string& name)
{
    const auto* const key =
        std::find_if(std::begin(kKeys), std::end(kKeys), [&](const Key& k) { return name == k.name; });
    return key != std::end(kKeys) ? key->group : "";
}

// The keys of a group, separated by ", "; empty if there is no such group.
std::string KeysOf(const std::string& group)
{
    std::string names;
    for (const Key& key : kKeys) {
        if (group == key.group) names += (names.empty() ? "" : ", ") + std::string(key.name);
    }
    return names;
}

// ---------------------------------------------------------------------------------------------------------------------
// The options, and what their texts may be

std::string CheckText(const std::string& text) { return text.empty() ? "no value" : ""; }

std::string CheckMilliseconds(const std::string& text)
{
    const bool isNumber = !text.empty() && text.size() <= std::to_string(kMostMilliseconds).size() &&
                          text.find_first_not_of("0123456789") == std::string::npos && text[0] != '0';
    if (isNumber && std::stoul(text) <= kMostMilliseconds) return "";
    return "'" + text + "' is not a number from 1 to " + std::to_string(kMostMilliseconds);
}

std::string CheckSpdFile(const std::string& text)
{
    const bool isFile = text.size() > 2 && text[0] >= '0' && text[0] <= '7' && text[1] == '=';
    return isFile ? "" : "'" + text + "' is not of the form PORT=FILE, with a port from 0 to 7";
}

void DefineInputs(cli::Command app, Options& options, std::vector<std::string>& spdFiles)
{
    app.AddOption("--inputs", &options.inputs, "DIR", "Directory of the inputs: hdmi1 to hdmi8 and optical")
        .ReadsVariable("SRCWATCH_INPUTS")
        .CheckedBy({CheckText});
    app.AddOption("--cec", &options.cecAdapters, "DEVICE", "CEC adapter, such as /dev/cec0; may be repeated")
        .CheckedBy({CheckText})
        .TakesOneEach();
    app.AddOption("--cec-round-ms", &options.cecRoundMilliseconds, "MS", "Time in which an adapter polls all addresses")
        .CheckedBy({CheckMilliseconds})
        .ShowsDefault();
    app.AddOption("--spd", &spdFiles, "PORT=FILE",
                  "File in which a driver shows the SPD InfoFrame of a port, 0 to 7; may be repeated")
        .CheckedBy({CheckSpdFile})
        .TakesOneEach();
    app.AddOption("--power", &options.receivers, "DEVICE",
                  "Video device of an HDMI receiver that reports which inputs have +5 V; may be repeated")
        .CheckedBy({CheckText})
        .TakesOneEach();
    app.AddOption("--quiet-ms", &options.quietMilliseconds, "MS", "Time without a change before a device is read")
        .CheckedBy({CheckMilliseconds})
        .ShowsDefault();
}

void DefineDetection(cli::Command app, Options& options)
{
    app.AddOption("--profiles", &options.profiles, "PATH",
                  "File of profiles, or directory of such files, instead of the installed ones; the first wins")
        .CheckedBy({CheckText});
    app.AddOption("--scan-step-ms", &options.scanStepMilliseconds, "MS", "Time that a scan takes for each input")
        .CheckedBy({CheckMilliseconds})
        .ShowsDefault();
}

void DefineFleet(cli::Command app, Options& options, std::string& keyFile)
{
    options.origin.tv = DefaultTv();
    options.origin.firmware = DefaultFirmware();
    app.AddOption("--detections", &options.detections, "FILE",
                  "File to which a line of JSON is appended for each detection, or - for standard output")
        .CheckedBy({CheckText});
    app.AddOption("--tv", &options.origin.tv, "ID",
                  "Id of the TV in these lines, instead of one made of its machine-id")
        .CheckedBy({CheckOriginText});
    app.AddOption("--firmware", &options.origin.firmware, "VERSION",
                  "Version in these lines, instead of that in os-release")
        .CheckedBy({CheckOriginText});
    app.AddOption("--aksv-key", &keyFile, "FILE",
                  "File with the secret with which AKSVs in these lines are hashed; without, they are left out")
        .CheckedBy({CheckText});
}

// ---------------------------------------------------------------------------------------------------------------------
// From texts to a configuration

// The options of a program, and what of the file has come into them.
class Reader {
public:
    Reader();
    Configuration Read(int argc, const char* const* argv);

private:
    void TakeFile();
    std::string ChooseFile(bool& isNamed) const;
    void TakeEntry(const KeyFileEntry& entry);
    void RequireDetections();
    void ReadKey();
    void AddFault(const std::string& place, const std::string& what)
    {
        m_read.faults.push_back(Printable(m_read.file + ":" + place + ": " + what));
    }
    void AddFaultOfKey(const std::string& name, const std::string& what) { AddFault(GroupOf(name) + "/" + name, what); }
    cli::Option Find(const std::string& name) const { return m_program.Root().FindOption("--" + name); }

    cli::Program m_program{"Detects the devices on the TV's inputs and announces them to applications.",
                           "srcwatch-service"};
    Configuration m_read;
    std::vector<std::string> m_spdFiles;
    std::string m_keyFile;
    std::string m_namedFile;
    std::string m_checkedFile;
    std::set<std::string> m_ofFile;  // options
};

Reader::Reader()
{
    m_program.AddVersion("srcwatch-service " SRCWATCH_VERSION, "Display program version information and exit");
    const cli::Command app = m_program.Root();
    app.AddOption("--config", &m_namedFile, "FILE", "Configuration, instead of " SRCWATCH_SERVICE_CONF)
        .CheckedBy({CheckText});
    app.AddOption("--check-config", &m_checkedFile, "[FILE]", "Report what is wrong with the configuration, and exit")
        .TakesValues(0, 1);
    DefineInputs(app, m_read.options, m_spdFiles);
    DefineDetection(app, m_read.options);
    DefineFleet(app, m_read.options, m_keyFile);
}

Configuration Reader::Read(int argc, const char* const* argv)
{
    try {
        if (!m_program.Parse({argv + 1, argv + argc})) {
            m_read.exitCode = kDone;
            return m_read;
        }
        m_read.isToBeChecked = Find("check-config").Count() > 0;
        TakeFile();
        RequireDetections();
    } catch (const cli::UsageError& error) {
        Report(error);
        m_read.exitCode = kUsage;
        return m_read;
    }
    ReadKey();
    for (const std::string& file : m_spdFiles) m_read.options.spdFiles[file[0] - '0'] = file.substr(2);
    if (!m_read.options.HasInputs()) m_read.options.inputs = kDefaultInputs;
    for (const Key& key : kKeys) {
        if (Find(key.name).Count() > 0) m_read.given[key.name] = Find(key.name).Texts();
    }
    return m_read;
}

// A file that is named must be there. The variable may also say that there is none.
std::string Reader::ChooseFile(bool& isNamed) const
{
    const char* const variable = std::getenv(kFileVariable);
    isNamed = true;
    if (!m_checkedFile.empty()) return m_checkedFile;
    if (!m_namedFile.empty()) return m_namedFile;
    if (variable != nullptr) return variable;
    isNamed = m_read.isToBeChecked;
    return SRCWATCH_SERVICE_CONF;
}

void Reader::TakeFile()
{
    bool isNamed = false;
    const std::string path = ChooseFile(isNamed);
    if (path.empty()) {
        if (m_read.isToBeChecked) m_read.faults.push_back(std::string(kFileVariable) + " names no file to be checked");
        return;
    }
    const KeyFile file = ReadKeyFile(path);
    if (file.isAbsent && !isNamed) return;
    m_read.file = path;
    for (const std::string& fault : file.faults) m_read.faults.push_back(Printable(fault));
    for (const std::string& group : file.groups) {
        if (!KeysOf(group).empty()) continue;
        AddFault(group, "no such group; it has to be inputs, detection or fleet");
    }
    for (const KeyFileEntry& entry : file.entries) {
        const std::string keys = KeysOf(entry.group);
        if (GroupOf(entry.key) == entry.group) {
            TakeEntry(entry);
        } else if (!keys.empty()) {
            AddFault(entry.group + "/" + entry.key, "no such key; the group has " + keys);
        }
    }
}

// What the file has is checked also where it does not count.
void Reader::TakeEntry(const KeyFileEntry& entry)
{
    const cli::Option option = Find(entry.key);
    const std::vector<std::string> given = option.Texts();
    const bool isList = option.MostValues() > 1;
    try {
        if (isList && entry.list.empty()) throw cli::UsageError(CheckText(""));
        option.Replace(isList ? entry.list : std::vector<std::string>{entry.text});
        if (given.empty()) m_ofFile.insert(entry.key);
    } catch (const cli::UsageError& error) {
        option.Clear();
        const std::string what = error.what();
        const std::string prefix = "--" + entry.key + ": ";
        AddFaultOfKey(entry.key, what.rfind(prefix, 0) == 0 ? what.substr(prefix.size()) : what);
    }
    if (!given.empty()) option.Replace(given);
}

void Reader::RequireDetections()
{
    if (Find("detections").Count() > 0) return;
    for (const char* name : kNeedDetections) {
        if (Find(name).Count() == 0) continue;
        if (m_ofFile.count(name) == 0) throw cli::UsageError("--" + std::string(name) + " requires --detections");
        AddFaultOfKey(name, "no effect without detections");
    }
}

void Reader::ReadKey()
{
    if (m_keyFile.empty()) return;
    const AksvKey read = ReadAksvKey(m_keyFile);
    m_read.options.origin.aksvKey = read.key;
    if (read.failure.empty()) return;
    if (m_ofFile.count("aksv-key") > 0) return AddFaultOfKey("aksv-key", read.failure);
    m_read.faults.push_back(read.failure);
}

}  // namespace

Configuration ReadConfiguration(int argc, const char* const* argv) { return Reader().Read(argc, argv); }

Differences Adopt(const Configuration& other, Configuration& running)
{
    Differences differences;
    for (const Key& key : kKeys) {
        const auto before = running.given.find(key.name);
        const auto after = other.given.find(key.name);
        const bool isGiven = after != other.given.end();
        if (before == running.given.end() ? !isGiven : isGiven && before->second == after->second) continue;
        std::string& names = key.isAdopted ? differences.adopted : differences.waiting;
        names += (names.empty() ? "" : ", ") + std::string(key.name);
        if (!key.isAdopted) continue;
        running.given.erase(key.name);
        if (isGiven) running.given.insert(*after);
    }
    running.options.profiles = other.options.profiles;
    running.options.scanStepMilliseconds = other.options.scanStepMilliseconds;
    running.options.detections = other.options.detections;
    running.options.origin = other.options.origin;
    return differences;
}

}  // namespace srcwatch
