// The deviced menu through the real host: each entry's console output and
// platform calls, on debug and release images, with platform failures.
#include <gtest/gtest.h>

#include <glib.h>
#include <unistd.h>

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <set>
#include <thread>

#include "device/power.h"
#include "harness.h"
#include "tavrin_debugmenu.h"

using harness::DeviceRoot;
using harness::main_menu;

namespace {

const std::vector<std::string> kLabels = {
    "[POWER] power state change to picture off ",
    "[POWER] power state change to normal",
    "[POWER] power state change to background standby",
    "[POWER] get current power state",
    "[POWER] lock power state",
    "[POWER] unlock power state",
    "[POWER] poweroff to suspend",
    "[POWER] suspend resume with wakeup reason",
    "[POWER] request direct lpm",
    "[POWER] poweroff to cold standby",
    "[POWER] reboot",
    "[POWER] set wakeup reason",
    "[POWER] get wakeup reason",
    "[AMBIENT] ambient mode change to OFF",
    "[AMBIENT] ambient mode change to FullPower",
    "[AMBIENT] ambient mode change to LowPower",
    "[AMBIENT] ambient mode change to Suspend",
    "[AMBIENT] ambient mode change to OFF (async)",
    "[AMBIENT] ambient mode change to FullPower (async)",
    "[AMBIENT] ambient mode change to LowPower (async)",
    "[AMBIENT] ambient mode change to Suspend (async)",
    "[AMBIENT] get current ambient mode",
    "[AMBIENT] set ambient mode type",
    "[AMBIENT] unset ambient mode type",
    "[AMBIENT] get ambient mode type",
    "[AMBIENT] request ambient poweroff",
    "[EW] set last ew execution time",
    "[EW] get last ew execution time",
    "[PANEL] backlight on ",
    "[PANEL] backlight off ",
    "[PANEL] set panel display time",
    "[PANEL] get panel display time",
    "[OLED] request Off Sensing",
    "[OLED] get QD display state",
    "[OLED] request EL Sensing",
    "[OLED] set off sensing time",
    "[OLED] get off sensing time",
    "[OLED] set el sensing time",
    "[OLED] get el sensing time",
    "[OLED] is burn-in protection in progress",
};

const std::string kLockPrompt =
    "Please enter power state and timeout to lock {power_state} {timeout_ms}, "
    "{0:normal, 1:pictureoff, 2:background standby}\n";
const std::string kUnlockPrompt =
    "Please enter power state to unlock {power_state}, {0:normal, 1:pictureoff, 2:background standby}\n";

// An empty calls.log of its own, so that nothing beneath the device root
// shows through it; reset() brings back the device as prepared, so that one
// root serves a whole table.
struct Root : DeviceRoot {
    Root() : prepared(read(kStateIni)) { clear_calls(); }
    void clear_calls() const { write("/var/lib/tv-emulator/calls.log", ""); }
    void reset(bool debug_image) const
    {
        write(kStateIni, prepared);
        clear_calls();
        if (debug_image)
            write("/etc/debug", "");
        else
            remove("/etc/debug");
    }
    static constexpr const char *kStateIni = "/var/lib/tv-emulator/state.ini";
    const std::string prepared;
};

std::string deviced_menu()
{
    return harness::menu("deviced debug menu", kLabels);
}

struct Setting {
    std::string group, key, value;
};

struct Case {
    int entry;
    std::string answer;          // typed after the choice
    std::vector<Setting> given;  // state.ini before the run
    std::string out;             // printed between the two deviced menus
    std::string calls;           // "": not checked
    std::vector<Setting> then = {};  // state.ini afterwards
};

std::string input_for(int entry, const std::string &answer)
{
    return "12\n" + std::to_string(entry) + "\n" + (answer.empty() ? "" : answer + "\n") + "99\n99\n";
}

void run_case(const Root &root, const Case &c, bool debug_image = true)
{
    SCOPED_TRACE("entry " + std::to_string(c.entry) + " answer '" + c.answer + "'");
    root.reset(debug_image);
    for (const Setting &s : c.given)
        root.set_state(s.group, s.key, s.value);
    harness::RunResult r = root.run(input_for(c.entry, c.answer));
    const std::string expected = main_menu() + deviced_menu() + c.out + deviced_menu() + main_menu();
    EXPECT_EQ(r.status, 0);
    EXPECT_EQ(r.out, expected) << harness::diff(expected, r.out);
    if (!c.calls.empty()) {
        EXPECT_EQ(root.calls_log(), c.calls);
    }
    for (const Setting &s : c.given) {
        if (s.group == "fail") {
            EXPECT_NE(root.calls_log().find(s.key), std::string::npos)
                << "a failing call is still recorded: " << s.key;
        }
    }
    for (const Setting &s : c.then)
        EXPECT_EQ(root.state(s.group, s.key), s.value) << s.group << " " << s.key;
}

Setting power(const char *key, const char *value) { return {"power", key, value}; }
Setting panel(const char *key, const char *value) { return {"panel", key, value}; }
Setting fail(const char *function, const char *result = "-5") { return {"fail", function, result}; }

const std::vector<Case> &succeeding_cases()
{
    static const std::vector<Case> cases = {
        {1, "", {}, "succeeded to change to picture off state", "device_power_set_state 1 1\n", {power("state", "1")}},
        {2, "", {power("state", "1")}, "succeeded to change to normal state", "device_power_set_state 0 1\n",
         {power("state", "0")}},
        {3, "", {}, "succeeded to change to background standby state", "device_power_set_state 2 1\n",
         {power("state", "2")}},
        {4, "", {power("state", "1")}, "current power state (1)\n", "device_power_get_state\n"},
        {5, "1 3000", {}, kLockPrompt + "power state to lock (1), timeout(3000)\nsucceeded to lock state(1)-(3000)\n",
         "device_power_lock_state 1 3000\n"},
        {5, "7 10", {}, kLockPrompt + "power state to lock (7), timeout(10)\nsucceeded to lock state(7)-(10)\n",
         "device_power_lock_state 3 10\n"},
        {5, "-1 0", {}, kLockPrompt + "power state to lock (-1), timeout(0)\nsucceeded to lock state(-1)-(0)\n",
         "device_power_lock_state 3 0\n"},
        {6, "2", {}, kUnlockPrompt + "power state to unlock (2)\nsucceeded to unlock state(2)\n",
         "device_power_unlock_state 2\n"},
        {6, "7", {}, kUnlockPrompt + "power state to unlock (7)\nsucceeded to unlock state(7)\n",
         "device_power_unlock_state 3\n"},
        {6, "-1", {}, kUnlockPrompt + "power state to unlock (-1)\nsucceeded to unlock state(-1)\n",
         "device_power_unlock_state 3\n"},
        {7, "5", {}, "Please enter poweroff reason\noff_reason is (5)\n", "device_power_request_poweroff 1073741829\n",
         {power("state", "0")}},
        {8, "9", {}, "wakeup reason to resume (9)\nsucceeded",
         "ppi_powercontrol_set_auto_resume 9\ndevice_power_request_poweroff 1073741827\n"},
        {9, "7", {}, "Please enter wakeup reason\nwakeup reason is (7)\n",
         "device_power_set_direct_lpm_entry_mode 7\n"},
        {10, "", {}, "", "device_power_request_poweroff 536870928\n"},
        {11, "5", {}, "Please enter poweroff reason {poweroff reason}\npoweroff reason to set (5)\n",
         "device_power_request_reboot 536870917\n"},
        {12, "42", {},
         "Please enter wakeup reason to set\nwakeup reason to set (42)\nsucceeded to set wakeup reason (42)\n",
         "device_power_set_wakeup_reason 42\n", {power("wakeup_reason", "42")}},
        {13, "", {power("wakeup_reason", "-3")}, "wakeup reason : (-3)\n", "device_power_get_wakeup_reason\n"},
        {14, "", {power("ambient_mode", "2")}, "succeeded to change to off state\n",
         "device_power_set_ambient_mode 0\n",
         {power("ambient_mode", "0")}},
        {15, "", {}, "succeeded to change to full power mode\n", "device_power_set_ambient_mode 1\n",
         {power("ambient_mode", "1")}},
        {16, "", {}, "succeeded to change to low power mode\n", "device_power_set_ambient_mode 2\n"},
        {17, "", {}, "succeeded to change to suspend mode\n", "device_power_set_ambient_mode 3\n"},
        {18, "", {power("ambient_mode", "3")},
         "ambient mode change result cb (0)\nsucceed to request ambient mode change to off\n",
         "device_power_request_ambient_mode_change 0 ptr null\n", {power("ambient_mode", "0")}},
        {19, "", {}, "ambient mode change result cb (0)\nsucceed to request ambient mode change to fullpower\n",
         "device_power_request_ambient_mode_change 1 ptr null\n", {power("ambient_mode", "1")}},
        {20, "", {}, "ambient mode change result cb (0)\nsucceed to request ambient mode change to lowpower\n",
         "device_power_request_ambient_mode_change 2 ptr null\n"},
        // A change the platform refuses later is still an accepted request.
        {21, "", {power("ambient_change_result", "-7")},
         "ambient mode change result cb (-7)\nsucceed to request ambient mode change to suspend\n",
         "device_power_request_ambient_mode_change 3 ptr null\n", {power("ambient_mode", "0")}},
        {22, "", {power("ambient_mode", "2")}, "current ambient mode (2)\n", "device_power_get_ambient_mode\n"},
        {23, "4", {},
         "Please enter ambient mode type to set {ambient_mode_type}\nambient mode type to set (4)\n"
         "succeeded to set type (4)\n",
         "device_power_set_ambient_mode_type 4\n", {power("ambient_type", "4")}},
        {24, "4", {power("ambient_type", "4")},
         "Please enter ambient mode type to unset {ambient_mode_type}\nambient mode type to unset (4)\n"
         "succeeded to unset type (4)\n",
         "device_power_unset_ambient_mode_type 4\n", {power("ambient_type", "0")}},
        {25, "", {power("ambient_type", "6")}, "current ambient mode type (6)\n", "device_power_get_ambient_type\n"},
        {26, "", {}, "", "device_power_request_ambient_poweroff\n"},
        {27, "-1", {},
         "Please enter last ew time to set\nlast ew time to set (-1)\nsucceeded to set db/sysman/last_ew_time(-1)\n",
         "vconf_set_int \"db/sysman/last_ew_time\" -1\n", {{"vconf", "db/sysman/last_ew_time", "int:-1"}}},
        {28, "", {{"vconf", "db/sysman/last_ew_time", "int:1700000000"}},
         "succeeded to get db/sysman/last_ew_time(1700000000)\n", "vconf_get_int \"db/sysman/last_ew_time\"\n"},
        {29, "", {panel("screen", "0")}, "succeeded to screen on\n", "device_set_screen_state 1\n",
         {panel("screen", "1")}},
        {30, "", {}, "succeeded to screen off\n", "device_set_screen_state 0\n", {panel("screen", "0")}},
        {31, "1200", {},
         "Please enter panel display time to set\npanel display time to set (1200)\n"
         "succeeded to set db/sysman/panel_display_time(1200)\n",
         "vconf_set_int \"db/sysman/panel_display_time\" 1200\n"},
        {32, "", {{"vconf", "db/sysman/panel_display_time", "int:360"}},
         "succeeded to get db/sysman/panel_display_time(360)\n", "vconf_get_int \"db/sysman/panel_display_time\"\n"},
        {33, "", {panel("off_sensing_result", "3")}, "result (3)", "qd_display_request_off_sensing\n"},
        {34, "", {panel("qd_state", "2")}, "QD display state (2)", "qd_display_get_state\n"},
        {35, "", {}, "succeeded", "device_power_request_poweroff 1073741944\n"},
        {36, "45", {}, "input off sensing time (min) to set\noff sensing time (45) min\nsucceeded\n",
         "vconf_set_int \"db/sysman/off_sensing_time\" 45\n", {{"vconf", "db/sysman/off_sensing_time", "int:45"}}},
        {37, "", {}, "off sensing time (30) min\n", "vconf_get_int \"db/sysman/off_sensing_time\"\n"},
        {38, "15", {}, "input el sensing time (min) to set\nel sensing time (15) min\nsucceeded\n",
         "vconf_set_int \"db/sysman/el_sensing_time\" 15\n"},
        {39, "", {}, "el sensing time (60) min\n", "vconf_get_int \"db/sysman/el_sensing_time\"\n"},
        {40, "", {panel("burn_in_protection", "true")}, "burn-in protection in progress (1)",
         "oled_is_burn_in_protection_in_progress\n"},
        {40, "", {}, "burn-in protection in progress (0)", "oled_is_burn_in_protection_in_progress\n"},
    };
    return cases;
}

TEST(Deviced, EveryEntryPrintsItsOutcomeAndMakesItsCall)
{
    Root root;
    for (const Case &c : succeeding_cases())
        run_case(root, c);
}

// Each entry with its platform function failing; the calls are those of
// the succeeding table and are checked only where they tell more.
TEST(Deviced, PlatformFailuresPrintTheirMessage)
{
    const std::string lpm = "Please enter wakeup reason\nwakeup reason is (7)\n";
    const std::string reboot = "Please enter poweroff reason {poweroff reason}\npoweroff reason to set (5)\n";
    const std::string wakeup = "Please enter wakeup reason to set\nwakeup reason to set (42)\n";
    const std::string type_set =
        "Please enter ambient mode type to set {ambient_mode_type}\nambient mode type to set (4)\n";
    const std::string type_unset =
        "Please enter ambient mode type to unset {ambient_mode_type}\nambient mode type to unset (4)\n";
    const std::string ew = "Please enter last ew time to set\nlast ew time to set (-1)\n";
    const std::string panel_time = "Please enter panel display time to set\npanel display time to set (8)\n";
    const std::string off_time = "input off sensing time (min) to set\noff sensing time (45) min\n";
    const std::string el_time = "input el sensing time (min) to set\nel sensing time (15) min\n";
    const std::string auto_resume = "ppi_powercontrol_set_auto_resume 9\ndevice_power_request_poweroff 1073741827\n";
    const char *set_state = "device_power_set_state";
    const char *ambient = "device_power_set_ambient_mode";
    const char *change = "device_power_request_ambient_mode_change";
    const char *poweroff = "device_power_request_poweroff";
    const std::vector<Case> cases = {
        {1, "", {fail(set_state)}, "failed to change to picture off state\n", "", {power("state", "0")}},
        {2, "", {fail(set_state)}, "failed to change to normal state\n", ""},
        {3, "", {fail(set_state)}, "failed to change to background standby state\n", ""},
        {4, "", {fail("device_power_get_state", "-22")}, "failed to get current power state(-22)\n", ""},
        {5, "7 10", {fail("device_power_lock_state")},
         kLockPrompt + "power state to lock (7), timeout(10)\nfailed to lock state(7)-(10)\n", ""},
        {6, "-1", {fail("device_power_unlock_state")},
         kUnlockPrompt + "power state to unlock (-1)\nfailed to unlock state(-1)\n", ""},
        {7, "5", {fail(poweroff)}, "Please enter poweroff reason\noff_reason is (5)\nfailed to poweroff", ""},
        {8, "9", {fail(poweroff)}, "wakeup reason to resume (9)\nfailed to poweroff", auto_resume},
        // The suspend follows whatever the auto-resume call said.
        {8, "9", {fail("ppi_powercontrol_set_auto_resume")}, "wakeup reason to resume (9)\nsucceeded", auto_resume},
        {9, "7", {fail("device_power_set_direct_lpm_entry_mode")}, lpm + "failed to set direct lpm entry mode\n", ""},
        {10, "", {fail(poweroff)}, "failed to poweroff", ""},
        {11, "5", {fail("device_power_request_reboot")}, reboot + "failed to reboot", ""},
        {12, "42", {fail("device_power_set_wakeup_reason")}, wakeup + "failed to set wakeup reason (42)\n", "",
         {power("wakeup_reason", "0")}},
        {13, "", {fail("device_power_get_wakeup_reason")}, "wakeup reason : (-5)\n", ""},
        {14, "", {fail(ambient)}, "failed to change to off state\n", ""},
        {15, "", {fail(ambient)}, "failed to change to full power mode\n", ""},
        {16, "", {fail(ambient)}, "failed to change to low power mode\n", ""},
        {17, "", {fail(ambient)}, "failed to change to suspend mode\n", ""},
        // No callback line: a refused request is never answered.
        {18, "", {fail(change)}, "failed to request ambient mode change to off\n", ""},
        {19, "", {fail(change)}, "failed to request ambient mode change to fullpower\n", ""},
        {20, "", {fail(change)}, "failed to request ambient mode change to lowpower\n", ""},
        {21, "", {fail(change)}, "failed to request ambient mode change to suspend\n", "",
         {power("ambient_mode", "0")}},
        {22, "", {fail("device_power_get_ambient_mode")}, "failed to get current ambient mode (-5)\n", ""},
        {23, "4", {fail("device_power_set_ambient_mode_type")}, type_set + "failed to set type (4)\n", ""},
        {24, "4", {fail("device_power_unset_ambient_mode_type")}, type_unset + "failed to unset type (4)\n", ""},
        {25, "", {fail("device_power_get_ambient_type")}, "failed to get ambient mode type (-5)\n", ""},
        {26, "", {fail("device_power_request_ambient_poweroff")}, "failed to request ambient poweroff\n", ""},
        {27, "-1", {fail("vconf_set_int")}, ew + "failed to set db/sysman/last_ew_time\n", "",
         {{"vconf", "db/sysman/last_ew_time", "int:0"}}},
        {28, "", {fail("vconf_get_int")}, "failed to get db/sysman/last_ew_time\n", ""},
        {29, "", {fail("device_set_screen_state")}, "failed to screen on\n", ""},
        {30, "", {fail("device_set_screen_state")}, "failed to screen off\n", "", {panel("screen", "1")}},
        {31, "8", {fail("vconf_set_int")}, panel_time + "failed to set db/sysman/panel_display_time\n", ""},
        // A key of another type fails like a refused read.
        {32, "", {{"vconf", "db/sysman/panel_display_time", "string:10"}},
         "failed to get db/sysman/panel_display_time\n", ""},
        {33, "", {fail("qd_display_request_off_sensing")}, "result (-5)", ""},
        {34, "", {fail("qd_display_get_state")}, "QD display state (-5)", ""},
        {35, "", {fail(poweroff)}, "failed to poweroff", ""},
        {36, "45", {fail("vconf_set_int")}, off_time + "failed to set (db/sysman/off_sensing_time:45)\n", ""},
        {37, "", {fail("vconf_get_int")}, "failed to get (db/sysman/off_sensing_time)\n", ""},
        {38, "15", {fail("vconf_set_int")}, el_time + "failed to set (db/sysman/el_sensing_time:15)\n", ""},
        {39, "", {fail("vconf_get_int")}, "failed to get (db/sysman/el_sensing_time)\n", ""},
        {40, "", {panel("burn_in_protection", "true"), fail("oled_is_burn_in_protection_in_progress", "0")},
         "burn-in protection in progress (0)", ""},
    };
    Root root;
    for (const Case &c : cases)
        run_case(root, c);
}

const std::set<int> kUngated = {4, 22, 33, 34, 40};

TEST(Deviced, ReleaseImageRunsOnlyTheQueries)
{
    Root root;
    root.remove("/etc/debug");
    std::string input = "12\n";
    std::string expected = main_menu() + deviced_menu();
    for (int entry = 1; entry <= 40; ++entry) {
        if (kUngated.count(entry))
            continue;
        input += std::to_string(entry) + "\n";
        expected += deviced_menu();
    }
    harness::RunResult r = root.run(input + "99\n99\n");
    expected += main_menu();
    EXPECT_EQ(r.out, expected) << harness::diff(expected, r.out);
    EXPECT_EQ(root.calls_log(), "");

    for (const Case &c : succeeding_cases())
        if (kUngated.count(c.entry))
            run_case(root, c, false);
}

TEST(Deviced, ANonNumberEndsTheEntryAfterItsPrompt)
{
    const std::vector<std::pair<int, std::string>> prompts = {
        {5, kLockPrompt},
        {6, kUnlockPrompt},
        {7, "Please enter poweroff reason\n"},
        {8, ""},
        {9, "Please enter wakeup reason\n"},
        {11, "Please enter poweroff reason {poweroff reason}\n"},
        {12, "Please enter wakeup reason to set\n"},
        {23, "Please enter ambient mode type to set {ambient_mode_type}\n"},
        {24, "Please enter ambient mode type to unset {ambient_mode_type}\n"},
        {27, "Please enter last ew time to set\n"},
        {31, "Please enter panel display time to set\n"},
        {36, "input off sensing time (min) to set\n"},
        {38, "input el sensing time (min) to set\n"},
    };
    Root root;
    for (const auto &p : prompts) {
        SCOPED_TRACE(p.first);
        root.clear_calls();
        // The word stays in the input and the menu reads it as a choice.
        harness::RunResult r = root.run("12\n" + std::to_string(p.first) + "\nabc\n99\n99\n");
        const std::string expected =
            main_menu() + deviced_menu() + p.second + deviced_menu() + deviced_menu() + main_menu();
        EXPECT_EQ(r.out, expected) << harness::diff(expected, r.out);
        EXPECT_EQ(root.calls_log(), "");
    }
}

TEST(Deviced, LockWithOneNumberKeepsTimeoutZero)
{
    Root root;
    harness::RunResult r = root.run("12\n5\n2");
    const std::string expected = main_menu() + deviced_menu() + kLockPrompt +
                                 "power state to lock (2), timeout(0)\nsucceeded to lock state(2)-(0)\n" +
                                 deviced_menu() + main_menu();
    EXPECT_EQ(r.status, 0);
    EXPECT_EQ(r.out, expected) << harness::diff(expected, r.out);
    EXPECT_EQ(root.calls_log(), "device_power_lock_state 2 0\n");
}

TEST(Deviced, UnknownChoicesShowTheMenuAgain)
{
    Root root;
    harness::RunResult r = root.run("12\n0\n41\n-3\n100\n99\n99\n");
    const std::string d = deviced_menu();
    const std::string expected = main_menu() + d + d + d + d + d + main_menu();
    EXPECT_EQ(r.out, expected) << harness::diff(expected, r.out);
    EXPECT_EQ(root.calls_log(), "");
}

TEST(Deviced, TimingSettingsAreReadBackAsWritten)
{
    Root root;
    harness::RunResult r = root.run("12\n38\n15\n39\n27\n-1\n28\n99\n99\n");
    const std::string d = deviced_menu();
    const std::string expected =
        main_menu() + d + "input el sensing time (min) to set\nel sensing time (15) min\nsucceeded\n" + d +
        "el sensing time (15) min\n" + d +
        "Please enter last ew time to set\nlast ew time to set (-1)\nsucceeded to set db/sysman/last_ew_time(-1)\n" +
        d + "succeeded to get db/sysman/last_ew_time(-1)\n" + d + main_menu();
    EXPECT_EQ(r.out, expected) << harness::diff(expected, r.out);
    EXPECT_EQ(root.state("vconf", "db/sysman/el_sensing_time"), "int:15");
    EXPECT_EQ(root.state("vconf", "db/sysman/last_ew_time"), "int:-1");
}

// Results are visible only to a caller in the process, so this part runs
// inside a device root, started by OperationsReturnTheirResult.
struct Operation {
    int entry;
    int (*fn)();
    const char *answer;  // "" when the operation reads nothing
    int failed;          // its result when the platform fails
};

const Operation kOperations[] = {
    {1, deviced_picture_off, "", -1},
    {2, deviced_change_to_normal_state, "", -1},
    {3, deviced_change_to_background_standby_state, "", -1},
    {4, deviced_get_current_power_state, "", -1},
    {5, deviced_lock_power_state, "1 0", 0},
    {6, deviced_unlock_power_state, "1", 0},
    {7, deviced_request_poweroff_to_suspend, "5", -1},
    {9, deviced_request_direct_lpm, "7", -1},
    {10, deviced_request_poweroff_to_cold_standby, "", -1},
    {11, deviced_request_reboot, "5", -1},
    {12, deviced_set_wakeup_reason, "3", 0},
    {13, deviced_get_wakeup_reason, "", 0},
    {14, deviced_change_ambient_mode_to_off, "", -1},
    {15, deviced_change_ambient_mode_to_fullpower, "", -1},
    {16, deviced_change_ambient_mode_to_lowpower, "", -1},
    {17, deviced_change_ambient_mode_to_suspend, "", -1},
    {18, deviced_change_ambient_mode_to_off_async, "", -1},
    {19, deviced_change_ambient_mode_to_fullpower_async, "", -1},
    {20, deviced_change_ambient_mode_to_lowpower_async, "", -1},
    {21, deviced_change_ambient_mode_to_suspend_async, "", -1},
    {22, deviced_get_current_ambient_mode, "", -1},
    {23, deviced_set_ambient_mode_type, "4", 0},
    {24, deviced_unset_ambient_mode_type, "4", 0},
    {25, deviced_get_ambient_mode_type, "", -1},
    {26, deviced_request_ambient_poweroff, "", -1},
    {27, deviced_set_last_ew_mode_execution_time, "-1", -1},
    {28, deviced_get_last_ew_execution_time, "", -1},
    {29, deviced_backlight_on, "", -1},
    {30, deviced_backlight_off, "", -1},
    {31, deviced_set_panel_display_time, "9", -1},
    {32, deviced_get_panel_display_time, "", -1},
    {33, deviced_request_off_sensing, "", 0},
    {34, deviced_get_QD_display_state, "", 0},
    {35, deviced_request_el_sensing, "", -1},
    {36, deviced_set_off_sensing_time, "45", -1},
    {37, deviced_get_off_sensing_time, "", -1},
    {38, deviced_set_el_sensing_time, "15", -1},
    {39, deviced_get_el_sensing_time, "", -1},
    {40, deviced_burn_in_protection_in_progress, "", 0},
};

int run_with_answer(const Operation &op, const std::string &answer)
{
    const char path[] = "/tmp/deviced-answer";
    FILE *f = fopen(path, "w");
    fputs(answer.c_str(), f);
    fclose(f);
    if (!freopen(path, "r", stdin))
        return 1000;
    return op.fn();
}

void fail_everything()
{
    const char *dir = getenv("TV_EMULATOR_DIR");
    const std::string path = std::string(dir && *dir ? dir : "/var/lib/tv-emulator") + "/state.ini";
    GKeyFile *kf = g_key_file_new();
    g_key_file_load_from_file(kf, path.c_str(), G_KEY_FILE_KEEP_COMMENTS, nullptr);
    for (const char *fn : {"device_power_set_state", "device_power_get_state", "device_power_lock_state",
                           "device_power_unlock_state", "device_power_request_poweroff",
                           "device_power_request_reboot", "device_power_set_direct_lpm_entry_mode",
                           "device_power_get_wakeup_reason", "device_power_set_wakeup_reason",
                           "device_power_set_ambient_mode", "device_power_request_ambient_mode_change",
                           "device_power_get_ambient_mode", "device_power_set_ambient_mode_type",
                           "device_power_unset_ambient_mode_type", "device_power_get_ambient_type",
                           "device_power_request_ambient_poweroff", "device_set_screen_state", "vconf_get_int",
                           "vconf_set_int", "qd_display_get_state", "qd_display_request_off_sensing",
                           "oled_is_burn_in_protection_in_progress"})
        g_key_file_set_value(kf, "fail", fn, "-5");
    g_key_file_save_to_file(kf, path.c_str(), nullptr);
    g_key_file_free(kf);
}

TEST(DISABLED_InDevice, Succeeding)
{
    for (const Operation &op : kOperations) {
        EXPECT_EQ(run_with_answer(op, op.answer), 0) << "entry " << op.entry;
        if (*op.answer) {
            EXPECT_EQ(run_with_answer(op, "x"), 0) << "entry " << op.entry << " without a number";
        }
    }
}

TEST(DISABLED_InDevice, Failing)
{
    fail_everything();
    for (const Operation &op : kOperations)
        EXPECT_EQ(run_with_answer(op, op.answer), op.failed) << "entry " << op.entry;
}

TEST(Deviced, OperationsReturnTheirResult)
{
    char self[4096];
    const ssize_t n = readlink("/proc/self/exe", self, sizeof self - 1);
    ASSERT_GT(n, 0);
    self[n] = '\0';
    for (const char *part : {"Succeeding", "Failing"}) {
        Root root;
        harness::RunResult r = root.run_command(
            {self, "--gtest_also_run_disabled_tests", std::string("--gtest_filter=DISABLED_InDevice.") + part});
        EXPECT_EQ(r.status, 0) << part << ":\n" << r.out << r.err;
    }
}

// The emulator delivers the result from a thread of its own and returns
// only after the callback has returned.
TEST(DevicePowerEmulator, AsyncChangeAnswersOnItsOwnThreadBeforeReturning)
{
    gchar *dir = g_dir_make_tmp("deviced-XXXXXX", nullptr);
    ASSERT_NE(dir, nullptr);
    setenv("TV_EMULATOR_DIR", dir, 1);

    struct Seen {
        std::thread::id thread;
        int result = 99;
        void *data = nullptr;
    } seen;
    auto callback = [](int result, void *data) {
        auto *s = static_cast<Seen *>(data);
        s->thread = std::this_thread::get_id();
        s->result = result;
        s->data = data;
    };
    EXPECT_EQ(device_power_request_ambient_mode_change(2, callback, &seen), 0);
    EXPECT_EQ(seen.data, &seen);
    EXPECT_EQ(seen.result, 0);
    EXPECT_NE(seen.thread, std::this_thread::get_id());
    EXPECT_NE(seen.thread, std::thread::id());
    EXPECT_EQ(device_power_get_ambient_mode(), 2);

    // A refused request never answers.
    seen = Seen();
    EXPECT_EQ(device_power_request_ambient_mode_change(7, callback, &seen), -22);
    EXPECT_EQ(seen.data, nullptr);

    unsetenv("TV_EMULATOR_DIR");
    std::system(("rm -rf '" + std::string(dir) + "'").c_str());
    g_free(dir);
}

}  // namespace
