// SPDX-License-Identifier: Apache-2.0
#include "ServiceTest.h"

#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <sstream>

#include <json/json.h>
#include <vconf.h>

namespace srcwatch_test {

namespace {

constexpr const char* kActivityKey = qdinfo::kSourceActivityKey;
constexpr const char* kOpticalKey = qdinfo::kOpticalActivityKey;

Json::Value ParseJson(const std::string& text)
{
    Json::Value value;
    std::istringstream stream(text);
    std::string errors;
    if (!Json::parseFromStream(Json::CharReaderBuilder(), stream, &value, &errors)) return {};
    return value;
}

}  // namespace

bool operator==(const Event& a, const Event& b) { return a.type == b.type && a.args == b.args && a.texts == b.texts; }

std::ostream& operator<<(std::ostream& out, const Event& event)
{
    out << event.type << " (";
    for (const int arg : event.args) out << arg << ' ';
    for (const std::string& text : event.texts) out << '\'' << text << "' ";
    return out << ')';
}

int RunInHome(int argc, char** argv, int hdmiInputs)
{
    return RunInHome(argc, argv, hdmiInputs, [] { return RUN_ALL_TESTS(); });
}

int RunInHome(int argc, char** argv, int hdmiInputs, const std::function<int()>& body)
{
    const TestPlatform platform(argv, {hdmiInputs, {"com.korvane/featureconf/cx_core_ir_tavrin"}});
    testing::InitGoogleTest(&argc, argv);
    return body();
}

const char* const kSystemBusRules = R"(
  <policy context="default">
    <allow user="*"/>
    <deny own="*"/>
    <deny send_type="method_call"/>
    <allow send_type="signal"/>
    <allow send_requested_reply="true" send_type="method_return"/>
    <allow send_requested_reply="true" send_type="error"/>
    <allow receive_type="method_call"/>
    <allow receive_type="method_return"/>
    <allow receive_type="error"/>
    <allow receive_type="signal"/>
    <allow send_destination="org.freedesktop.DBus" send_interface="org.freedesktop.DBus"/>
    <allow send_destination="org.freedesktop.DBus" send_interface="org.freedesktop.DBus.Introspectable"/>
    <allow send_destination="org.freedesktop.DBus" send_interface="org.freedesktop.DBus.Properties"/>
  </policy>
)";

std::unique_ptr<PrivateBus> MakeSecondBus(const std::string& policy)
{
    const std::string first = TheBus().Address();
    auto bus = std::make_unique<PrivateBus>(policy);
    setenv("DBUS_SYSTEM_BUS_ADDRESS", first.c_str(), 1);
    return bus;
}

ServiceTest::ServiceTest()
{
    TestPlatform::Clear();
    std::filesystem::remove(HomePath("log"));
    m_saveReceiver = std::make_unique<qdinfo::CQDEventReciever>("qdinfo", false);
    m_saveReceiver->RegisterEventCallback(SRCWATCH_EVENT_RECORDS_SAVED, OnSaved, this);
    EXPECT_EQ(srcwatch_register_event_callback(OnEvent, this), 1);
}

ServiceTest::~ServiceTest()
{
    m_service.reset();
    EXPECT_EQ(srcwatch_unregister_event_callback(OnEvent), 1);
    for (const char* file : {"service.out", "service.err"}) std::filesystem::remove(HomePath(file));
}

void ServiceTest::StartService(const std::vector<std::string>& options)
{
    m_service = LaunchService(options);
    ASSERT_TRUE(WaitUntilServing()) << m_service->Errors();
}

std::unique_ptr<Process> ServiceTest::LaunchService(const std::vector<std::string>& options,
                                                    const std::map<std::string, std::string>& environment)
{
    std::vector<std::string> command = m_launcher;
    for (const std::string& word : {m_program, std::string("--inputs"), m_inputs.Path(), std::string("--profiles"),
                                    std::string(SRCWATCH_PROFILES_FILE)}) {
        command.push_back(word);
    }
    command.insert(command.end(), options.begin(), options.end());
    m_servingBefore = TimesServing();
    return srcwatch_test::LaunchService(command, environment);
}

bool ServiceTest::WaitUntilServing()
{
    return RunUntil([&] { return m_service->Result() || TimesServing() > m_servingBefore; }) && !m_service->Result();
}

