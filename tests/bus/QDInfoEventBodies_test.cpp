// SPDX-License-Identifier: Apache-2.0
//
// Signals and method calls with every body of one to three elements over the basic types of D-Bus: only "(is)" is an
// event.
#include "GioProbe.h"
#include "ReceiverTest.h"

#include <memory>

namespace {

using namespace srcwatch_test;
using qdinfo::CQDEventReciever;
using testing::ElementsAre;

constexpr int kType = 5;
constexpr char kTypes[] = "ybnqiuxtdsog";

GVariant* Value(char type)
{
    switch (type) {
        case 'y':
            return g_variant_new_byte(kType);
        case 'b':
            return g_variant_new_boolean(TRUE);
        case 'n':
            return g_variant_new_int16(kType);
        case 'q':
            return g_variant_new_uint16(kType);
        case 'i':
            return g_variant_new_int32(kType);
        case 'u':
            return g_variant_new_uint32(kType);
        case 'x':
            return g_variant_new_int64(kType);
        case 't':
            return g_variant_new_uint64(kType);
        case 'd':
            return g_variant_new_double(kType);
        case 's':
            return g_variant_new_string("5");
        case 'o':
            return g_variant_new_object_path("/5");
        default:
            return g_variant_new_signature("i");
    }
}

GVariant* Body(const std::string& signature)
{
    std::vector<GVariant*> values;
    for (const char type : signature) values.push_back(Value(type));
    return g_variant_new_tuple(values.data(), values.size());
}

std::vector<std::string> AllSignatures()
{
    std::vector<std::string> signatures;
    const std::string types = kTypes;
    for (const char first : types) {
        signatures.emplace_back(1, first);
        for (const char second : types) {
            signatures.push_back({first, second});
            for (const char third : types) signatures.push_back({first, second, third});
        }
    }
    return signatures;
}

// Bodies of other kinds, as texts of GVariant.
const char* const kOtherBodies[] = {"()",          "('5', 5)",     "((5, '5'),)", "([5], '5')",     "(<5>, '5')",
                                    "(5, <'5'>)",  "(5, ['5'])",   "({5: '5'},)", "(5, '5', (5,))", "(@as [],)",
                                    "(5, ('5',))", "([(5, '5')],)"};

class Bodies : public Receiver {
protected:
    void MakeReceiver(bool isService)
    {
        TheGioProbe() = GioProbe();
        receiver = std::make_unique<CQDEventReciever>(kChannel, isService);
        for (int type = -1; type <= 10; ++type) {
            receiver->RegisterEventCallback(type, &Deliveries::Callback, &deliveries);
        }
        if (isService) {
            ASSERT_TRUE(RunUntilNameAcquired());
            ASSERT_TRUE(RunUntil([this] { return Logged("D m_SignalHandler: signal end"); }));
        } else {
            SyncSharedConnection();
        }
        TakeLog();
    }

    void ExpectSignalIsRefused(GVariant* body, const std::string& name)
    {
        TakeLog();
        peer.Emit(kChannelPath, kChannelName, kChannel, body);
        ASSERT_TRUE(RunUntil([this] { return Logged("E m_SignalHandler: Assertion failed"); })) << name;
        EXPECT_THAT(TakeLog(), ElementsAre("D m_SignalHandler: Received signal", "E m_SignalHandler: Assertion failed"))
            << name;
        ASSERT_EQ(deliveries.Count(), 0U) << name;
    }
};

TEST_F(Bodies, OfSignalsOfEveryOtherTypeAreRefused)
{
    MakeReceiver(false);
    for (const std::string& signature : AllSignatures()) {
        if (signature != "is") ExpectSignalIsRefused(Body(signature), signature);
    }
    for (const char* body : kOtherBodies) ExpectSignalIsRefused(g_variant_new_parsed(body), body);
    ExpectSignalIsRefused(nullptr, "none");

    peer.Emit(kChannelPath, kChannelName, kChannel, Body("is"));

    ASSERT_TRUE(RunUntil([this] { return deliveries.Count() == 1; }));
    EXPECT_EQ(deliveries.Last().event.args[0], 5);
}

// GDBus compares a call with the description of the object and refuses it for the receiver.
TEST_F(Bodies, OfCallsOfEveryOtherTypeAreRefusedWithAnError)
{
    MakeReceiver(true);
    for (const std::string& signature : AllSignatures()) {
        if (signature == "is") continue;
        ASSERT_EQ(Call(Body(signature)).error, "org.freedesktop.DBus.Error.InvalidArgs") << signature;
        peer.Forget();
    }
    for (const char* body : kOtherBodies) {
        ASSERT_EQ(Call(g_variant_new_parsed(body)).error, "org.freedesktop.DBus.Error.InvalidArgs") << body;
    }
    EXPECT_EQ(Call(nullptr).error, "org.freedesktop.DBus.Error.InvalidArgs");
    EXPECT_EQ(deliveries.Count(), 0U);

    EXPECT_EQ(Call(Body("is")).signature, "s");

    EXPECT_EQ(deliveries.Count(), 1U);
}

// As if GDBus had not compared.
TEST_F(Bodies, OfCallsOfEveryOtherTypeAreRefusedByTheHandlerToo)
{
    MakeReceiver(true);
    GioProbe& probe = TheGioProbe();
    std::size_t refused = 0;
    std::unique_ptr<BusPeer> caller;
    for (const std::string& signature : AllSignatures()) {
        if (signature == "is") continue;
        probe.body = [&signature] { return Body(signature); };
        // The bus limits the replies that a connection waits for.
        if (refused % 100 == 0) caller = std::make_unique<BusPeer>();
        caller->Send(kChannelName, kChannelPath, kChannelName, kChannel, Body("is"));
        ++refused;
        ASSERT_TRUE(RunUntil([&] { return probe.methodCalls == refused; }));
        ASSERT_THAT(TakeLog(), ElementsAre("E m_MethodCallHandler: Received method call",
                                           "E m_MethodCallHandler: Assertion failed"))
            << signature;
    }
    EXPECT_EQ(deliveries.Count(), 0U);
    probe.body = nullptr;

    EXPECT_EQ(Call(Body("is")).signature, "s");

    EXPECT_EQ(deliveries.Count(), 1U);
    EXPECT_EQ(refused, 12U + 144U + 1728U - 1U);
}

}  // namespace
