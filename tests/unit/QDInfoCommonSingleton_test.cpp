// SPDX-License-Identifier: Apache-2.0
//
// The singleton: made on first use, destroyed as a whole, and never made twice.
#include "PlatformTest.h"
#include "QDInfoCommon.h"
#include "QDInfoServerData.h"

#include <array>
#include <atomic>
#include <cstdlib>
#include <fstream>
#include <future>
#include <memory>
#include <stdexcept>
#include <thread>
#include <type_traits>

namespace {

using qdinfo::CSingleton;
using srcwatch_test::LogHook;
using srcwatch_test::LogLine;
using srcwatch_test::PlatformTest;
using srcwatch_test::ReturnsInAnotherThread;
using testing::ElementsAre;
using testing::IsEmpty;

class FirstBase {
public:
    virtual ~FirstBase() = default;
    long weight[4] = {1, 2, 3, 4};
};

// Shaped as the library's store: the singleton is its second base.
class Instance : public FirstBase, public CSingleton<Instance> {
public:
    Instance()
    {
        if (throws) throw std::runtime_error("no instance");
        ++instances;
    }
    ~Instance() override { --instances; }

    // Not inlined: the compiler would see one of a pair only, and warn of a mismatch.
    [[gnu::noinline]] static void* operator new(std::size_t size) { return ::operator new(size); }
    [[gnu::noinline]] static void* operator new(std::size_t size, const std::nothrow_t& tag) noexcept
    {
        return memory ? ::operator new(size, tag) : nullptr;
    }
    [[gnu::noinline]] static void operator delete(void* place) noexcept { ::operator delete(place); }
    [[gnu::noinline]] static void operator delete(void* place, const std::nothrow_t& tag) noexcept
    {
        ::operator delete(place, tag);
    }

    static inline bool memory = true;
    static inline bool throws = false;
    static inline std::atomic<int> instances = 0;

    std::string name = "the instance";
};

constexpr char kNew[] = "E QDInfoCommon.h GetInstance: new......\n";
constexpr char kAssertion[] = "E QDInfoCommon.h GetInstance: Assertion failed";
constexpr char kDestroy[] = "E QDInfoCommon.h DestroyInstance:  DestroyInstance() \n";

class Singleton : public PlatformTest {
protected:
    void TearDown() override
    {
        Instance::memory = true;
        Instance::throws = false;
        Instance::DestroyInstance();
    }