int ServiceTest::StopService(int signal)
{
    m_service->Signal(signal);
    const std::optional<int> result = m_service->Wait();
    EXPECT_TRUE(result.has_value()) << "the service does not end";
    m_service.reset();
    return result.value_or(-1);
}

void ServiceTest::SuspendService() const
{
    m_service->Signal(SIGSTOP);
    const std::string status = "/proc/" + std::to_string(m_service->Id()) + "/status";
    ASSERT_TRUE(RunUntil([&] { return ReadFile(status).find("State:\tT") != std::string::npos; }));
}

void ServiceTest::Plug(const std::string& input, const std::string& capture)
{
    const std::size_t before = CountOf(SRCWATCH_EVENT_DETECTED);
    LinkCapture(input, capture);
    ASSERT_TRUE(WaitForEvents(SRCWATCH_EVENT_DETECTED, before + 1)) << input << ' ' << capture;
}

void ServiceTest::LinkCapture(const std::string& input, const std::string& capture) const
{
    std::filesystem::create_directory_symlink(std::filesystem::path(SRCWATCH_CAPTURES_DIR) / capture, InputPath(input));
}

void ServiceTest::Unplug(const std::string& input)
{
    const std::size_t before = CountOf(SRCWATCH_EVENT_CONNECTION);
    std::filesystem::remove_all(InputPath(input));
    ASSERT_TRUE(WaitForEvents(SRCWATCH_EVENT_CONNECTION, before + 1)) << input;
}

Json::Value ServiceTest::StoredRecord(int port)
{
    const bool optical = port == SRCWATCH_PORT_OPTICAL;
    const Json::Value document = ParseJson(TextSetting(optical ? kOpticalKey : kActivityKey).value_or("null"));
    if (!document.isObject()) return {};
    return optical ? document["activity"] : document["activity"][port];
}

std::optional<std::string> ServiceTest::TextSetting(const std::string& key)
{
    const std::unique_ptr<char, decltype(&std::free)> text(vconf_get_str(key.c_str()), &std::free);
    if (!text) return std::nullopt;
    return std::string(text.get());
}

std::optional<int> ServiceTest::NumberSetting(const std::string& key)
{
    int value = 0;
    if (vconf_get_int(key.c_str(), &value) != 0) return std::nullopt;
    return value;
}

std::vector<Event> ServiceTest::EventsOf(int type) const
{
    std::vector<Event> events;
    std::copy_if(m_events.begin(), m_events.end(), std::back_inserter(events),
                 [&](const Event& event) { return event.type == type; });
    return events;
}

bool ServiceTest::WaitForEvents(int type, std::size_t count)
{
    return RunUntil([&] { return CountOf(type) >= count; });
}

Json::Value ServiceTest::Call(int type, int port)
{
    qdinfo::CQDEventSender sender("qdinfo");
    sender.AppendArgs(port, 0, 0, 0);
    std::stringstream reply;
    EXPECT_EQ(sender.Call(type, reply), 1);
    return ParseJson(reply.str());
}

std::string ServiceTest::Log() { return ReadFile(HomePath("log")); }

void ServiceTest::OnEvent(void* self, srcwatch_event_s* event)
{
    Event copy{event->type, {event->args[0], event->args[1], event->args[2]}, {}};
    for (const auto& text : event->str_args) copy.texts.emplace_back(text);
    static_cast<ServiceTest*>(self)->m_events.push_back(copy);
}

void ServiceTest::OnSaved(void* self, srcwatch_event_s* /*event*/) { ++static_cast<ServiceTest*>(self)->m_saves; }

std::string Service::Query(int (*query)(char*, int), int port)
{
    char text[SRCWATCH_TEXT_SIZE + 1] = {};
    EXPECT_EQ(query(text, port), SRCWATCH_OK);
    return text;
}

int Service::QueryType(int port)
{
    int type = -1;
    EXPECT_EQ(srcwatch_get_product_type_name(port, &type), SRCWATCH_OK);
    return type;
}

std::pair<int, bool> Service::QueryChange(int port)
{
    int previousPort = -99;
    bool changed = false;
    EXPECT_EQ(srcwatch_get_changed_device_info(port, &previousPort, &changed), SRCWATCH_OK);
    return {previousPort, changed};
}

std::vector<int> Service::FirstArgs(const std::vector<Event>& events)
{
    std::vector<int> args;
    for (const Event& event : events) args.push_back(event.args[0]);
    return args;
}

}  // namespace srcwatch_test
