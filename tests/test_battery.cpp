// The battery and feedback menus through the real host, and the emulator's
// battery reader against power-supply trees of real machines.
#include <gtest/gtest.h>

#include <glib.h>
#include <stdlib.h>
#include <unistd.h>

#include <string>
#include <vector>

#include "device/battery.h"
#include "feedback.h"
#include "harness.h"
#include "tavrin_debugmenu.h"

using harness::DeviceRoot;
using harness::main_menu;
using harness::menu;

namespace {

std::string battery_menu()
{
    return menu("battery debug menu",
                {"Get percent", "Get Status", "Is Charging?", "Get Level", "Get Health", "Get Power source"});
}

const std::vector<std::string> kFeedbackLabels = {
    "play FEEDBACK_PATTERN_POWEROFF",         "play FEEDBACK_PATTERN_BOOTING",
    "play FEEDBACK_PATTERN_SI_POP",           "play FEEDBACK_PATTERN_SI_VOICE_FAILURE",
    "play FEEDBACK_PATTERN_SI_VOICE_SUCCESS", "play FEEDBACK_PATTERN_SPORTS_MODE_OFF",
    "play FEEDBACK_PATTERN_SPORTS_MODE_ON",   "play FEEDBACK_PATTERN_MOVE_BACK",
    "play FEEDBACK_PATTERN_CANCEL",           "play FEEDBACK_PATTERN_MOVE_NAVIGATION",
    "play FEEDBACK_PATTERN_MOVE_PANEL",       "play FEEDBACK_PATTERN_SELECT",
    "play FEEDBACK_PATTERN_TAP",              "play FEEDBACK_PATTERN_SIP",
    "play FEEDBACK_PATTERN_SIP_BACKSPACE",    "play FEEDBACK_PATTERN_MOVE_NAVIGATION",
    "play FEEDBACK_PATTERN_HOME_CLOSE",       "play FEEDBACK_PATTERN_HOME_OPEN",
    "play FEEDBACK_PATTERN_IME_BACKSPACE",    "play FEEDBACK_PATTERN_IME_SELECT",
    "play FEEDBACK_PATTERN_SI_VOICE_REWARD",  "play FEEDBACK_PATTERN_NORMAL_NOTI",
    "play FEEDBACK_PATTERN_PEN_COLOR",        "play FEEDBACK_PATTERN_CAPTURE",
    "play FEEDBACK_PATTERN_TAG",              "play FEEDBACK_PATTERN_HOME_CATEGORY_CHANGED",
};

std::string feedback_menu() { return menu("feedback debug menu", kFeedbackLabels); }

std::string fixture(const std::string &name)
{
    return harness::source_dir() + "/tests/fixtures/" + name;
}

class BatteryMenu : public ::testing::Test {
protected:
    DeviceRoot root;

