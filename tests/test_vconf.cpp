// The vconf key tool through the real host, against the emulated store.
#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "harness.h"

using harness::DeviceRoot;
using harness::main_menu;

namespace {

const char kSetPrompt[] = "Please enter command for set or 'exit' (eg. {keyname} {value}\n";
const char kGetPrompt[] = "Please enter command for get or 'exit' (eg. {keyname}\n";
const char kBoolGetPrompt[] = "Please enter command for set or 'exit' (eg. {keyname}\n";
const char kListPrompt[] = "Please enter command for vconf_get or 'exit' (eg. {keyname}\n";

std::string vconf_menu()
{
    return harness::menu("vconf debug menu",
                         {"Set vconf key (int)", "Set vconf key (bool)", "Set vconf key (string)",
                          "Set vconf key (double)", "Get vconf key (int)", "Get vconf key (bool)",
                          "Get vconf key (string)", "Get vconf list starts with ..."});
}

class VconfTool : public ::testing::Test {
protected:
    static std::unique_ptr<DeviceRoot> root;
    static void SetUpTestSuite() { root = std::make_unique<DeviceRoot>(); }
    static void TearDownTestSuite() { root.reset(); }
    void SetUp() override
    {
        root->remove_state_group("fail");
        root->clear_calls_log();
    }

