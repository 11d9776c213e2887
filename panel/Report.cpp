// SPDX-License-Identifier: Apache-2.0
#include "Report.h"

#include "Evidence.h"

#include <filesystem>
#include <system_error>
#include <utility>

#include <glib.h>

namespace panel {

namespace {

constexpr std::size_t kLimit = 64UL * 1024 * 1024;
constexpr char kName[] = "report.tar.gz";

}  // namespace

void Report::AddTo(Routes& routes)
{
    routes.questions.push_back(
        {"/api/report", [this](const std::string&, const Request&, const Answer& answer) { Make(answer); }});
}

void Report::Make(const Answer& answer)
{
    if (!m_tool.IsThere()) return answer(Refusal(kNotImplemented, "srcwatchctl is not installed"));
    if (m_answer) return answer(Refusal(kUnavailable, "a report is already being made"));
    const srcwatch::Handle<char, g_free> directory(g_dir_make_tmp("srcwatch-panel-XXXXXX", nullptr));
    if (!directory) return answer(Refusal(kServerError, "cannot make a temporary directory"));
    m_directory = directory.get();
    m_answer = answer;
    std::vector<std::string> arguments = {"report", m_directory + "/" + kName, "--inputs", m_inputs};
    if (!m_log.empty()) arguments.insert(arguments.end(), {"--log-file", m_log});
    m_run = m_tool.Start(arguments, [this](const std::string& errors) { Send(errors); });
}

void Report::Send(const std::string& errors)
{
    const auto bytes = srcwatch::ReadBoundedFile(m_directory + "/" + kName, kLimit);
    const bool isMade = errors.empty() && bytes && bytes->value;
    const Answer answer = std::exchange(m_answer, nullptr);
    Remove();
    answer(isMade ? Download("application/gzip", kName, {bytes->value->begin(), bytes->value->end()})
                  : Refusal(kServerError, errors.empty() ? "the report cannot be read" : errors));
}

void Report::Remove()
{
    std::error_code ignored;  // nothing more can be done about what stays
    if (!m_directory.empty()) std::filesystem::remove_all(m_directory, ignored);
    m_directory.clear();
}

}  // namespace panel
