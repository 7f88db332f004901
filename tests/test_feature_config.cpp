// The feature-config tool through the real host, against the emulated store.
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "harness.h"

using harness::DeviceRoot;
using harness::main_menu;

namespace {

const char kName[] = "Input item name : ";
const char kValue[] = "Input value : ";
const char kDone[] = "Value setting done\n\n";
const char kUnknownItem[] = "Invalid key or Daemon not launched or Need DB setup\n\n";
const char kStoreFailed[] = "Daemon not launched or Need DB setup\n\n";
const char kTryAgain[] = "Try again\n\n";

std::string sub_menu()
{
    return harness::menu("feature-config print",
                         {"Start feature-config dlog ", "Stop feature-config dlog ", "feature-config Debug "});
}

std::string frame()
{
    const std::string boundary = "====================================\n";
    return boundary + "feature-config test\n" + boundary + "1 : Get feature-config value\n" +
           "2 : Set feature-config value\n" + boundary + "99 << : Exit\n" + boundary + harness::kPrompt;
}

class FeatureConfigTool : public ::testing::Test {
protected:
    static std::unique_ptr<DeviceRoot> root;
    static void SetUpTestSuite()
    {
        root = std::make_unique<DeviceRoot>();
        root->set_state("fconfig", "test.on", "Boolean:true");
        root->set_state("fconfig", "test.off", "Boolean:false");
        root->set_state("fconfig", "test.count", "Int:-3");
        root->set_state("fconfig", "test.name", "String:front panel");
        root->set_state("fconfig", "test.gamma", "Double:2.2");
    }
    static void TearDownTestSuite() { root.reset(); }
    void SetUp() override
    {
        root->remove_state_group("fail");
        root->clear_calls_log();
    }

    // Runs INPUT in the tool's menu; OUTPUT is what comes between its first
    // frame and its last.
    static void expect_session(const DeviceRoot &in, const std::string &input, const std::string &output)
    {
        harness::RunResult r = in.run("18\n3\n" + input + "99\n99\n99\n");
        EXPECT_EQ(r.status, 0);
        const std::string expected = main_menu() + sub_menu() + frame() + output + frame() + sub_menu() + main_menu();
        EXPECT_EQ(r.out, expected) << harness::diff(expected, r.out);
    }
    void expect_session(const std::string &input, const std::string &output) { expect_session(*root, input, output); }
    std::string item(const std::string &name) const { return root->state("fconfig", name); }
};

std::unique_ptr<DeviceRoot> FeatureConfigTool::root;

TEST_F(FeatureConfigTool, GetsEachTypeWithTheCallForIt)
{
    expect_session("1\ntest.on\n1\ntest.off\n1\ntest.count\n1\ntest.name\n",
                   kName + std::string("Value (Boolean) = TRUE\n\n") + frame() + kName +
                       "Value (Boolean) = FALSE\n\n" + frame() + kName + "Value (Int) = -3\n\n" + frame() + kName +
                       "Value (String) = front panel\n\n");
    EXPECT_EQ(root->calls_log(),
              "fconfig_get_type \"test.on\"\nfconfig_get_bool \"test.on\"\n"
              "fconfig_get_type \"test.off\"\nfconfig_get_bool \"test.off\"\n"
              "fconfig_get_type \"test.count\"\nfconfig_get_int \"test.count\"\n"
              "fconfig_get_type \"test.name\"\nfconfig_get_str \"test.name\"\n");
}

TEST_F(FeatureConfigTool, OnlyTheFourBooleanWordsAreWritten)
{
    for (const char *word : {"True", "1", "yes", "FALSe"}) {
        SCOPED_TRACE(word);
        expect_session(std::string("2\ntest.off\n") + word + "\n",
                       kName + std::string(kValue) + "Invalid value\n\n");
    }
    EXPECT_EQ(item("test.off"), "Boolean:false");

    const std::pair<const char *, const char *> words[] = {
        {"true", "Boolean:true"}, {"false", "Boolean:false"}, {"TRUE", "Boolean:true"}, {"FALSE", "Boolean:false"}};
    for (const auto &w : words) {
        SCOPED_TRACE(w.first);
        root->clear_calls_log();
        expect_session(std::string("2\ntest.off\n") + w.first + "\n", kName + std::string(kValue) + kDone);
        EXPECT_EQ(item("test.off"), w.second);
        EXPECT_EQ(root->calls_log(), std::string("fconfig_get_type \"test.off\"\nfconfig_set_bool \"test.off\" ") +
                                         (w.second == std::string("Boolean:true") ? "1" : "0") + "\n");
    }
}

TEST_F(FeatureConfigTool, IntegersAreConvertedUnchecked)
{
    expect_session("2\ntest.count\nabc\n", kName + std::string(kValue) + kDone);
    EXPECT_EQ(item("test.count"), "Int:0");
    expect_session("2\ntest.count\n12ab\n", kName + std::string(kValue) + kDone);
    EXPECT_EQ(item("test.count"), "Int:12");
    // Out of range: the nearest integer, as the TV's 32-bit strtol gives it.
    expect_session("2\ntest.count\n99999999999\n", kName + std::string(kValue) + kDone);
    EXPECT_EQ(item("test.count"), "Int:2147483647");
    expect_session("2\ntest.count\n-4294967297x\n", kName + std::string(kValue) + kDone);
    EXPECT_EQ(item("test.count"), "Int:-2147483648");
    expect_session("2\ntest.count\n-7\n1\ntest.count\n",
                   kName + std::string(kValue) + kDone + frame() + kName + "Value (Int) = -7\n\n");
}

TEST_F(FeatureConfigTool, AStringIsCutAtTheBlank)
{
    // "world" is left for the menu, which does not know it.
    expect_session("2\ntest.name\nhello world\n", kName + std::string(kValue) + kDone + frame() + kTryAgain);
    EXPECT_EQ(item("test.name"), "String:hello");
    EXPECT_EQ(root->calls_log(), "fconfig_get_type \"test.name\"\nfconfig_set_str \"test.name\" \"hello\"\n");
}

TEST_F(FeatureConfigTool, UnknownItemsAndTypesAreReportedBeforeAnyValueIsUsed)
{
    expect_session("2\nno.such.item\nTrue\n1\nno.such.item\n2\ntest.gamma\n2.4\n1\ntest.gamma\n",
                   kName + std::string(kValue) + kUnknownItem + frame() + kName + kUnknownItem + frame() + kName +
                       kValue + "Invalid type\n\n" + frame() + kName + "Invalid type\n\n");
    EXPECT_EQ(root->calls_log(),
              "fconfig_get_type \"no.such.item\"\nfconfig_get_type \"no.such.item\"\n"
              "fconfig_get_type \"test.gamma\"\nfconfig_get_type \"test.gamma\"\n");
    EXPECT_EQ(item("test.gamma"), "Double:2.2");
}

TEST_F(FeatureConfigTool, AStoreThatFailsIsReportedAsSuch)
{
    root->set_state("fail", "fconfig_get_bool", "-1");
    root->set_state("fail", "fconfig_get_int", "-1");
    root->set_state("fail", "fconfig_get_str", "-1");
    root->set_state("fail", "fconfig_set_str", "-5");
    root->set_state("fail", "fconfig_set_int", "-5");
    const std::string before = item("test.name");
    expect_session("1\ntest.on\n1\ntest.count\n1\ntest.name\n2\ntest.name\nnew\n2\ntest.count\n4\n",
                   kName + std::string(kStoreFailed) + frame() + kName + kStoreFailed + frame() + kName +
                       kStoreFailed + frame() + kName + kValue + kStoreFailed + frame() + kName + kValue +
                       kStoreFailed);
    EXPECT_EQ(item("test.name"), before);

    root->set_state("fail", "fconfig_get_type", "0");
    expect_session("1\ntest.on\n", kName + std::string(kUnknownItem));
}

TEST_F(FeatureConfigTool, NoDaemonMeansNoItems)
{
    DeviceRoot stopped;
    stopped.remove_state_group("fconfig");
    expect_session(stopped, "1\nproduct.screen_size\n2\nproduct.screen_size\n40\n",
                   kName + std::string(kUnknownItem) + frame() + kName + kValue + kUnknownItem);
    EXPECT_EQ(stopped.state("fconfig", "product.screen_size"), "");
}

TEST_F(FeatureConfigTool, MenuChoicesAndInputErrors)
{
    expect_session("0\n3\n-1\n", kTryAgain + frame() + kTryAgain + frame() + std::string(kTryAgain));

    // End of input at either prompt; the value prompt only follows a name.
    const std::pair<const char *, std::string> cases[] = {
        {"1\n", kName},
        {"2\n", kName},
        {"2\ntest.name\n", kName + std::string(kValue)},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.first);
        harness::RunResult r = root->run(std::string("18\n3\n") + c.first);
        const std::string expected =
            main_menu() + sub_menu() + frame() + c.second + "Input error\n\n" + frame() + sub_menu() + main_menu();
        EXPECT_EQ(r.out, expected) << harness::diff(expected, r.out);
    }
    EXPECT_EQ(root->calls_log(), "");
}

