// SPDX-License-Identifier: Apache-2.0
//
// The host platform beside its alternatives: a bare SQLite statement for reading a number, a property read over D-Bus
// for a query; and the cost of a log line that is not recorded.
#include "Child.h"
#include "Documents.h"
#include "QDInfoCommon.h"

#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>

#include <benchmark/benchmark.h>
#include <gio/gio.h>
#include <sqlite3.h>
#include <systemd/sd-bus.h>
#include <vconf.h>

namespace {

constexpr char kBusName[] = "org.nalto.tv.bench";
constexpr char kPath[] = "/org/nalto/tv/bench";
constexpr char kProperty[] = "CECName";
constexpr char kDeviceName[] = "Recorder 1";  // of port 0, as the documents have it

// ---------------------------------------------------------------------------------------------------------------------
// Reading a number

void NumberRead(benchmark::State& state, const std::string& key)
{
    bench::Require(vconf_set_int(key.c_str(), 42) == 0, "cannot write the settings");
    int number = 0;
    for (auto _ : state) {
        if (vconf_get_int(key.c_str(), &number) != 0) state.SkipWithError("the setting cannot be read");
        benchmark::DoNotOptimize(number);
    }
    if (number != 42) state.SkipWithError("another number was read");
}

// The same row of the same database, without anything around the statement.
void BareStatement(benchmark::State& state, const std::string& key, const char* directory, const char* file)
{
    bench::Require(vconf_set_int(key.c_str(), 42) == 0, "cannot write the settings");
    const std::string path = bench::PrivatePlace(directory) + "/" + file;
    sqlite3* database = nullptr;
    sqlite3_stmt* statement = nullptr;
    if (sqlite3_open_v2(path.c_str(), &database, SQLITE_OPEN_READWRITE | SQLITE_OPEN_NOMUTEX, nullptr) != SQLITE_OK ||
        sqlite3_prepare_v3(database, "SELECT value FROM settings WHERE key = ?1", -1, SQLITE_PREPARE_PERSISTENT,
                           &statement, nullptr) != SQLITE_OK) {
        state.SkipWithError("the database cannot be opened");
    }
    int number = 0;
    for (auto _ : state) {
        sqlite3_bind_text(statement, 1, key.c_str(), static_cast<int>(key.size()), SQLITE_STATIC);
        if (sqlite3_step(statement) != SQLITE_ROW) state.SkipWithError("the setting cannot be read");
        number = sqlite3_column_int(statement, 0);
        sqlite3_reset(statement);
        benchmark::DoNotOptimize(number);
    }
    if (number != 42) state.SkipWithError("another number was read");
    sqlite3_finalize(statement);
    sqlite3_close(database);
}

BENCHMARK_CAPTURE(NumberRead, durable, VCONF_PORT_CHANGE_FLAG_1);
BENCHMARK_CAPTURE(BareStatement, durable, VCONF_PORT_CHANGE_FLAG_1, "SRCWATCH_STATE_DIR", "settings.db");
BENCHMARK_CAPTURE(NumberRead, volatile, VCONF_SCAN_RESULT);
BENCHMARK_CAPTURE(BareStatement, volatile, VCONF_SCAN_RESULT, "SRCWATCH_RUN_DIR", "volatile.db");

// ---------------------------------------------------------------------------------------------------------------------
// A log line below the lowest priority that is written

void FilteredLogLine(benchmark::State& state)
{
    int port = 0;
    for (auto _ : state) QDLOG(QDLOG_DEBUG, "Device Info Send STB(%d) : %s\n", ++port, kDeviceName);
}
BENCHMARK(FilteredLogLine);

// ---------------------------------------------------------------------------------------------------------------------
// The name of the device on a port, from the library and over D-Bus

void Query(benchmark::State& state)
{
    const std::string document = bench::TextOf(bench::ActivityDocument(static_cast<int>(state.range(0))));
    bench::Require(vconf_set_str(qdinfo::kSourceActivityKey, document.c_str()) == 0, "cannot write the settings");
    char name[SRCWATCH_TEXT_SIZE] = "";
    for (auto _ : state) {
        if (srcwatch_get_cec_name(name, 0) != SRCWATCH_OK) state.SkipWithError("the query failed");
        benchmark::DoNotOptimize(name);
    }
    if (std::strcmp(name, kDeviceName) != 0) state.SkipWithError("another name was read");
}
BENCHMARK(Query)->Arg(4)->Arg(8);

void GDBusPropertyRead(benchmark::State& state)
{
    const bench::Child service({"--serve=gdbus"});
    GDBusConnection* bus = g_bus_get_sync(G_BUS_TYPE_SYSTEM, nullptr, nullptr);
    bench::Require(bus != nullptr, "no bus");
    std::string name;
    for (auto _ : state) {
        GVariant* reply = g_dbus_connection_call_sync(bus, kBusName, kPath, "org.freedesktop.DBus.Properties", "Get",
                                                      g_variant_new("(ss)", kBusName, kProperty), G_VARIANT_TYPE("(v)"),
                                                      G_DBUS_CALL_FLAGS_NONE, -1, nullptr, nullptr);
        if (reply == nullptr) {
            state.SkipWithError("the property cannot be read");
            break;
        }
        GVariant* value = nullptr;
        g_variant_get(reply, "(v)", &value);
        name = g_variant_get_string(value, nullptr);
        g_variant_unref(value);
        g_variant_unref(reply);
    }
    if (name != kDeviceName) state.SkipWithError("another name was read");
    g_object_unref(bus);
}
BENCHMARK(GDBusPropertyRead);

void SdBusPropertyRead(benchmark::State& state)
{
    const bench::Child service({"--serve=sd-bus"});
    sd_bus* bus = nullptr;
    bench::Require(sd_bus_open_system(&bus) >= 0, "no bus");
    std::string name;
    for (auto _ : state) {
        char* text = nullptr;
        if (sd_bus_get_property_string(bus, kBusName, kPath, kBusName, kProperty, nullptr, &text) < 0) {
            state.SkipWithError("the property cannot be read");
            break;
        }
        name = text;
        std::free(text);
    }
    if (name != kDeviceName) state.SkipWithError("another name was read");
    sd_bus_flush_close_unref(bus);
}
BENCHMARK(SdBusPropertyRead);

// ---------------------------------------------------------------------------------------------------------------------
// The services that the properties are read from

constexpr char kIntrospection[] =
    "<node><interface name='org.nalto.tv.bench'><property name='CECName' type='s' access='read'/></interface></node>";

GVariant* GiveProperty(GDBusConnection*, const char*, const char*, const char*, const char*, GError**, void*)
{
    return g_variant_new_string(kDeviceName);
}

int ServeWithGDBus()
{
    constexpr GDBusInterfaceVTable kTable = {nullptr, GiveProperty, nullptr, {}};
    GDBusConnection* bus = g_bus_get_sync(G_BUS_TYPE_SYSTEM, nullptr, nullptr);
    bench::Require(bus != nullptr, "no bus");
    GDBusNodeInfo* node = g_dbus_node_info_new_for_xml(kIntrospection, nullptr);
    g_dbus_connection_register_object(bus, kPath, node->interfaces[0], &kTable, nullptr, nullptr, nullptr);
    g_bus_own_name_on_connection(
        bus, kBusName, G_BUS_NAME_OWNER_FLAGS_NONE, [](GDBusConnection*, const char*, void*) { bench::ReportReady(); },
        nullptr, nullptr, nullptr);
    g_main_loop_run(g_main_loop_new(nullptr, FALSE));
    return 0;
}

int AppendProperty(sd_bus*, const char*, const char*, const char*, sd_bus_message* reply, void*, sd_bus_error*)
{
    return sd_bus_message_append_basic(reply, 's', kDeviceName);
}

int ServeWithSdBus()
{
    constexpr sd_bus_vtable kTable[] = {
        SD_BUS_VTABLE_START(0),
        SD_BUS_PROPERTY(kProperty, "s", AppendProperty, 0, 0),
        SD_BUS_VTABLE_END,
    };
    sd_bus* bus = nullptr;
    bench::Require(sd_bus_open_system(&bus) >= 0, "no bus");
    bench::Require(sd_bus_add_object_vtable(bus, nullptr, kPath, kBusName, kTable, nullptr) >= 0, "no object");
    bench::Require(sd_bus_request_name(bus, kBusName, 0) >= 0, "no name");
    bench::ReportReady();
    for (;;) {
        const int handled = sd_bus_process(bus, nullptr);
        if (handled < 0) return 1;
        if (handled == 0 && sd_bus_wait(bus, UINT64_MAX) < 0) return 1;
    }
}

}  // namespace

int main(int argc, char** argv)
{
    for (const char* place : {"SRCWATCH_STATE_DIR", "SRCWATCH_RUN_DIR", "DBUS_SYSTEM_BUS_ADDRESS"}) {
        bench::PrivatePlace(place);
    }
    const std::string mode = argc > 1 ? argv[1] : "";
    if (mode == "--serve=gdbus") return ServeWithGDBus();
    if (mode == "--serve=sd-bus") return ServeWithSdBus();

    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 2;
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
