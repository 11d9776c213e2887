// SPDX-License-Identifier: Apache-2.0
//
// record, replay: what happened on a TV, in a file, and once more.
#include "Arguments.h"
#include "Commands.h"
#include "Failure.h"
#include "Inputs.h"
#include "InputsTarget.h"
#include "Loop.h"
#include "Player.h"
#include "Ports.h"
#include "recording/Recorder.h"
#include "recording/RecordingFile.h"
#include "recording/TvReplay.h"

#include <memory>
#include <optional>

namespace ctl {

namespace {

// ---------------------------------------------------------------------------------------------------------------------
// Record

struct RecordArguments {
    RecordOptions options;
    std::string from;  // another recording; empty to record what happens
    bool keepsAksvs = false;
};

void RunRecord(const RecordArguments& arguments, Output& output)
{
    AksvHider hider(arguments.keepsAksvs ? AksvHider::Mode::kKeeps : AksvHider::Mode::kHides);
    const std::string& file = arguments.options.file;
    Json::Value document;
    document["recording"] = file;
    if (!arguments.from.empty()) {
        document["entries"] = CopyRecording(arguments.from, file, hider);
    } else {
        RequireWatch();
        RequireList();
        Recorder recorder(arguments.options, hider);
        recorder.Run();
        document["entries"] = recorder.Count();
    }
    output.Confirm(document, "recorded " + document["entries"].asString() + " entries in " + file);
}

void AddRecord(cli::Command app, Output& output)
{
    const auto arguments = std::make_shared<RecordArguments>();
    RecordOptions& options = arguments->options;
    const cli::Command record =
        app.AddCommand("record", "Record settings, events, calls and inputs in a file, until interrupted");
    record.AddArgument("FILE", &options.file, "New file").Required();
    AddSeconds(record, "--seconds", options.seconds, "End after this time");
    AddCount(record, options.count, "End after this many entries after the snapshot");
    record.AddFlag("--aksv", &arguments->keepsAksvs, "Keep AKSVs, each of which names one device, as they are");
    record.AddOption("--from", &arguments->from, "FILE", "Take what 'busctl capture' wrote, or another recording");
    AddInputs(record, options.inputs);
    record.Runs([=, &output] { RunRecord(*arguments, output); });
}

// ---------------------------------------------------------------------------------------------------------------------
// Replay

struct ReplayArguments {
    std::string file;
    double speed = 1;
    srcwatch::PlayEnd end;
    bool isInputsOnly = false;
    std::string inputs;
};

std::string ReadEnd(const std::string& text, srcwatch::PlayEnd& end)
{
    const bool isTime = !text.empty() && text.back() == 's';
    const std::optional<double> seconds = isTime ? ParseDecimal(text.substr(0, text.size() - 1)) : std::nullopt;
    const std::optional<int> line = isTime ? std::nullopt : ParseInt(text);
    if (seconds && *seconds >= 0) end.seconds = *seconds;
    if (line && *line > 0) end.line = static_cast<std::size_t>(*line);
    return end.seconds || end.line ? "" : "'" + text + "' is neither a line, such as 57, nor a time, such as 12.5s";
}

class InputsReplay : public srcwatch::InputsTarget {
public:
    using InputsTarget::InputsTarget;

private:
    bool MayPlug(int port) const override
    {
        RequirePort(port);
        return true;
    }
    void Check(const srcwatch::InputOutcome& outcome) const override { Require(outcome); }
};

// Returns the number of entries that took effect.
int Play(const ReplayArguments& arguments, srcwatch::PlayTarget& target)
{
    const std::string& file = arguments.file;
    std::optional<Loop> loop;  // from when it runs, signals only end it
    srcwatch::Player player(target, [&] {
        if (!player.IsPlaying()) loop->Quit();
    });
    RequireNoFault(file, player.Load([&] { return OpenRecording(file); }, arguments.end));
    loop.emplace();
    player.Play(arguments.speed);
    const Loop::End end = loop->Run(std::nullopt);
    if (end == Loop::End::kInterrupted) throw Failure("interrupted after line " + std::to_string(player.Line()));
    RequireNoFault(file, player.Fault());
    return player.Count();
}

void RunReplay(const ReplayArguments& arguments, Output& output)
{
    std::unique_ptr<srcwatch::PlayTarget> target;
    if (arguments.isInputsOnly) {
        target = std::make_unique<InputsReplay>(OpenInputs(arguments.inputs));
    } else {
        target = std::make_unique<TvReplay>();
    }
    Json::Value document;
    document["recording"] = arguments.file;
    document["entries"] = Play(arguments, *target);
    output.Confirm(document, "replayed " + document["entries"].asString() + " entries of " + arguments.file);
}

void AddReplay(cli::Command app, Output& output)
{
    const auto arguments = std::make_shared<ReplayArguments>();
    const cli::Command replay = app.AddCommand("replay", "Replay a recording to applications");
    replay.AddArgument("FILE", &arguments->file, "Recording, or what 'busctl capture' wrote").Required();
    replay.AddOption("--speed", &arguments->speed, "N", "Speed: 4 is four times as fast")
        .CheckedBy(IsDecimal("a speed from 0.01 to 1000", 0.01, 1000));
    replay.AddOption("--until", nullptr, "WHERE", "End after this line (57), or this time from the beginning (12.5s)")
        .CheckedBy({[=](const std::string& text) { return ReadEnd(text, arguments->end); }});
    replay.AddFlag("--inputs-only", &arguments->isInputsOnly,
                   "Plug the recorded devices into a running detection service, and nothing else");
    AddInputs(replay, arguments->inputs);
    replay.Runs([=, &output] { RunReplay(*arguments, output); });
}

}  // namespace

void AddRecordCommands(cli::Command app, Output& output)
{
    AddRecord(app, output);
    AddReplay(app, output);
}

}  // namespace ctl
