// SPDX-License-Identifier: Apache-2.0
//
// Recordings that a test makes with the real tool.
#ifndef SRCWATCH_TESTS_RECORDINGTEST_H
#define SRCWATCH_TESTS_RECORDINGTEST_H

#include "BusOnlyService.h"
#include "ToolTest.h"

#include <csignal>
#include <fstream>
#include <sstream>

#include <gmock/gmock.h>

namespace srcwatch_test {

class RecordingTest : public ToolTest {
protected:
    using Entries = std::vector<Json::Value>;

    std::string Content(const std::string& name) const
    {
        const std::ifstream file(Path(name), std::ios::binary);
        std::ostringstream content;
        content << file.rdbuf();
        return content.str();
    }

    /// Returns the entries of a recording, after a check that it has whole lines only.
    Entries EntriesOf(const std::string& name) const
    {
        std::istringstream lines(Content(name));
        EXPECT_EQ(lines.str().back(), '\n');
        Entries entries;
        for (std::string line; std::getline(lines, line);) entries.push_back(Parse(line));
        return entries;
    }
    Entries OfKind(const std::string& name, const std::string& kind) const
    {
        Entries found;
        for (const Json::Value& entry : EntriesOf(name)) {
            if (entry["kind"] == kind) found.push_back(entry);
        }
        return found;
    }

    /// Returns once a recording has begun.
    std::unique_ptr<Program> StartRecording(const std::string& name, const Words& options = {})
    {
        Words words = {"record", Path(name)};
        words.insert(words.end(), options.begin(), options.end());
        auto recorder = Start(words);
        EXPECT_TRUE(WaitForText(name, "\n")) << recorder->Errors();
        return recorder;
    }
    bool WaitForText(const std::string& name, const std::string& text) const
    {
        return RunUntil([&] { return Content(name).find(text) != std::string::npos; });
    }
    static Outcome End(Program& recorder)
    {
        recorder.Signal(SIGINT);
        return recorder.Wait();
    }

    /// Returns what a checker finds wrong with the lines of a recording.
    std::string Faults(const std::string& name)
    {
        std::string questions;
        Json::StreamWriterBuilder inOneLine;
        inOneLine["indentation"] = "";
        std::istringstream lines(Content(name));
        for (std::string line; std::getline(lines, line);) {
            Json::Value question;
            question.append("entry");
            question.append(line);
            questions += Json::writeString(inOneLine, question) + "\n";
        }
        WriteFile("questions", questions);
        Program checker({"sh", "-c", R"(exec /usr/bin/python3 "$0" "$1" <"$2")", SRCWATCHCTL_CHECK_SCHEMA,
                         SRCWATCHCTL_TOOLS_DIR "/srcwatch-recording.schema.json", Path("questions")},
                        Environment(), Path("checker"));
        const Outcome outcome = checker.Wait();
        EXPECT_EQ(outcome.code, 0) << outcome;
        std::istringstream answers(outcome.out);
        std::string faults;
        std::size_t count = 0;
        for (std::string answer; std::getline(answers, answer); ++count) {
            if (answer != "\"\"") faults += answer + "\n";
        }
        EXPECT_EQ(count, EntriesOf(name).size());
        return faults;
    }
};

}  // namespace srcwatch_test

#endif
