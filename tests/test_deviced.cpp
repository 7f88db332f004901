// The device power tool: every entry through the real host once with the
// platform agreeing and once with every platform call failing, and the
// results of the exported operations, which only a caller in the process sees.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <regex>

#include "harness.h"
#include "tavrin_debugmenu.h"

namespace {

// "<a|b>" reads a in the run where the platform agrees, b in the failing one.
std::string pick(const std::string &text, bool failing)
{
    return std::regex_replace(text, std::regex("<([^|>]*)\\|([^>]*)>"), failing ? "$2" : "$1");
}

const std::string kStates = ", {0:normal, 1:pictureoff, 2:background standby}\n";
const std::string kChange = "<succeeded|failed> to change to ";
const std::string kAsync = "<ambient mode change result cb (0)\nsucceed|failed> to request ambient mode change to ";

struct Row { std::string input, out; };

// The power and ambient getters come first, while the states are 0.
const Row kRows[] = {
    {"4", "<current power state (0)|failed to get current power state(-5)>\n"},
    {"1", kChange + "picture off state<|\n>"}, {"2", kChange + "normal state<|\n>"},
    {"3", kChange + "background standby state<|\n>"},
    // The lock takes a second number as 0 when only one comes (and the word
    // after it is a choice for the menu, which shows itself again).
    {"5\n<7 10|0 z>", "Please enter power state and timeout to lock {power_state} {timeout_ms}" + kStates +
                          "power state to lock (<7|0>), timeout(<10|0>)\n"
                          "<succeeded|failed> to lock state(<7|0>)-(<10|0>)\n"},
    {"<z|>", ""}, {"6\n<-1|2>", "Please enter power state to unlock {power_state}" + kStates +
                                   "power state to unlock (<-1|2>)\n<succeeded|failed> to unlock state(<-1|2>)\n"},
    {"7\n6", "Please enter poweroff reason\noff_reason is (6)\n<|failed to poweroff>"},
    {"8\n9", "wakeup reason to resume (9)\n<succeeded|failed to poweroff>"}, {"10", "<|failed to poweroff>"},
    {"9\n7", "Please enter wakeup reason\nwakeup reason is (7)\n<|failed to set direct lpm entry mode\n>"},
    {"11\n6", "Please enter poweroff reason {poweroff reason}\npoweroff reason to set (6)\n<|failed to reboot>"},
    {"12\n42", "Please enter wakeup reason to set\nwakeup reason to set (42)\n"
               "<succeeded|failed> to set wakeup reason (42)\n"}, {"13", "wakeup reason : (<42|-5>)\n"},
    {"22", "<current ambient mode (0)|failed to get current ambient mode (-5)>\n"},
    {"14", kChange + "off state\n"}, {"15", kChange + "full power mode\n"}, {"16", kChange + "low power mode\n"},
    {"17", kChange + "suspend mode\n"}, {"18", kAsync + "off\n"}, {"19", kAsync + "fullpower\n"},
    {"20", kAsync + "lowpower\n"}, {"21", kAsync + "suspend\n"},
    {"23\n4", "Please enter ambient mode type to set {ambient_mode_type}\nambient mode type to set (4)\n"
              "<succeeded|failed> to set type (4)\n"},
    {"24\n4", "Please enter ambient mode type to unset {ambient_mode_type}\nambient mode type to unset (4)\n"
              "<succeeded|failed> to unset type (4)\n"},
    {"25", "<current ambient mode type (0)|failed to get ambient mode type (-5)>\n"},
    {"26", "<|failed to request ambient poweroff\n>"},
    {"27\n-1", "Please enter last ew time to set\nlast ew time to set (-1)\n"
               "<succeeded to set db/sysman/last_ew_time(-1)|failed to set db/sysman/last_ew_time>\n"},
    {"28", "<succeeded|failed> to get db/sysman/last_ew_time<(-1)|>\n"},
    {"29", "<succeeded|failed> to screen on\n"}, {"30", "<succeeded|failed> to screen off\n"},
    {"31\n8", "Please enter panel display time to set\npanel display time to set (8)\n"
              "<succeeded to set db/sysman/panel_display_time(8)|failed to set db/sysman/panel_display_time>\n"},
    {"32", "<succeeded|failed> to get db/sysman/panel_display_time<(8)|>\n"},
    {"33", "result (<0|-5>)"}, {"34", "QD display state (<0|-5>)"}, {"35", "<succeeded|failed to poweroff>"},
    {"36\n45", "input off sensing time (min) to set\noff sensing time (45) min\n"
               "<succeeded|failed to set (db/sysman/off_sensing_time:45)>\n"},
    {"37", "<off sensing time (45) min|failed to get (db/sysman/off_sensing_time)>\n"},
    {"38\n15", "input el sensing time (min) to set\nel sensing time (15) min\n"
               "<succeeded|failed to set (db/sysman/el_sensing_time:15)>\n"},
    {"39", "<el sensing time (15) min|failed to get (db/sysman/el_sensing_time)>\n"},
    {"40", "burn-in protection in progress (<0|1>)"},
};

// Request words: suspend 0x40000000, reboot 0x20000000, with the reason below.
const char kCalls[] =
    "device_power_get_state\ndevice_power_set_state 1 1\ndevice_power_set_state 0 1\ndevice_power_set_state 2 1\n"
    "device_power_lock_state <3 10|0 0>\ndevice_power_unlock_state <3|2>\ndevice_power_request_poweroff 1073741830\n"
    "ppi_powercontrol_set_auto_resume 9\ndevice_power_request_poweroff 1073741827\n"
    "device_power_request_poweroff 536870928\ndevice_power_set_direct_lpm_entry_mode 7\n"
    "device_power_request_reboot 536870918\ndevice_power_set_wakeup_reason 42\ndevice_power_get_wakeup_reason\n"
    "device_power_get_ambient_mode\ndevice_power_set_ambient_mode 0\ndevice_power_set_ambient_mode 1\n"
    "device_power_set_ambient_mode 2\ndevice_power_set_ambient_mode 3\n"
    "device_power_request_ambient_mode_change 0 ptr null\ndevice_power_request_ambient_mode_change 1 ptr null\n"
    "device_power_request_ambient_mode_change 2 ptr null\ndevice_power_request_ambient_mode_change 3 ptr null\n"
    "device_power_set_ambient_mode_type 4\ndevice_power_unset_ambient_mode_type 4\ndevice_power_get_ambient_type\n"
    "device_power_request_ambient_poweroff\nvconf_set_int \"db/sysman/last_ew_time\" -1\n"
    "vconf_get_int \"db/sysman/last_ew_time\"\ndevice_set_screen_state 1\ndevice_set_screen_state 0\n"
    "vconf_set_int \"db/sysman/panel_display_time\" 8\nvconf_get_int \"db/sysman/panel_display_time\"\n"
    "qd_display_request_off_sensing\nqd_display_get_state\ndevice_power_request_poweroff 1073741944\n"
    "vconf_set_int \"db/sysman/off_sensing_time\" 45\nvconf_get_int \"db/sysman/off_sensing_time\"\n"
    "vconf_set_int \"db/sysman/el_sensing_time\" 15\nvconf_get_int \"db/sysman/el_sensing_time\"\n"
    "oled_is_burn_in_protection_in_progress\n";

// One operation of each shape, and every one with a result of its own, by entry.
int (*const kOperations[])() = {
    deviced_picture_off, deviced_get_current_power_state, deviced_lock_power_state, deviced_unlock_power_state,
    deviced_request_poweroff_to_suspend, deviced_request_direct_lpm, deviced_set_wakeup_reason,
    deviced_get_wakeup_reason, deviced_get_current_ambient_mode, deviced_set_ambient_mode_type,
    deviced_unset_ambient_mode_type, deviced_get_ambient_mode_type, deviced_set_last_ew_mode_execution_time,
    deviced_get_last_ew_execution_time, deviced_request_off_sensing, deviced_get_QD_display_state,
    deviced_request_el_sensing, deviced_burn_in_protection_in_progress};

// Started inside a device root by the test below: each operation twice, the
// second time meeting a word; results as '0', '-' for -1, '?' for others.
TEST(DISABLED_InDevice, Results)
{
    for (int pass = 0; pass < 2; ++pass)
        for (int (*operation)() : kOperations)
            std::fputc("-0?"[std::min(operation() + 1u, 2u)], stderr);
}

TEST(Deviced, EveryEntryThroughTheHostAgreeingAndFailing)
{
    harness::DeviceRoot root;
    for (const bool failing : {false, true}) {
        std::vector<std::string> actions;
        for (const Row &row : kRows)
            actions.push_back(pick(row.input, failing) + "\n");
        const harness::MenuRun run = harness::in_menu(root, "12", actions);
        for (size_t i = 0; i < run.actions.size(); ++i)
            EXPECT_EQ(run.actions[i], pick(kRows[i].out, failing)) << (failing ? "failing: " : "") << actions[i];
        const std::string calls = root.calls_log();
        EXPECT_EQ(calls, pick(kCalls, failing)) << harness::diff(pick(kCalls, failing), calls);

        // Eight operations read a number, the lock two; a word is none.
        const harness::RunResult r = root.run_command({harness::binary_dir() + "/tests/test_deviced",
            "--gtest_also_run_disabled_tests", "--gtest_filter=DISABLED_InDevice.*"}, "1 1 1 1 1 1 1 1 1 x");
        const std::string results = failing ? "--00--00-00---00-0--000000-00-0-00-0" : std::string(36, '0');
        EXPECT_NE(r.err.find(results), std::string::npos) << r.err;
        EXPECT_EQ(harness::split(root.calls_log().substr(calls.size()), "device_power_lock_state").size(), 2u);
        for (const std::string &line : harness::lines(calls))
            root.set_state("fail", line.substr(0, line.find(' ')), "-5");
        root.clear_calls_log();
    }
}

}  // namespace
