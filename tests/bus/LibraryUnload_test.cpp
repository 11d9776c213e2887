// SPDX-License-Identifier: Apache-2.0
//
// A program that unloads the library with dlclose: what the library kept for each thread, what it left with GLib and
// what is to be done when the process exits still comes to its end.
#include "BusPeer.h"
#include "PlatformTest.h"

#include <atomic>
#include <memory>
#include <thread>

#include <dlfcn.h>

namespace {

using namespace srcwatch_test;

// Loaded until it is destroyed.
class Loaded {
public:
    explicit Loaded(const char* path) : m_library(dlopen(path, RTLD_NOW | RTLD_LOCAL))
    {
        EXPECT_NE(m_library, nullptr) << dlerror();
    }
    Loaded(const Loaded&) = delete;
    Loaded& operator=(const Loaded&) = delete;
    ~Loaded() { EXPECT_EQ(dlclose(m_library), 0); }

    template <typename Function>
    Function* Find(const char* name) const
    {
        void* symbol = dlsym(m_library, name);
        EXPECT_NE(symbol, nullptr) << name;
        return reinterpret_cast<Function*>(symbol);
    }

private:
    void* m_library;
};

class Unload : public PlatformTest {
protected:
    Unload()
    {
        platform.settings.texts["db/srcwatch-service/source-activity"] = R"({"activity":[{"CECName":"Player"}]})";
        if (!TheBus().IsRunning()) TheBus().Restart();
        peer = std::make_unique<BusPeer>();
        peer->Listen("org.nalto.tv.qdinfo");
    }

    // Runs body in a thread that ends after the library is unloaded.
    template <typename Body>
    static void UseAndUnload(std::unique_ptr<Loaded> library, Body body)
    {
        std::atomic<bool> isUsed{false};
        std::atomic<bool> isUnloaded{false};
        std::thread user([&] {
            body(*library);
            isUsed = true;
            EXPECT_TRUE(WaitUntil([&] { return isUnloaded.load(); }));
        });
        EXPECT_TRUE(WaitUntil([&] { return isUsed.load(); }));
        library.reset();
        isUnloaded = true;
        user.join();
        while (g_main_context_iteration(nullptr, FALSE) != FALSE) {
        }
    }

    std::unique_ptr<BusPeer> peer;
};

TEST_F(Unload, MayComeBeforeTheEndOfAThreadThatQueried)
{
    UseAndUnload(std::make_unique<Loaded>(SRCWATCH_API_LIBRARY), [](const Loaded& library) {
        char name[100] = {};
        EXPECT_EQ(library.Find<int(char*, int)>("srcwatch_get_cec_name")(name, 0), 0);
        EXPECT_STREQ(name, "Player");
    });
}

TEST_F(Unload, OfAPluginMayComeBeforeTheEndOfAThreadOfIt)
{
    UseAndUnload(std::make_unique<Loaded>(SRCWATCH_UNLOAD_PLUGIN),
                 [](const Loaded& plugin) { plugin.Find<void()>("UseLibrary")(); });

    const std::vector<BusMessage> signals = peer->WaitForSignals(1);
    ASSERT_EQ(signals.size(), 1U);
    EXPECT_EQ(signals[0].type, 10);
}

TEST_F(Unload, MayComeAgainAndAgain)
{
    for (int round = 0; round < 20; ++round) {
        UseAndUnload(std::make_unique<Loaded>(SRCWATCH_UNLOAD_PLUGIN),
                     [](const Loaded& plugin) { plugin.Find<void()>("UseLibrary")(); });
    }

    EXPECT_EQ(peer->WaitForSignals(20).size(), 20U);
}

}  // namespace
