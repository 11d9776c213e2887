// SPDX-License-Identifier: Apache-2.0
#include "Panel.h"

#include "Commands.h"
#include "Tv.h"
#include "srcwatch-version.h"

#include <cstdlib>

namespace panel {

namespace {

constexpr unsigned kKeepAliveSeconds = 15;

// A file may be named from where the program was started, a link not.
std::string Absolute(const std::string& path)
{
    const srcwatch::Handle<char, g_free> absolute(g_canonicalize_filename(path.c_str(), nullptr));
    return absolute.get();
}

}  // namespace

Panel::Panel(const Options& options)
    : m_options(options),
      m_inputs(Absolute(options.inputs), Absolute(options.captures)),
      m_devices(Absolute(options.captures), options.profiles),
      m_streams(MakeToken().substr(0, 16), [this] { return Snapshot(); }),
      m_report(m_tool, m_inputs.Directory(), options.log)
{
    m_state.Set("version", SRCWATCH_VERSION);
    m_state.Set("read_only", options.isReadOnly);
    m_state.Set("types", DescribeTypes());
    m_state.Set("methods", DescribeMethods());
    m_watch = std::make_unique<Watch>(m_inputs, m_devices, m_calls, m_state, [this] { Publish(); });
    if (!options.log.empty()) m_log = std::make_unique<LogTail>(options.log, m_state, [this] { Publish(); });
    m_state.Set("tools", m_tool.IsThere());
    if (!options.recordings.empty()) {
        m_recordings = std::make_unique<Recordings>(Absolute(options.recordings), m_inputs, m_tool, m_state,
                                                    [this] { Publish(); });
    }
    m_timer = g_timeout_add_seconds(kKeepAliveSeconds, OnTime, this);
}

Panel::~Panel()
{
    g_source_remove(m_timer);
    m_streams.DropAll();
}

gboolean Panel::OnTime(void* self)
{
    static_cast<Panel*>(self)->m_streams.KeepAlive();
    return G_SOURCE_CONTINUE;
}

// Nothing of it may be sent again as a change.
Json::Value Panel::Snapshot()
{
    Publish();
    return m_state.Snapshot();
}

void Panel::Publish()
{
    const Json::Value change = m_state.TakeChange();
    if (!change.isNull()) m_streams.Publish(change);
}

Routes Panel::MakeRoutes()
{
    Routes routes;
    AddPages(routes);
    AddInputCommands(routes, m_inputs, [this] { m_watch->RefreshPorts(); });
    AddDeviceCommands(routes, m_devices);
    AddServiceCommands(routes, m_calls, m_inputs, m_devices);
    AddScanCommands(routes, {[this] { return m_watch->HasService(); },
                             [this](bool isActive) {
                                 m_watch->SetOptical(isActive);
                                 Publish();
                             }});
    m_report.AddTo(routes);
    if (m_recordings) m_recordings->AddTo(routes);
    return routes;
}

std::string Panel::Open()
{
    std::string fault = m_server.Open(m_options.listen);
    if (!fault.empty()) return fault;
    m_router =
        std::make_unique<Router>(Access(m_options.token, m_server.Authorities()), MakeRoutes(), m_options.isReadOnly);
    m_server.Serve(*m_router, m_streams);
    return "";
}

std::string Panel::Address() const { return "http://" + m_server.Authorities().front() + "/?token=" + m_options.token; }

}  // namespace panel