    // Returns true if another thread obtains an instance, which it cannot while the lock is held.
    static bool OthersCanEnter()
    {
        return ReturnsInAnotherThread([] { Instance::GetInstance(); });
    }
};

TEST_F(Singleton, IsMadeOnFirstUse)
{
    EXPECT_EQ(Instance::instances, 0);

    const Instance* instance = Instance::GetInstance();

    ASSERT_NE(instance, nullptr);
    EXPECT_EQ(Instance::instances, 1);
    EXPECT_THAT(platform.sequence, ElementsAre(kNew));
}

TEST_F(Singleton, IsTheSameObjectAtEachCallAndLogsNewOnce)
{
    const Instance* first = Instance::GetInstance();

    EXPECT_EQ(Instance::GetInstance(), first);
    EXPECT_EQ(Instance::instances, 1);
    EXPECT_THAT(platform.sequence, ElementsAre(kNew));
}

TEST_F(Singleton, IsTheWholeObjectAlthoughItIsTheSecondBase)
{
    Instance* first = Instance::GetInstance();
    Instance* again = Instance::GetInstance();

    ASSERT_NE(static_cast<void*>(static_cast<CSingleton<Instance>*>(again)), static_cast<void*>(again));
    EXPECT_EQ(again, first);
    EXPECT_EQ(again->name, "the instance");
    EXPECT_EQ(again->weight[3], 4);
    EXPECT_EQ(dynamic_cast<void*>(static_cast<FirstBase*>(again)), static_cast<void*>(again));
}

TEST_F(Singleton, IsDestroyedAsAWhole)
{
    Instance::GetInstance();
    platform.sequence.clear();

    Instance::DestroyInstance();

    EXPECT_EQ(Instance::instances, 0);
    EXPECT_THAT(platform.sequence, ElementsAre(kDestroy));
}

TEST_F(Singleton, IsMadeAgainAfterItWasDestroyed)
{
    Instance::GetInstance();
    Instance::DestroyInstance();

    EXPECT_NE(Instance::GetInstance(), nullptr);

    EXPECT_EQ(Instance::instances, 1);
    EXPECT_THAT(platform.sequence, ElementsAre(kNew, kDestroy, kNew));
}

TEST_F(Singleton, LogsNothingWhenThereIsNoneToDestroy)
{
    Instance::DestroyInstance();

    EXPECT_THAT(platform.sequence, IsEmpty());
}

TEST_F(Singleton, LogsNothingWhenItIsDestroyedTwice)
{
    Instance::GetInstance();
    Instance::DestroyInstance();
    platform.sequence.clear();

    Instance::DestroyInstance();

    EXPECT_THAT(platform.sequence, IsEmpty());
}

TEST_F(Singleton, IsNullWithoutMemory)
{
    Instance::memory = false;

    EXPECT_EQ(Instance::GetInstance(), nullptr);

    EXPECT_EQ(Instance::instances, 0);
    EXPECT_THAT(platform.sequence, ElementsAre(kNew, kAssertion));
}

TEST_F(Singleton, StaysAbsentWithoutMemoryAndIsMadeWhenThereIsSome)
{
    Instance::memory = false;
    Instance::GetInstance();
    Instance::DestroyInstance();
    Instance::memory = true;

    EXPECT_NE(Instance::GetInstance(), nullptr);

    EXPECT_THAT(platform.sequence, ElementsAre(kNew, kAssertion, kNew));
}

TEST_F(Singleton, LetsAnExceptionOfTheConstructorPassAndStaysAbsent)
{
    Instance::throws = true;
    EXPECT_THROW(Instance::GetInstance(), std::runtime_error);
    Instance::throws = false;

    EXPECT_NE(Instance::GetInstance(), nullptr);

    EXPECT_THAT(platform.sequence, ElementsAre(kNew, kNew));
}

TEST_F(Singleton, HoldsNoLockAfterAnyOfItsOperations)
{
    Instance::GetInstance();
    EXPECT_TRUE(OthersCanEnter());
    Instance::DestroyInstance();
    EXPECT_TRUE(OthersCanEnter());
    Instance::DestroyInstance();
    Instance::memory = false;
    Instance::GetInstance();
    EXPECT_TRUE(OthersCanEnter());
}

TEST_F(Singleton, IsLoggedBeforeItIsMadeAndBeforeItIsDestroyed)
{
    std::vector<int> instances;
    const LogHook hook([&](const LogLine&) { instances.push_back(Instance::instances); });

    Instance::GetInstance();
    Instance::DestroyInstance();

    EXPECT_THAT(instances, ElementsAre(0, 1));
}

TEST_F(Singleton, HoldsNoLockAfterALogThatThrew)
{
    {
        const LogHook hook([](const LogLine&) { throw std::runtime_error("no log"); });
        EXPECT_THROW(Instance::GetInstance(), std::runtime_error);
    }
    EXPECT_TRUE(OthersCanEnter());
    {
        const LogHook hook([](const LogLine&) { throw std::runtime_error("no log"); });
        EXPECT_THROW(Instance::DestroyInstance(), std::runtime_error);
    }
    EXPECT_TRUE(OthersCanEnter());
}

// Another thread that obtains the instance.
template <typename T>
class OtherUser {
public:
    OtherUser()
        : m_thread([this] {
              m_id = gettid();
              m_instance = T::GetInstance();
              m_through = true;
          })
    {
    }