    void expect_transcript(const std::string &choices, const std::string &between)
    {
        harness::RunResult r = root.run("20\n" + choices + "99\n99\n");
        EXPECT_EQ(r.status, 0);
        const std::string expected = main_menu() + battery_menu() + between + main_menu();
        EXPECT_EQ(r.out, expected) << harness::diff(expected, r.out);
    }
};

TEST_F(BatteryMenu, ValuesPrintByNameAndUnnamedValuesAsUnknown)
{
    // Run i reads the battery with the i-th value of every property.
    struct Column {
        const char *key;
        std::vector<std::string> values;
        std::vector<std::string> lines;
    };
    const std::vector<Column> columns = {
        {"percent", {"87", "-3", "0", "100", "55", "1"},
         {"battery percent : 87%", "battery percent : -3%", "battery percent : 0%", "battery percent : 100%",
          "battery percent : 55%", "battery percent : 1%"}},
        {"status", {"0", "1", "2", "3", "4", "-1"},
         {"battery status : charging", "battery status : discharging", "battery status : full",
          "battery status : not charging", "battery status : unknown", "battery status : unknown"}},
        {"charging", {"true", "false", "1", "0", "true", "false"},
         {"battery is charging : 1", "battery is charging : 0", "battery is charging : 1",
          "battery is charging : 0", "battery is charging : 1", "battery is charging : 0"}},
        {"level", {"0", "1", "2", "3", "4", "5"},
         {"battery level : empty", "battery level : critical", "battery level : unknown", "battery level : high",
          "battery level : full", "battery level : unknown"}},
        {"health", {"0", "1", "2", "3", "4", "-1"},
         {"battery health : good", "battery health : cold", "battery health : dead", "battery health : over heat",
          "battery health : over voltage", "battery health : unknown"}},
        {"power_source", {"0", "1", "2", "3", "1000", "-7"},
         {"battery power source : none", "battery power source : ac", "battery power source : usb",
          "battery power source : wireless", "battery power source : unknown", "battery power source : unknown"}},
    };
    for (size_t i = 0; i < 6; ++i) {
        SCOPED_TRACE("run " + std::to_string(i));
        std::string expected;
        for (const Column &c : columns) {
            root.set_state("battery", c.key, c.values[i]);
            expected += c.lines[i] + "\n" + battery_menu();
        }
        expect_transcript("1\n2\n3\n4\n5\n6\n", expected);
    }
}

TEST_F(BatteryMenu, FailuresNameTheDeviceError)
{
    root.set_state("fail", "device_battery_get_percent", "-22");
    root.set_state("fail", "device_battery_get_status", "-13");
    root.set_state("fail", "device_battery_is_charging", "-1");
    root.set_state("fail", "device_battery_get_level_status", "-1073741822");
    root.set_state("fail", "device_battery_get_health", "-5");
    root.set_state("fail", "device_battery_get_power_source", "1");
    const std::string m = battery_menu();
    expect_transcript("1\n2\n3\n4\n5\n6\n",
                      "failed to get percent (invalid parameter)\n" + m +
                          "failed to get status (permission denied)\n" + m +
                          "failed to get charging status (operation failed)\n" + m +
                          "failed to get level status (not supported)\n" + m +
                          "failed to get health (unknown)\n" + m + "failed to get power source (unknown)\n" + m);

    // The platform's own spelling of the code.
    root.set_state("fail", "device_battery_get_percent", "0xC0000002");
    expect_transcript("1\n", "failed to get percent (not supported)\n" + m);
}

TEST_F(BatteryMenu, ASuccessThatWritesNothingPrintsTheZeroValues)
{
    // A read that reports success without writing its value.
    for (const char *function : {"device_battery_get_percent", "device_battery_get_status",
                                 "device_battery_is_charging", "device_battery_get_level_status",
                                 "device_battery_get_health", "device_battery_get_power_source"})
        root.set_state("fail", function, "0");
    const std::string m = battery_menu();
    expect_transcript("1\n2\n3\n4\n5\n6\n", "battery percent : 0%\n" + m + "battery status : charging\n" + m +
                                                "battery is charging : 0\n" + m + "battery level : empty\n" + m +
                                                "battery health : good\n" + m + "battery power source : none\n" + m);
}

TEST_F(BatteryMenu, WithoutABatteryEveryReadIsNotSupported)
{
    // A desktop whose only battery is in the mouse.
    root.remove_state_group("battery");
    root.set_state("battery", "sysfs_root", fixture("desktop/sys"));
    root.clear_calls_log();
    const std::string m = battery_menu();
    expect_transcript("1\n2\n3\n4\n5\n6\n0\n7\n",
                      "failed to get percent (not supported)\n" + m + "failed to get status (not supported)\n" + m +
                          "failed to get charging status (not supported)\n" + m +
                          "failed to get level status (not supported)\n" + m +
                          "failed to get health (not supported)\n" + m +
                          "failed to get power source (not supported)\n" + m + m + m);
    EXPECT_EQ(root.calls_log(),
              "device_battery_get_percent\ndevice_battery_get_status\ndevice_battery_is_charging\n"
              "device_battery_get_level_status\ndevice_battery_get_health\ndevice_battery_get_power_source\n");
}

TEST_F(BatteryMenu, ReadsALaptopBatteryFromSysfs)
{
    root.remove_state_group("battery");
    root.set_state("battery", "sysfs_root", fixture("laptop/sys"));
    const std::string m = battery_menu();
    expect_transcript("1\n2\n3\n4\n5\n6\n", "battery percent : 87%\n" + m + "battery status : discharging\n" + m +
                                                "battery is charging : 0\n" + m + "battery level : high\n" + m +
                                                "battery health : good\n" + m + "battery power source : none\n" + m);
}

// The emulator's battery reader, called directly on a copy of a laptop's
// power-supply tree that the tests change.
class BatterySysfs : public ::testing::Test {
protected:
    std::string dir, sys;

