// SPDX-License-Identifier: Apache-2.0
//
// A recording of the real service, replayed in another sandbox, is the same to applications.
#include "SandboxTest.h"

#include <sstream>

namespace srcwatch_test {
namespace {

using testing::HasSubstr;

// Two applications, which write down all events and all writes of settings, and are listening when this is done.
constexpr const char* kListen = R"sh(
    emit() {
        gdbus emit --system --object-path /org/nalto/tv/qdinfo --signal org.nalto.tv.qdinfo.qdinfo "$1" \
            "$(printf "$2")"
    }
    srcwatchctl monitor -o jsonl --type 7 --type connection --type detected --type records-saved >events & monitor=$!
    srcwatchctl settings watch -o jsonl >settings & watch=$!
    until test -s events; do emit 7 '1\t1\t'; done
    until test -s settings; do srcwatchctl settings set memory/test/probe 1 >/dev/null; done
)sh";

// The devices of the trial come and go; at its end, one is there. Its beginning and its end are announced to all that
// listen.
constexpr const char* kTrial = R"sh(
    announce() {
        emit 10 "$2"
        srcwatchctl settings set memory/test/trial $1
        srcwatchctl settings set db/test/trial $1
        for file in recording settings; do
            until test "$(grep -c "\"$1\"" $file)" -ge 2; do sleep 0.05; done
        done
    }
    srcwatchctl record recording --aksv & recorder=$!
    until test -s recording; do sleep 0.05; done
    announce begins '7\t1\t'
    for capture in voltana-vx-home kestelle-k2 quellon-bdq900; do
        for port in 0 1; do
            srcwatchctl plug $port $capture
            srcwatchctl wait $port
            srcwatchctl unplug $port
            srcwatchctl wait $port --gone
        done
    done
    srcwatchctl plug 1 tivaro-one
    srcwatchctl wait 1
    srcwatchctl call status
    announce ends '7\t0\t'
    until grep -q '"args":\[7,0,' events; do sleep 0.05; done
)sh";

constexpr const char* kReplayed = R"sh(
    srcwatchctl replay ../original/recording --speed 4
    until test "$(grep -c '"ends"' settings)" -ge 2; do sleep 0.05; done
    until grep -q '"args":\[7,0,' events; do sleep 0.05; done
)sh";

constexpr const char* kStop = R"sh(
    kill $monitor $watch $recorder
    wait $monitor $watch $recorder
)sh";

class Replay : public SandboxTest {
protected:
    // Runs a script in a sandbox and in a directory of its own.
    Outcome RunIn(const std::string& name, const std::string& script, const Words& options = {})
    {
        const std::string directory = m_directory / name;
        std::filesystem::create_directory(directory);
        Words words = options;
        words.insert(words.end(), {"--", "sh", "-c", "set -eu; cd \"$0\"; recorder=; " + script, directory});
        Outcome outcome = Run(words);
        EXPECT_EQ(outcome.code, 0) << outcome.output << outcome.errors;
        return outcome;
    }

    // The lines of a file that have a text, from that of the beginning of the trial to that of its end, without times.
    Words Lines(const std::string& name, const std::string& text, const std::string& begin,
                const std::string& end) const
    {
        std::istringstream file(ReadFile(m_directory / name));
        Words lines;
        for (std::string line; std::getline(file, line);) {
            if (line.find(text) == std::string::npos) continue;
            if (line.find(begin) != std::string::npos) lines.clear();
            const std::size_t time = line.find("\"time\":");
            if (time != std::string::npos) line.erase(time, line.find_first_of(",}", time) - time);
            lines.push_back(line);
            if (line.find(end) != std::string::npos) return lines;
        }
        ADD_FAILURE() << name << " has no " << end;
        return lines;
    }
    Words Events(const std::string& name) const { return Lines(name, "\"type\":", "\"args\":[7,1,", "\"args\":[7,0,"); }
    Words Settings(const std::string& name, const std::string& store) const
    {
        return Lines(name, "\"key\":\"" + store, "\"begins\"", "\"ends\"");
    }
};

TEST_F(Replay, IsTheSameToApplicationsAtFourfoldSpeed)
{
    RunIn("original", std::string(kListen) + kTrial + kStop);

    RunIn("replay", std::string(kListen) + kReplayed + kStop, {"--no-service"});

    EXPECT_GE(Lines("original/recording", "\"kind\":", "\"message\":\"7\\t1", "\"message\":\"7\\t0").size(), 58U);
    EXPECT_GE(Events("original/events").size(), 26U);
    EXPECT_EQ(Events("replay/events"), Events("original/events"));
    for (const char* const store : {"db/", "memory/"}) {
        EXPECT_GE(Settings("original/settings", store).size(), 15U);
        EXPECT_EQ(Settings("replay/settings", store), Settings("original/settings", store));
    }
}

TEST_F(Replay, FeedsARealServiceWithTheInputs)
{
    RunIn("original", std::string(kListen) + kTrial + kStop);

    const Outcome outcome = RunIn("replay", R"(
        srcwatchctl replay ../original/recording --inputs-only --speed 2
        srcwatchctl wait 1 --device-type game-console && srcwatchctl wait 0 --gone
    )");

    EXPECT_THAT(outcome.output, HasSubstr("HDMI 2 has type 6 (game console)"));
}

}  // namespace
}  // namespace srcwatch_test
