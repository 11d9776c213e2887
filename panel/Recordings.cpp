// SPDX-License-Identifier: Apache-2.0
#include "Recordings.h"

#include "Evidence.h"
#include "Json.h"
#include "Names.h"
#include "Recording.h"

#include <filesystem>
#include <map>
#include <system_error>

#include <glib.h>

namespace panel {

namespace {

namespace fs = std::filesystem;

constexpr unsigned kPauseMilliseconds = 500;  // a recording that is made grows all the time
constexpr std::size_t kMostRecordings = 500;
constexpr std::size_t kBodyLimit = 64UL * 1024;
constexpr std::size_t kDownloadLimit = 64UL * 1024 * 1024;
constexpr char kEnding[] = ".jsonl";
constexpr char kTimeline[] = "/timeline";
constexpr double kSlowest = 0.01;
constexpr double kFastest = 1000;
constexpr double kShownStep = 0.1;  // in seconds: how exactly the time is shown

bool IsRecordingName(const std::string& name) { return IsPlainName(name) && fs::path(name).extension() == kEnding; }

std::string NewName()
{
    const srcwatch::Handle<GDateTime, g_date_time_unref> now(g_date_time_new_now_utc());
    const srcwatch::Handle<char, g_free> text(g_date_time_format(now.get(), "%Y%m%d-%H%M%S.%f"));
    return std::string(text.get()) + kEnding;
}

}  // namespace

Recordings::Recordings(std::string directory, const Inputs& inputs, const Tool& tool, State& state,
                       std::function<void()> onChange)
    : m_directory(std::move(directory)),
      m_inputs(inputs),
      m_tool(tool),
      m_state(state),
      m_onChange(std::move(onChange)),
      m_later(kPauseMilliseconds, [this] { Refresh(); }),
      m_watch(m_directory, [this] { m_later.Ask(); }),
      m_devices(srcwatch::InputsDirectory(inputs.Directory())),
      m_player(m_devices, [this] { SetPlayer(); })
{
    SetRecorder();
    SetPlayer();
    Refresh();
}

std::string Recordings::PathOf(const std::string& name) const { return m_directory + "/" + name; }

void Recordings::Refresh()
{
    std::error_code error;
    std::map<std::string, std::uintmax_t> sizes;
    for (fs::directory_iterator it(m_directory, error), end; !error && it != end; it.increment(error)) {
        std::error_code isGone;
        const std::uintmax_t size = fs::file_size(it->path(), isGone);
        if (!isGone && IsRecordingName(it->path().filename())) sizes[it->path().filename()] = size;
        if (sizes.size() > kMostRecordings) sizes.erase(sizes.begin());
    }
    Json::Value list(Json::arrayValue);
    for (const auto& [name, size] : sizes) {
        Json::Value recording;
        recording["name"] = name;
        recording["bytes"] = static_cast<Json::UInt64>(size);
        list.append(recording);
    }
    m_state.Set("recordings", list);
    m_onChange();
}

void Recordings::SetPlayer()
{
    Json::Value player;
    player["name"] = m_played.empty() ? Json::Value() : Json::Value(m_played);
    player["state"] = m_played.empty() ? "stopped" : m_player.IsPlaying() ? "playing" : "paused";
    player["at"] = static_cast<double>(static_cast<gint64>(m_player.Now() / kShownStep)) * kShownStep;
    player["length"] = m_player.Length();
    m_state.Set("player", player);
    m_onChange();
}

void Recordings::SetRecorder()
{
    Json::Value recorder;
    recorder["active"] = !m_recorded.empty();
    recorder["name"] = m_recorded.empty() ? Json::Value() : Json::Value(m_recorded);
    m_state.Set("recorder", recorder);
    m_onChange();
}

// ---------------------------------------------------------------------------------------------------------------------
// Making one

void Recordings::Record(const std::string& command, const Answer& answer)
{
    if (command != "start" && command != "stop") return answer(Refusal(kBadRequest, "no such command: " + command));
    if (!m_tool.IsThere()) return answer(Refusal(kNotImplemented, "srcwatchctl is not installed"));
    if ((command == "start") != m_recorded.empty()) {
        return answer(
            Refusal(kConflict, m_recorded.empty() ? "no recording is running" : "a recording is already running"));
    }
    if (command == "stop") {
        m_recorder->Interrupt();
        return answer(Done());
    }
    m_recorded = NewName();
    m_recorder = m_tool.Start({"record", PathOf(m_recorded), "--inputs", m_inputs.Directory()},
                              [this](const std::string& /*errors*/) {
                                  m_recorded.clear();
                                  SetRecorder();
                                  Refresh();
                              });
    SetRecorder();
    answer(Done());
}

// ---------------------------------------------------------------------------------------------------------------------
// Playing one

// Returns why it cannot be played; empty if it can.
std::string Recordings::Load(const std::string& name)
{
    if (name == m_played && !name.empty()) return "";
    if (!IsRecordingName(name)) return "no such recording";
    std::string fault;
    const auto text = ReadRecording(PathOf(name), fault);
    if (text) fault = m_player.Load([text = *text] { return EntriesOf(text); });
    if (fault.empty()) m_played = name;
    return fault;
}

void Recordings::Play(const Json::Value& body, const Answer& answer)
{
    const std::string command = TextIn(body, "command").value_or("");
    const bool isKnown = command == "play" || command == "pause" || command == "seek" || command == "stop";
    if (!isKnown) return answer(Refusal(kBadRequest, "no such command: " + command));
    const double speed = DecimalIn(body, "speed").value_or(1);
    if (speed < kSlowest || speed > kFastest) return answer(Refusal(kBadRequest, "speed is not 0.01 to 1000"));
    const auto at = DecimalIn(body, "at");
    if (command == "seek" && !at) return answer(Refusal(kBadRequest, "at is not a time"));
    if (command == "stop") {
        m_played.clear();
        m_player.Stop();
        return answer(Done());
    }
    const std::string fault = Load(TextIn(body, "name").value_or(m_played));
    if (!fault.empty()) return answer(Refusal(kNotFound, fault));
    if (at) m_player.Seek(*at);
    if (command == "play") m_player.Play(speed);
    if (command == "pause") m_player.Pause();
    answer(Done());
}

// ---------------------------------------------------------------------------------------------------------------------
// Reading one

void Recordings::SendTimeline(const std::string& name, const Answer& answer) const
{
    if (!IsRecordingName(name)) return answer(Refusal(kNotFound, "no such recording"));
    std::string fault;
    const auto text = ReadRecording(PathOf(name), fault);
    const Recording recording = text ? ParseRecording(*text) : Recording{fault};
    if (!recording.fault.empty()) return answer(Refusal(kNotFound, recording.fault));
    Json::Value document;
    document["length"] = recording.length;
    document["entries"] = recording.timeline;
    answer(JsonReply(document));
}

void Recordings::Send(const std::string& rest, const Answer& answer) const
{
    const std::size_t slash = rest.find('/');
    if (slash != std::string::npos && rest.substr(slash) == kTimeline)
        return SendTimeline(rest.substr(0, slash), answer);
    if (!IsRecordingName(rest)) return answer(Refusal(kNotFound, "no such recording"));
    const auto bytes = srcwatch::ReadBoundedFile(PathOf(rest), kDownloadLimit);
    if (!bytes) return answer(Refusal(kNotFound, "no such recording"));
    if (!bytes->value) return answer(Refusal(kServerError, srcwatch::InOneLine(bytes->remarks)));
    answer(Download("application/jsonl", rest, {bytes->value->begin(), bytes->value->end()}));
}

void Recordings::AddTo(Routes& routes)
{
    routes.commands.push_back({"/api/record", true, kBodyLimit, [this](const Json::Value& body, const Answer& answer) {
                                   Record(TextIn(body, "command").value_or(""), answer);
                               }});
    routes.commands.push_back(
        {"/api/play", true, kBodyLimit, [this](const Json::Value& body, const Answer& answer) { Play(body, answer); }});
    routes.questions.push_back({"/api/recordings/*", [this](const std::string& rest, const Request&,
                                                            const Answer& answer) { Send(rest, answer); }});
}

}  // namespace panel