    void SetUp() override
    {
        char templ[] = "/tmp/battery-sysfs-XXXXXX";
        ASSERT_NE(mkdtemp(templ), nullptr);
        dir = templ;
        sys = dir + "/sys";
        ASSERT_EQ(system(("cp -a '" + fixture("laptop/sys") + "' '" + sys + "'").c_str()), 0);
        setenv("TV_EMULATOR_DIR", dir.c_str(), 1);
        state("[battery]\nsysfs_root=" + sys + "\n");
    }
    void TearDown() override
    {
        unsetenv("TV_EMULATOR_DIR");
        ASSERT_EQ(system(("rm -rf '" + dir + "'").c_str()), 0);
    }

    void state(const std::string &text)
    {
        ASSERT_TRUE(g_file_set_contents((dir + "/state.ini").c_str(), text.c_str(), -1, nullptr));
    }
    void attr(const std::string &supply, const std::string &name, const std::string &value)
    {
        const std::string path = sys + "/class/power_supply/" + supply + "/" + name;
        ASSERT_TRUE(g_file_set_contents(path.c_str(), (value + "\n").c_str(), -1, nullptr));
    }
    void remove_attr(const std::string &supply, const std::string &name)
    {
        ASSERT_EQ(unlink((sys + "/class/power_supply/" + supply + "/" + name).c_str()), 0);
    }

