// The emulator against a small fake plug-in: loading, missing exports,
// overloads, defaults, buffers, script errors and ownership.
#include <gtest/gtest.h>

#include "TirnHost.h"

namespace {

using namespace tirnhost;

class HostModule : public ::testing::Test
{
protected:
    void SetUp() override { m = std::make_unique<Module>(TIRN_FAKE_MODULE_PATH); }
    std::unique_ptr<Module> m;
};

TEST_F(HostModule, ReportsDeclaredNamesThatAreNotExported)
{
    EXPECT_EQ(m->missingExports(), std::vector<std::string>{"Counter_1_missing"});
    ASSERT_EQ(m->classes().size(), 1u);
    EXPECT_EQ(m->classes()[0].name, "Counter");
    EXPECT_EQ(m->functions().name, "Fake");
    void* c = m->create("Counter");
    EXPECT_THROW(m->call(c, "Counter", "missing"), HostError);
}

TEST_F(HostModule, DefaultsAndOverloads)
{
    void* c = m->create("Counter");
    EXPECT_EQ(m->call(c, "Counter", "value").i, 5);
    EXPECT_EQ(m->call(c, "Counter", "add").f, 5.5f);                     // iTimes = 1
    EXPECT_EQ(m->call(c, "Counter", "add", {Arg::real(2)}).f, 7.5f);     // the float overload
    EXPECT_EQ(m->call(c, "Counter", "add", {Arg::integer(2)}).f, 8.5f);  // exact int first
    void* d = m->create("Counter", {Arg::integer(-3), Arg::integer(2)}); // int as float
    EXPECT_EQ(m->call(d, "Counter", "add", {Arg::integer(2)}).f, 1.0f);
    EXPECT_EQ(m->callFunction("twice", {Arg::integer(21)}).i, 42);
}

TEST_F(HostModule, CallsThatFitNoPrototypeAreRefused)
{
    void* c = m->create("Counter");
    try {
        m->call(c, "Counter", "value", {Arg::integer(1)});
        FAIL();
    } catch (const HostError& e) {
        EXPECT_STREQ(e.what(), "no Counter.value takes value(int)");
    }
    EXPECT_THROW(m->call(c, "Counter", "nothing"), HostError);
    EXPECT_THROW(m->call(c, "Nobody", "value"), HostError);
    EXPECT_THROW(m->call(c, "Counter", "fail"), HostError); // a required argument missing
    EXPECT_THROW(m->create("Counter", {Arg::real(1.5f)}), HostError);
}

TEST_F(HostModule, BuffersAndArraysCarryTheirLengths)
{
    void* c = m->create("Counter");
    std::vector<char> buffer(4, 'x');
    m->call(c, "Counter", "name", {Arg::textBuffer(buffer)});
    EXPECT_EQ(std::string(buffer.data(), 4), std::string("cou\0", 4));
    std::vector<unsigned char> bytes = {1, 2, 250};
    EXPECT_EQ(m->call(c, "Counter", "sum", {Arg::bytes(bytes)}).i, 253);
    EXPECT_EQ(m->call(c, "Counter", "sum", {Arg::nullArray(ValueType::Bytes)}).i, 0);
}

TEST_F(HostModule, ScriptErrorsAreRecordedAndTheCallReturns)
{
    void* c = m->create("Counter");
    EXPECT_EQ(m->call(c, "Counter", "fail", {Arg::integer(3)}).i, -1);
    EXPECT_EQ(m->call(c, "Counter", "fail", {Arg::integer(4)}).i, -1);
    const std::vector<ScriptError> expected = {{"badarg", "fail 3\n"}, {"badarg", "fail 4\n"}};
    EXPECT_EQ(m->takeErrors(), expected);
    EXPECT_TRUE(m->errors().empty());
}

TEST_F(HostModule, HandlesAreOwnedUntilFreed)
{
    const int* pLive = static_cast<const int*>(m->symbol("fake_live_objects"));
    ASSERT_NE(pLive, nullptr);
    void* a = m->create("Counter");
    void* b = m->create("Counter");
    EXPECT_EQ(*pLive, 2);
    EXPECT_EQ(m->ownedCount(), 2u);
    m->release(a);
    EXPECT_EQ(*pLive, 1);
    EXPECT_FALSE(m->owns(a));
    EXPECT_TRUE(m->owns(b));
    EXPECT_THROW(m->release(a), HostError);
    m.reset(); // frees b; the module stays mapped
    EXPECT_EQ(*pLive, 0);
}

TEST_F(HostModule, PinTypesFollowRegistration)
{
    const PinType* pin = m->pinType("fake.Counter");
    ASSERT_NE(pin, nullptr);
    EXPECT_EQ(pin->baseType, "fake.Base");
    EXPECT_EQ(pin->describe, nullptr);
    EXPECT_THROW(m->pinDescribe("fake.Counter", nullptr), HostError);
    EXPECT_THROW(m->pinCompatible("fake.Other", nullptr, nullptr), HostError);
}

TEST_F(HostModule, OneModuleAtATime)
{
    EXPECT_THROW(Module second(TIRN_FAKE_MODULE_PATH), HostError);
    m.reset();
    EXPECT_THROW(Module missing("/nonexistent/tirn_fake.so"), HostError);
    Module again(TIRN_FAKE_MODULE_PATH); // a failed load leaves no trace
    EXPECT_EQ(again.ownedCount(), 0u);
}

} // namespace