    // Waits until the thread has the instance, or is asleep: it waits for a lock, and not for a processor.
    bool IsKeptOut() const
    {
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(60);
        int asleep = 0;  // consecutive checks: it may sleep for a moment elsewhere
        while (!m_through && std::chrono::steady_clock::now() < deadline) {
            asleep = Sleeps() ? asleep + 1 : 0;
            if (asleep == 50) return true;
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
        return false;
    }

    T* Instance()
    {
        m_thread.join();
        return m_instance;
    }

private:
    bool Sleeps() const
    {
        std::ifstream file("/proc/self/task/" + std::to_string(m_id) + "/stat");
        std::string stat;
        std::getline(file, stat);
        return stat.find(") S ") != std::string::npos;
    }

    std::atomic<pid_t> m_id = 0;
    std::atomic<bool> m_through = false;
    T* m_instance = nullptr;
    std::thread m_thread;  // last, as it uses the others
};

// For a template of this program, and for the one that the library instantiates.
template <typename T>
class SingletonLock : public Singleton {
protected:
    using User = OtherUser<T>;

    void TearDown() override
    {
        Singleton::TearDown();
        T::DestroyInstance();
    }

    // Calls action, and lets another user start while it logs. Returns what that user obtained.
    template <typename Action>
    T* ObtainedMeanwhile(Action action)
    {
        std::unique_ptr<User> other;
        const LogHook hook([&](const LogLine&) {
            if (other != nullptr) return;  // a line of that user
            other = std::make_unique<User>();
            EXPECT_TRUE(other->IsKeptOut());
        });
        action();
        if (other == nullptr) {
            ADD_FAILURE() << "nothing was logged";
            return nullptr;
        }
        return other->Instance();
    }
};

using Singletons = testing::Types<Instance, qdinfo::CQDInfoServerData>;
TYPED_TEST_SUITE(SingletonLock, Singletons);

TYPED_TEST(SingletonLock, IsHeldWhileTheInstanceIsMade)
{
    TypeParam* made = nullptr;

    TypeParam* const obtained = this->ObtainedMeanwhile([&] { made = TypeParam::GetInstance(); });

    EXPECT_NE(made, nullptr);
    EXPECT_EQ(obtained, made);
    EXPECT_THAT(this->platform.sequence, ElementsAre(kNew));
}

TYPED_TEST(SingletonLock, IsHeldWhileTheInstanceIsDestroyed)
{
    TypeParam::GetInstance();
    this->platform.sequence.clear();

    TypeParam* const obtained = this->ObtainedMeanwhile([] { TypeParam::DestroyInstance(); });

    EXPECT_THAT(this->platform.sequence, ElementsAre(kDestroy, kNew));
    EXPECT_EQ(obtained, TypeParam::GetInstance());
}

TEST_F(Singleton, HoldsItsLockWhileItLogsThatThereIsNoMemory)
{
    Instance::memory = false;
    std::unique_ptr<OtherUser<Instance>> other;
    const LogHook hook([&](const LogLine& line) {
        if (line.message != "Assertion failed") return;
        other = std::make_unique<OtherUser<Instance>>();
        EXPECT_TRUE(other->IsKeptOut());
        Instance::memory = true;
    });

    EXPECT_EQ(Instance::GetInstance(), nullptr);

    ASSERT_NE(other, nullptr);
    EXPECT_NE(other->Instance(), nullptr);
    EXPECT_THAT(platform.sequence, ElementsAre(kNew, kAssertion, kNew));
}

TEST_F(Singleton, IsMadeOnceByManyThreads)
{
    std::array<std::future<Instance*>, 8> users;
    for (std::future<Instance*>& user : users) {
        user = std::async(std::launch::async, [] { return Instance::GetInstance(); });
    }

    for (std::future<Instance*>& user : users) EXPECT_EQ(user.get(), Instance::GetInstance());

    EXPECT_THAT(platform.sequence, ElementsAre(kNew));
}

static_assert(std::has_virtual_destructor_v<CSingleton<Instance>>);
static_assert(std::is_same_v<decltype(&Instance::GetInstance), Instance* (*)()>);

}  // namespace