    int percent()
    {
        int value = -100;
        EXPECT_EQ(device_battery_get_percent(&value), DEVICE_ERROR_NONE);
        return value;
    }
    int level()
    {
        device_battery_level_e value = DEVICE_BATTERY_LEVEL_EMPTY;
        EXPECT_EQ(device_battery_get_level_status(&value), DEVICE_ERROR_NONE);
        return value;
    }
};

TEST_F(BatterySysfs, ChargingOnMains)
{
    attr("AC", "online", "1");
    attr("BAT0", "status", "Charging");
    bool charging = false;
    device_battery_status_e status = DEVICE_BATTERY_STATUS_FULL;
    device_battery_power_source_e source = DEVICE_BATTERY_POWER_SOURCE_NONE;
    EXPECT_EQ(device_battery_is_charging(&charging), DEVICE_ERROR_NONE);
    EXPECT_EQ(device_battery_get_status(&status), DEVICE_ERROR_NONE);
    EXPECT_EQ(device_battery_get_power_source(&source), DEVICE_ERROR_NONE);
    EXPECT_TRUE(charging);
    EXPECT_EQ(status, DEVICE_BATTERY_STATUS_CHARGING);
    EXPECT_EQ(source, DEVICE_BATTERY_POWER_SOURCE_AC);

    // Only the USB-C port feeds it.
    attr("AC", "online", "0");
    attr("ucsi-source-psy-USBC000:001", "online", "1");
    EXPECT_EQ(device_battery_get_power_source(&source), DEVICE_ERROR_NONE);
    EXPECT_EQ(source, DEVICE_BATTERY_POWER_SOURCE_USB);
}

TEST_F(BatterySysfs, LevelFollowsTheKernelOrElseThePercentage)
{
    EXPECT_EQ(level(), DEVICE_BATTERY_LEVEL_HIGH);  // "Normal"
    attr("BAT0", "capacity_level", "Critical");
    EXPECT_EQ(level(), DEVICE_BATTERY_LEVEL_CRITICAL);

    // A driver with energy figures only.
    remove_attr("BAT0", "capacity");
    remove_attr("BAT0", "capacity_level");
    EXPECT_EQ(percent(), 86);  // 45690000 of 52520000
    EXPECT_EQ(level(), DEVICE_BATTERY_LEVEL_HIGH);
    attr("BAT0", "energy_now", "5252000");
    EXPECT_EQ(percent(), 10);
    EXPECT_EQ(level(), DEVICE_BATTERY_LEVEL_LOW);
    attr("BAT0", "energy_now", "0");
    EXPECT_EQ(level(), DEVICE_BATTERY_LEVEL_EMPTY);
}

TEST_F(BatterySysfs, ARemovedBatteryOrAnEmptyTreeIsNotSupported)
{
    attr("BAT0", "present", "0");
    int value = -100;
    EXPECT_EQ(device_battery_get_percent(&value), DEVICE_ERROR_NOT_SUPPORTED);
    EXPECT_EQ(value, -100);
    state("[battery]\nsysfs_root=" + dir + "/nowhere\n");
    bool charging;
    EXPECT_EQ(device_battery_is_charging(&charging), DEVICE_ERROR_NOT_SUPPORTED);
    // The values of [battery] need no battery at all.
    state("[battery]\npercent=42\n");
    EXPECT_EQ(percent(), 42);
    EXPECT_EQ(device_battery_get_percent(nullptr), DEVICE_ERROR_INVALID_PARAMETER);
}

class FeedbackMenu : public ::testing::Test {
protected:
    DeviceRoot root;
};

TEST_F(FeedbackMenu, EveryEntryPlaysItsPatternBetweenInitAndDeinit)
{
    const int ids[] = {37, 85, 79, 86, 81, 83, 82, 67, 70, 65, 66, 69, 0, 1, 84, 65, 89, 90, 91, 92, 93, 94, 95, 96, 97, 104};
    std::string input = "13\n", calls, expected = main_menu() + feedback_menu();
    for (int n = 1; n <= 26; ++n) {
        input += std::to_string(n) + "\n";
        calls += "feedback_initialize\nfeedback_play " + std::to_string(ids[n - 1]) + "\nfeedback_deinitialize\n";
        expected += feedback_menu();
    }
    root.clear_calls_log();
    harness::RunResult r = root.run(input + "99\n99\n");
    EXPECT_EQ(r.status, 0);
    expected += main_menu();
    EXPECT_EQ(r.out, expected) << harness::diff(expected, r.out);
    EXPECT_EQ(root.calls_log(), calls);
}

TEST_F(FeedbackMenu, AnyChoiceOutsideItsEntriesLeaves)
{
    for (const char *choice : {"0", "27", "98", "99", "100", "-1", "abc"}) {
        SCOPED_TRACE(choice);
        root.clear_calls_log();
        harness::RunResult r = root.run(std::string("13\n") + choice + "\n99\n");
        const std::string expected = main_menu() + feedback_menu() + main_menu();
        EXPECT_EQ(r.out, expected) << harness::diff(expected, r.out);
        EXPECT_EQ(root.calls_log(), "");
    }
}

TEST(FeedbackLibrary, PlaysOnlyWhileInitialised)
{
    char templ[] = "/tmp/feedback-XXXXXX";
    ASSERT_NE(mkdtemp(templ), nullptr);
    setenv("TV_EMULATOR_DIR", templ, 1);
    EXPECT_EQ(feedback_play(FEEDBACK_PATTERN_TAP), FEEDBACK_ERROR_NOT_INITIALIZED);
    EXPECT_EQ(feedback_initialize(), FEEDBACK_ERROR_NONE);
    EXPECT_EQ(feedback_initialize(), FEEDBACK_ERROR_NONE);
    EXPECT_EQ(feedback_deinitialize(), FEEDBACK_ERROR_NONE);
    EXPECT_EQ(feedback_play(FEEDBACK_PATTERN_TAP), FEEDBACK_ERROR_NONE);
    EXPECT_EQ(feedback_play(FEEDBACK_PATTERN_NONE), FEEDBACK_ERROR_INVALID_PARAMETER);
    EXPECT_EQ(feedback_deinitialize(), FEEDBACK_ERROR_NONE);
    EXPECT_EQ(feedback_deinitialize(), FEEDBACK_ERROR_NOT_INITIALIZED);
    gchar *log = nullptr;
    ASSERT_TRUE(g_file_get_contents((std::string(templ) + "/calls.log").c_str(), &log, nullptr, nullptr));
    EXPECT_STREQ(log,
                 "feedback_play 0\nfeedback_initialize\nfeedback_initialize\nfeedback_deinitialize\n"
                 "feedback_play 0\nfeedback_play -1\nfeedback_deinitialize\nfeedback_deinitialize\n");
    g_free(log);
    unsetenv("TV_EMULATOR_DIR");
    ASSERT_EQ(system((std::string("rm -rf ") + templ).c_str()), 0);
}

}  // namespace
