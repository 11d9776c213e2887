// SPDX-License-Identifier: Apache-2.0
//
// The doctor on a healthy system, in which a test plants a fault.
#ifndef SRCWATCH_TESTS_DOCTORTEST_H
#define SRCWATCH_TESTS_DOCTORTEST_H

#include "BusOnlyService.h"
#include "ToolTest.h"

#include <filesystem>
#include <fstream>
#include <memory>
#include <sstream>
#include <string>

#include <sqlite3.h>
#include <sys/stat.h>
#include <unistd.h>

namespace srcwatch_test {

class DoctorTest : public ToolTest {
public:
    static constexpr const char* kOther = "nobody";  // another user than the one who runs the tests
    static constexpr uid_t kOtherId = 65534;

    // What the faults are planted with.
    using ToolTest::Path;
    using ToolTest::Set;
    using ToolTest::SetVariable;
    using ToolTest::WriteFile;

    void Remove(const std::string& name) const { std::filesystem::remove_all(Path(name)); }
    void Link(const std::string& target, const std::string& name) const
    {
        std::filesystem::create_symlink(target, Path(name));
    }
    void SetMode(const std::string& name, mode_t mode) const { ASSERT_EQ(chmod(Path(name).c_str(), mode), 0) << name; }
    void SetOwner(const std::string& name, uid_t owner, gid_t group) const
    {
        ASSERT_EQ(chown(Path(name).c_str(), owner, group), 0) << name;
    }
    void Sql(const std::string& database, const std::string& sql)
    {
        sqlite3* handle = nullptr;
        ASSERT_EQ(sqlite3_open(Path(database).c_str(), &handle), SQLITE_OK);
        ASSERT_EQ(sqlite3_exec(handle, sql.c_str(), nullptr, nullptr, nullptr), SQLITE_OK) << sqlite3_errmsg(handle);
        m_databases.emplace_back(handle);
        if (sql.rfind("BEGIN", 0) != 0) CloseDatabases();
    }
    void CloseDatabases() { m_databases.clear(); }

    // Commands of a shell that run first, in a mount namespace of the doctor's own.
    void Mount(const std::string& commands) { m_mounts += commands + "\n"; }
    void RunAs(const Words& prefix) { m_prefix = prefix; }
    void RunAsOther() { RunAs({"setpriv", "--reuid=nobody", "--regid=nogroup", "--clear-groups"}); }
    void UseProfiles(const std::string& path) { m_profiles = path; }

    void StartFake() { m_fake = std::make_unique<BusOnlyService>(); }
    void StopFake() { m_fake.reset(); }
    std::unique_ptr<BusPeer> peer;     // for rows that need one
    std::unique_ptr<PrivateBus> bus;   // the same
    std::unique_ptr<Program> program;  // the same

    // Another bus for the tool, which the fake service does not use.
    void UseBus(const std::string& policy)
    {
        const std::string address = TheBus().Address();
        bus = std::make_unique<PrivateBus>(policy);
        setenv("DBUS_SYSTEM_BUS_ADDRESS", address.c_str(), 1);
        SetVariable("DBUS_SYSTEM_BUS_ADDRESS", bus->Address());
    }

    Outcome RunDoctor()
    {
        Words command;
        if (!m_mounts.empty()) {
            command = {"unshare", "--mount", "--propagation", "private", "sh", "-ec", m_mounts + "exec \"$@\"", "sh"};
        }
        command.insert(command.end(), m_prefix.begin(), m_prefix.end());
        command.insert(command.end(), {SRCWATCHCTL_PROGRAM, "doctor", "-o", "json", "--profiles", m_profiles});
        return Program(command, Environment(), Path("doctor")).Wait();
    }

    // Undoes all but what is in files.
    void RunPlainly()
    {
        m_mounts.clear();
        m_prefix.clear();
        m_profiles = SRCWATCH_PROFILES_FILE;
        peer.reset();
        bus.reset();
        CloseDatabases();
        SetVariable("DBUS_SYSTEM_BUS_ADDRESS", TheBus().Address());
    }

    static std::string FailedChecks(const Json::Value& findings)
    {
        std::string names;
        for (const Json::Value& finding : findings) {
            if (!finding["ok"].asBool()) names += (names.empty() ? "" : " ") + finding["check"].asString();
        }
        return names;
    }

    static Json::Value FindingOf(const Json::Value& findings, const std::string& check)
    {
        for (const Json::Value& finding : findings) {
            if (finding["check"] == check) return finding;
        }
        ADD_FAILURE() << "no check " << check;
        return {};
    }

private:
    struct Close {
        void operator()(sqlite3* handle) const { sqlite3_close(handle); }
    };

    std::string m_mounts;
    Words m_prefix;
    std::string m_profiles = SRCWATCH_PROFILES_FILE;
    std::unique_ptr<BusOnlyService> m_fake;
    std::vector<std::unique_ptr<sqlite3, Close>> m_databases;
};

}  // namespace srcwatch_test

#endif