TEST_F(FeatureConfigTool, TheStoreLogsUnderItsTagWhileShown)
{
    harness::RunResult r = root->run("18\n1\n3\n1\ntest.on\n99\n2\n3\n1\ntest.on\n99\n99\n99\n");
    // The type and the value of the first read; nothing after the stop.
    size_t lines = 0;
    for (size_t at = r.err.find("[FCONFIG] "); at != std::string::npos; at = r.err.find("[FCONFIG] ", at + 1))
        ++lines;
    EXPECT_EQ(lines, 2u) << r.err;

    // A stored value the store cannot read is a call like any other.
    root->set_state("fconfig", "test.broken_flag", "Boolean:yes");
    root->set_state("fconfig", "test.broken_count", "Int:12x");
    r = root->run("18\n1\n3\n1\ntest.broken_flag\n1\ntest.broken_count\n99\n99\n99\n");
    std::vector<std::string> logged;
    for (size_t at = r.err.find("[FCONFIG] "); at != std::string::npos; at = r.err.find("[FCONFIG] ", at + 1))
        logged.push_back(r.err.substr(at, r.err.find('\n', at) - at));
    ASSERT_EQ(logged.size(), 4u) << r.err;
    EXPECT_NE(logged[1].find("fconfig_get_bool: test.broken_flag"), std::string::npos) << logged[1];
    EXPECT_NE(logged[3].find("fconfig_get_int: test.broken_count"), std::string::npos) << logged[3];
    EXPECT_NE(r.out.find(kStoreFailed), std::string::npos);
}

TEST_F(FeatureConfigTool, TheDeviceRootHasItemsOfEachType)
{
    expect_session("1\nfeature.ambient_mode\n1\nproduct.screen_size\n1\nproduct.panel_type\n1\nvideo.gamma_default\n",
                   kName + std::string("Value (Boolean) = TRUE\n\n") + frame() + kName + "Value (Int) = 55\n\n" +
                       frame() + kName + "Value (String) = UHD\n\n" + frame() + kName + "Invalid type\n\n");
}

}  // namespace