    // Runs INPUT inside the vconf menu; OUTPUT is what the tool prints
    // between the first vconf menu and the last one.
    void expect_session(const std::string &input, const std::string &output)
    {
        harness::RunResult r = root->run("14\n" + input + "99\n99\n");
        EXPECT_EQ(r.status, 0);
        const std::string expected = main_menu() + vconf_menu() + output + vconf_menu() + main_menu();
        EXPECT_EQ(r.out, expected) << harness::diff(expected, r.out);
    }
    std::string vconf(const std::string &key) const { return root->state("vconf", key); }
};

std::unique_ptr<DeviceRoot> VconfTool::root;

TEST_F(VconfTool, SetAndGetEachType)
{
    expect_session("1\ndb/test/count -42\n2\ndb/test/enabled 1\n3\nmemory/test/name tavrin\n"
                   "5\ndb/test/count\n6\ndb/test/enabled\n7\nmemory/test/name\n",
                   std::string(kSetPrompt) + "succeeded to set (db/test/count:-42)\n" + vconf_menu() +
                       kSetPrompt + "succeeded to set (db/test/enabled:1)\n" + vconf_menu() + kSetPrompt +
                       "succeeded to set (memory/test/name:tavrin)\n" + vconf_menu() + kGetPrompt +
                       "succeeded to get (db/test/count:-42)\n" + vconf_menu() + kBoolGetPrompt +
                       "succeeded to get (db/test/enabled:1)\n" + vconf_menu() + kGetPrompt +
                       "succeeded to get (memory/test/name:tavrin)\n");
    EXPECT_EQ(vconf("db/test/count"), "int:-42");
    EXPECT_EQ(vconf("db/test/enabled"), "bool:1");
    EXPECT_EQ(vconf("memory/test/name"), "string:tavrin");
    EXPECT_EQ(root->calls_log(),
              "vconf_set_int \"db/test/count\" -42\n"
              "vconf_set_bool \"db/test/enabled\" 1\n"
              "vconf_set_str \"memory/test/name\" \"tavrin\"\n"
              "vconf_get_int \"db/test/count\"\n"
              "vconf_get_bool \"db/test/enabled\"\n"
              "vconf_get_str \"memory/test/name\"\n");

    // A key of the device root, overwritten with its own type.
    expect_session("1\ndb/setting/Brightness 70\n", std::string(kSetPrompt) +
                                                         "succeeded to set (db/setting/Brightness:70)\n");
    EXPECT_EQ(vconf("db/setting/Brightness"), "int:70");
}

TEST_F(VconfTool, FailuresNameTheKeyAndWriteNothing)
{
    root->set_state("vconf", "db/test/label", "string:old");
    // Another type, a name outside the store's layers, a missing key.
    expect_session("1\ndb/test/label 5\n2\nsystem/test 1\n5\ndb/test/missing\n6\ndb/test/label\n"
                   "7\ndb/test/missing\n",
                   std::string(kSetPrompt) + "failed to set (db/test/label:5)\n" + vconf_menu() + kSetPrompt +
                       "failed to set (system/test:1)\n" + vconf_menu() + kGetPrompt +
                       "failed to get (db/test/missing:0)\n" + vconf_menu() + kBoolGetPrompt +
                       "failed to get (db/test/label:0)\n" + vconf_menu() + kGetPrompt +
                       "failed to get db/test/missing\n");
    EXPECT_EQ(vconf("db/test/label"), "string:old");
    EXPECT_EQ(vconf("system/test"), "");

    root->set_state("fail", "vconf_set_str", "-5");
    expect_session("3\ndb/test/label new\n", std::string(kSetPrompt) + "failed to set (db/test/label:new)\n");
    EXPECT_EQ(vconf("db/test/label"), "string:old");
}

TEST_F(VconfTool, BooleanOtherThanZeroOrOneIsAskedAgain)
{
    expect_session("2\ndb/test/flag 2\ndb/test/flag -1\ndb/test/flag 0\n",
                   std::string(kSetPrompt) + "Invalid input value (2)\n" + kSetPrompt +
                       "Invalid input value (-1)\n" + kSetPrompt + "succeeded to set (db/test/flag:0)\n");
    EXPECT_EQ(root->calls_log(), "vconf_set_bool \"db/test/flag\" 0\n");
    EXPECT_EQ(vconf("db/test/flag"), "bool:0");

    // The exit word ends the repeated prompt.
    root->clear_calls_log();
    expect_session("2\ndb/test/flag 7\nexit 0\n",
                   std::string(kSetPrompt) + "Invalid input value (7)\n" + kSetPrompt);
    EXPECT_EQ(root->calls_log(), "");
}

TEST_F(VconfTool, AStringIsCutAtTheBlank)
{
    // "world" stays in the input, where the menu takes it for an unknown choice.
    expect_session("3\ndb/test/greeting hello world\n",
                   std::string(kSetPrompt) + "succeeded to set (db/test/greeting:hello)\n" + vconf_menu());
    EXPECT_EQ(vconf("db/test/greeting"), "string:hello");
}

TEST_F(VconfTool, SettersTakeTheExitWordOnlyWithASecondWord)
{
    // The 7 on the next line is the setter's value, not a menu choice...
    expect_session("1\nexit\n7\n", kSetPrompt);
    expect_session("3\nexit\n7\n", kSetPrompt);
    // ...while a getter leaves at once, and 7 opens the string getter.
    expect_session("5\nexit\n7\nexit\n", std::string(kGetPrompt) + vconf_menu() + kGetPrompt);
    expect_session("8\nexit\n", kListPrompt);
    EXPECT_EQ(root->calls_log(), "");
}

TEST_F(VconfTool, UnreadableInputWritesNothing)
{
    // A value that is not a number: nothing is written, the word goes to the menu.
    root->set_state("vconf", "db/test/level", "int:9");
    expect_session("1\ndb/test/level abc\n2\ndb/test/level x\n",
                   std::string(kSetPrompt) + vconf_menu() + vconf_menu() + kSetPrompt + vconf_menu());
    EXPECT_EQ(vconf("db/test/level"), "int:9");

    // End of input at a prompt is the exit word.
    for (const char *input : {"14\n1\n", "14\n1\ndb/test/level", "14\n3\ndb/test/level\n", "14\n5\n", "14\n8\n"}) {
        SCOPED_TRACE(input);
        harness::RunResult r = root->run(input);
        EXPECT_EQ(r.status, 0);
    }
    EXPECT_EQ(root->calls_log(), "");
    EXPECT_EQ(vconf("db/test/level"), "int:9");
}

TEST_F(VconfTool, DoubleEntryAndUnknownChoicesShowTheMenuAgain)
{
    expect_session("4\n0\n9\n98\n100\n-1\n", vconf_menu() + vconf_menu() + vconf_menu() + vconf_menu() + vconf_menu());
    EXPECT_EQ(root->calls_log(), "");
}

TEST_F(VconfTool, ListingWalksTheKeysInOrderAndNumbersSkippedTypes)
{
    // Written out of order; "list" has a type the tool passes over.
    root->set_state("vconf", "db/walk/e_name", "string:living room");
    root->set_state("vconf", "db/walk/c_ratio", "double:2.5");
    root->set_state("vconf", "db/walk/a_count", "int:7");
    root->set_state("vconf", "db/walk/d_list", "list:1,2,3");
    root->set_state("vconf", "db/walk/b_on", "bool:1");
    root->set_state("vconf", "db/walker", "int:1");
    expect_session("8\ndb/walk/\n",
                   std::string(kListPrompt) +
                       "vconf_get test starts....(db/walk/)\n"
                       "[1] key(db/walk/a_count) value(7)\n"
                       "[2] key(db/walk/b_on) value(1)\n"
                       "[3] key(db/walk/c_ratio) value(2.500000)\n"
                       "[5] key(db/walk/e_name) value(living room)\n"
                       "succeeded to get (db/walk/)\n");
    EXPECT_EQ(root->calls_log(),
              "vconf_get \"db/walk/\" 0\n"
              "vconf_get_int \"db/walk/a_count\"\n"
              "vconf_get_bool \"db/walk/b_on\"\n"
              "vconf_get_dbl \"db/walk/c_ratio\"\n"
              "vconf_get_str \"db/walk/e_name\"\n");

    // The prefix is plain text: it reaches beyond the slash.
    harness::RunResult r = root->run("14\n8\ndb/walk\n99\n99\n");
    EXPECT_NE(r.out.find("[6] key(db/walker) value(1)\n"), std::string::npos) << r.out;

    // A key that cannot be read is reported and the walk goes on.
    root->set_state("fail", "vconf_get_dbl", "-1");
    r = root->run("14\n8\ndb/walk/\n99\n99\n");
    EXPECT_NE(r.out.find("[2] key(db/walk/b_on) value(1)\n"
                         "failed to get db/walk/c_ratio\n"
                         "[5] key(db/walk/e_name) value(living room)\n"
                         "succeeded to get (db/walk/)\n"),
              std::string::npos)
        << r.out;
}

TEST_F(VconfTool, ListingOfNothingAndAFailedFill)
{
    expect_session("8\ndb/nothing/here/\n", std::string(kListPrompt) +
                                                "vconf_get test starts....(db/nothing/here/)\n"
                                                "succeeded to get (db/nothing/here/)\n");

    root->set_state("fail", "vconf_get", "-1");
    // No line end: the menu follows on the same line.
    expect_session("8\ndb/setting/\n", std::string(kListPrompt) +
                                           "vconf_get test starts....(db/setting/)\n"
                                           "failed to get vconf key list starts with db/setting/");
    EXPECT_EQ(root->calls_log(), "vconf_get \"db/nothing/here/\" 0\nvconf_get \"db/setting/\" 0\n");

    // No list to fill at all ends the same way.
    root->remove_state_group("fail");
    root->set_state("fail", "vconf_keylist_new", "0");
    expect_session("8\ndb/\n", std::string(kListPrompt) +
                                   "vconf_get test starts....(db/)\n"
                                   "failed to get vconf key list starts with db/");
}

TEST_F(VconfTool, TheDeviceRootHasKeysOfAllFourTypes)
{
    harness::RunResult r = root->run("14\n8\ndb/\n8\nmemory/\n99\n99\n");
    for (const char *line : {"key(db/setting/Brightness) value(", "key(db/setting/debug_mode) value(1)",
                             "key(db/aul/socket_timeout) value(5.200000)",
                             "key(db/setting/timezone_id) value(Asia/Seoul)", "key(memory/pm/state) value("})
        EXPECT_NE(r.out.find(line), std::string::npos) << line;
    EXPECT_EQ(r.out.find("failed to get"), std::string::npos) << r.out;
}

}  // namespace
