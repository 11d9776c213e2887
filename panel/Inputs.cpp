// SPDX-License-Identifier: Apache-2.0
#include "Inputs.h"

#include "Names.h"
#include "Tv.h"

#include <filesystem>
#include <system_error>

namespace panel {

namespace {

namespace fs = std::filesystem;

Outcome RequirePort(int port)
{
    if (HasPort(port)) return {};
    return {kBadRequest, "the TV has no port " + std::to_string(port)};
}

Outcome OutcomeOf(const srcwatch::InputOutcome& outcome)
{
    if (outcome.IsDone()) return {};
    return {outcome.kind == srcwatch::InputOutcome::Kind::kConflict ? kConflict : kServerError, outcome.reason};
}

}  // namespace

std::string Inputs::CaptureOn(int port) const
{
    std::error_code error;
    const fs::path target = m_directory.TargetOf(port);
    const fs::path captures = fs::canonical(m_captures, error);
    const fs::path parent = error ? fs::path() : fs::weakly_canonical(target.parent_path(), error);
    return !error && !target.empty() && parent == captures ? target.filename().string() : "";
}

Outcome Inputs::Plug(int port, const std::string& capture) const
{
    Outcome outcome = RequirePort(port);
    if (!outcome.IsDone()) return outcome;
    std::error_code error;
    const fs::path path = fs::canonical(fs::path(m_captures) / capture, error);
    const bool isThere = !error && IsPlainName(capture) && fs::is_directory(path, error);
    return isThere ? OutcomeOf(m_directory.Link(port, path)) : Outcome{kNotFound, "no such capture: " + capture};
}

Outcome Inputs::PlugDevice(int port, const srcwatch::Capture& device) const
{
    Outcome outcome = RequirePort(port);
    return outcome.IsDone() ? OutcomeOf(m_directory.Plug(port, device)) : outcome;
}

Outcome Inputs::Unplug(int port) const
{
    Outcome outcome = RequirePort(port);
    return outcome.IsDone() ? OutcomeOf(m_directory.Unplug(port)) : outcome;
}

Outcome Inputs::Move(int from, int to) const
{
    Outcome outcome = RequirePort(to);
    if (outcome.IsDone()) outcome = RequirePort(from);
    return outcome.IsDone() ? OutcomeOf(m_directory.Move(from, to)) : outcome;
}

}  // namespace panel
