// The vconf key tool and the feature-config tool through the real host,
// against the emulated stores.
#include <gtest/gtest.h>

#include <array>
#include <cstdio>
#include <fstream>

#include "harness.h"
#include "tavrin/vconf_tool.h"

using Texts = std::vector<std::string>;

namespace {

// What each action printed in menu PATH.
Texts actions(const harness::DeviceRoot &root, const std::string &path, const Texts &input)
{
    Texts out = harness::in_menu(root, path, input).actions;
    out.resize(input.size());
    return out;
}

TEST(Vconf, SetsGetsAndListsKeysOfEachType)
{
    harness::DeviceRoot root;
    for (const auto &[key, value] : {std::pair{"db/w/e_name", "string:living room"}, {"db/w/c_ratio", "double:2.5"},
                                     {"db/w/a_count", "int:7"}, {"db/w/d_list", "list:1,2,3"}, {"db/w/b_on", "bool:1"},
                                     {"db/t/label", "string:old"}, {"db/t/level", "int:9"}})
        root.set_state("vconf", key, value);
    // First the prompts, left with "exit": a setter reads key and value
    // together, so the 7 after its "exit" is its value and no menu choice.
    const Texts out = actions(root, "14", {"1\nexit\n7\n", "3\nexit\n7\n", "5\nexit\n", "6\nexit\n", "8\nexit\n",
        "1\ndb/t/count -42\n", "2\ndb/t/on 1\n", "3\nmemory/t/name hello world\n", "", "4\n", "5\ndb/t/count\n",
        "6\ndb/t/on\n", "7\nmemory/t/name\n", "1\ndb/t/label 5\n", "2\nsystem/t 1\n", "3\ndb/t/level x\n",
        "5\ndb/t/missing\n", "6\ndb/t/label\n", "7\ndb/t/missing\n", "2\ndb/t/flag 2\ndb/t/flag -1\ndb/t/flag 0\n",
        "2\ndb/t/flag 7\nexit 0\n", "1\ndb/t/level abc\n", "", "8\ndb/w/\n", "5\ndb/t/level\n"});
    const std::string &set = out[0], &get = out[2], &get_bool = out[3], &list = out[4];
    EXPECT_EQ(harness::lines(set + out[1] + get + get_bool + list).size(), 5u);  // one line each
    const std::string walk = list + "vconf_get test starts....(db/w/)\n[1] key(db/w/a_count) value(7)\n"
                                    "[2] key(db/w/b_on) value(1)\n";
    const std::string walk_end = "[5] key(db/w/e_name) value(living room)\nsucceeded to get (db/w/)\n";
    EXPECT_EQ(out, (Texts{set, set, get, get_bool, list, set + "succeeded to set (db/t/count:-42)\n",
        set + "succeeded to set (db/t/on:1)\n", set + "succeeded to set (memory/t/name:hello)\n", "", "",
        get + "succeeded to get (db/t/count:-42)\n", get_bool + "succeeded to get (db/t/on:1)\n",
        get + "succeeded to get (memory/t/name:hello)\n", set + "failed to set (db/t/label:5)\n",
        set + "failed to set (system/t:1)\n", set + "failed to set (db/t/level:x)\n",
        get + "failed to get (db/t/missing:0)\n", get_bool + "failed to get (db/t/label:0)\n",
        get + "failed to get db/t/missing\n", set + "Invalid input value (2)\n" + set + "Invalid input value (-1)\n" +
        set + "succeeded to set (db/t/flag:0)\n", set + "Invalid input value (7)\n" + set, set, "",
        walk + "[3] key(db/w/c_ratio) value(2.500000)\n" + walk_end, get + "succeeded to get (db/t/level:9)\n"}));

    // A key that cannot be read is reported and the walk goes on with its
    // numbers; a list that cannot be filled ends the listing.
    root.set_state("fail", "vconf_get_dbl", "-1");
    EXPECT_EQ(actions(root, "14", {"8\ndb/w/\n"}), Texts{walk + "failed to get db/w/c_ratio\n" + walk_end});
    root.set_state("fail", "vconf_get", "-1");
    EXPECT_EQ(actions(root, "14", {"8\ndb/w/\n"}),
              Texts{list + "vconf_get test starts....(db/w/)\nfailed to get vconf key list starts with db/w/"});
}

// For callers other than the menu, which drops it: 0 when left with "exit"
// and when done.
TEST(Vconf, ToolsReturnZero)
{
    harness::EmulatorDir emulator;
    const std::string input = emulator.dir() + "/input";
    std::ofstream(input) << "exit 0 exit 0 exit x exit exit exit exit db/a 1 db/b 1 db/c x db/a db/b db/c db/\n";
    ASSERT_NE(freopen(input.c_str(), "r", stdin), nullptr);
    for (int pass = 0; pass < 2; ++pass)
        for (int (*tool)() : {vconf_test_set_int, vconf_test_set_bool, vconf_test_set_str, vconf_test_get_int,
                              vconf_test_get_bool, vconf_test_get_str, vconf_test_get})
            EXPECT_EQ(tool(), 0) << pass;
}

TEST(FeatureConfig, EachTypeWithItsCallAndErrorsBeforeAnyValueIsUsed)
{
    harness::DeviceRoot root;
    const std::string name = "Input item name : ", value = name + "Input value : ", done = "Value setting done\n\n";
    const std::string unknown = "Invalid key or Daemon not launched or Need DB setup\n\n", try_again = "Try again\n\n";
    const std::string failed = "Daemon not launched or Need DB setup\n\n", invalid = "Invalid type\n\n";
    EXPECT_EQ(harness::lines(harness::menu_text("18\n3")).size(), 9u);  // the title on a line of its own
    Texts input = {"1\nfeature.ambient_mode\n", "1\nfeature.oled_panel\n", "1\nproduct.screen_size\n",
                   "1\nproduct.panel_type\n", "1\nvideo.gamma_default\n", "1\nno.such\n", "2\nno.such\nTrue\n",
                   "2\nvideo.gamma_default\n2.4\n", "2\nfeature.oled_panel\nTrue\n", "0\n", "3\n",
                   "2\nproduct.panel_type\nhello world\n", ""};
    Texts expected = {name + "Value (Boolean) = TRUE\n\n", name + "Value (Boolean) = FALSE\n\n",
                      name + "Value (Int) = 55\n\n", name + "Value (String) = UHD\n\n", name + invalid, name + unknown,
                      value + unknown, value + invalid, value + "Invalid value\n\n", try_again, try_again,
                      value + done, try_again};
    // A string ends at the blank, and the word after it goes to the menu.
    // Only these four words for a boolean; integers are read unchecked.
    const std::array<std::string, 4> writes[] = {
        {"bool", "feature.oled_panel", "TRUE", "1"}, {"bool", "feature.oled_panel", "false", "0"},
        {"bool", "feature.oled_panel", "true", "1"}, {"bool", "feature.oled_panel", "FALSE", "0"},
        {"int", "product.screen_size", "abc", "0"}, {"int", "product.screen_size", "12ab", "12"},
        {"int", "product.screen_size", "99999999999", "2147483647"},
        {"int", "product.screen_size", "-4294967297x", "-2147483648"}};
    std::string sets = "fconfig_set_str \"product.panel_type\" \"hello\"\n", written;
    for (const auto &[type, item, word, call_value] : writes) {
        input.push_back("2\n" + item + "\n" + word + "\n");
        expected.push_back(value + done);
        sets += "fconfig_set_" + type + " \"" + item + "\" " + call_value + "\n";
    }
    EXPECT_EQ(actions(root, "18\n3", input), expected);
    for (const std::string &line : harness::lines(root.calls_log()))
        written += line.find("_set_") == std::string::npos ? "" : line + "\n";
    EXPECT_EQ(written, sets);
    EXPECT_NE(root.run("18\n3\n2\nproduct.panel_type\n").out.find(value + "Input error\n\n"), std::string::npos);

    for (const char *call : {"get_bool", "get_int", "get_str", "set_bool", "set_int", "set_str"})
        root.set_state("fail", std::string("fconfig_") + call, "-1");
    const Texts uses = {"1\nfeature.ambient_mode\n", "1\nproduct.screen_size\n", "1\nproduct.panel_type\n",
                        "2\nfeature.oled_panel\ntrue\n", "2\nproduct.screen_size\n4\n", "2\nproduct.panel_type\nx\n"};
    EXPECT_EQ(actions(root, "18\n3", uses), (Texts{name + failed, name + failed, name + failed, value + failed,
                                                   value + failed, value + failed}));
    root.remove_state_group("fconfig");
    EXPECT_EQ(actions(root, "18\n3", uses), (Texts{name + unknown, name + unknown, name + unknown, value + unknown,
                                                   value + unknown, value + unknown}));
}

}  // namespace
