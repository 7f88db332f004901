// Device power tool: power states, locks, power-off and reboot requests,
// wakeup reasons, ambient modes, backlight, panel and OLED functions, and the
// device daemon's timing settings.
#include <cstdio>

#include "common.h"
#include "debugmenu_host.h"
#include "device/display.h"
#include "device/power.h"
#include "menu_table.h"
#include "oled.h"
#include "ppi_powercontrol.h"
#include "qd_display.h"
#include "tavrin_debugmenu.h"
#include "vconf.h"

using namespace tavrin;

namespace {

// Request words: the kind in the high bits, a power-off reason below.
constexpr int kSuspendRequest = 0x40000000;
constexpr int kRebootRequest = 0x20000000;
constexpr int kColdStandbyRequest = kRebootRequest | 16;
constexpr int kAutoResumeRequest = kSuspendRequest | 3;
constexpr int kElSensingRequest = kSuspendRequest | 120;

// The platform numbers the states it knows 0 to 2; everything else is 3.
int platform_state(int number)
{
    return number >= 0 && number <= 2 ? number : 3;
}

// Prints the prompt (if any) and reads one number; false when none came.
bool read_number(const char *prompt, int *value)
{
    if (prompt)
        menu_print(1, "%s", prompt);
    return std::scanf("%d", value) == 1;
}

// One platform call with a fixed argument; the outcome goes to standard
// output as the text stands.
struct Switch {
    int (*call)(int);
    int argument;
    const char *done;
    const char *failed;
};

int run_switch(const Switch &op)
{
    if (op.call(op.argument) != 0) {
        std::fputs(op.failed, stdout);
        return -1;
    }
    std::fputs(op.done, stdout);
    return 0;
}

int set_power_state(int state)
{
    return device_power_set_state(state, 1);
}

int request_ambient_mode_change(int mode)
{
    return device_power_request_ambient_mode_change(mode, change_result_cb, nullptr);
}

int request_ambient_poweroff(int)
{
    return device_power_request_ambient_poweroff();
}

// A number read from the console and passed to one platform call. Every
// text is a format over that number; a null DONE says nothing.
struct NumberCall {
    const char *prompt;
    const char *echo;
    int (*call)(int);
    const char *done;
    const char *failed;
    int failure_result;
};

int run_number_call(const NumberCall &op)
{
    int value = 0;
    if (!read_number(op.prompt, &value))
        return 0;
    menu_print(1, op.echo, value);
    if (op.call(value) != 0) {
        menu_print(1, op.failed, value);
        return op.failure_result;
    }
    if (op.done)
        menu_print(1, op.done, value);
    return 0;
}

int unlock_state(int number)
{
    return device_power_unlock_state(platform_state(number));
}

// Power-off and reboot requests: a reason read from the console below the
// request's kind. They say nothing when they go through.
struct ReasonRequest {
    const char *prompt;
    const char *echo;
    int kind;
    int (*request)(int);
    const char *failed;
};

int run_reason_request(const ReasonRequest &op)
{
    int reason = 0;
    if (!read_number(op.prompt, &reason))
        return 0;
    menu_print(1, op.echo, reason);
    if (op.request(reason | op.kind) != 0) {
        std::fputs(op.failed, stdout);
        return -1;
    }
    return 0;
}

// What a timing setting says; every text is a format over (key, value).
struct TimingTexts {
    const char *set_done;
    const char *set_failed;
    const char *get_failed;
    const char *got;  // null: the setting's echo, over the value alone
};

// The sensing times are minutes and report in words of their own.
constexpr TimingTexts kMinuteTexts = {"succeeded\n", "failed to set (%s:%d)\n", "failed to get (%s)\n", nullptr};
constexpr TimingTexts kTimeTexts = {"succeeded to set %s(%d)\n", "failed to set %s\n", "failed to get %s\n",
                                    "succeeded to get %s(%d)\n"};

// One of the device daemon's timing settings, an int vconf key.
struct Timing {
    const char *key;
    const char *prompt;
    const char *echo;
    const TimingTexts &texts;
};

const Timing kLastEwTime = {"db/sysman/last_ew_time", "Please enter last ew time to set\n",
                            "last ew time to set (%d)\n", kTimeTexts};
const Timing kPanelDisplayTime = {"db/sysman/panel_display_time", "Please enter panel display time to set\n",
                                  "panel display time to set (%d)\n", kTimeTexts};
const Timing kOffSensingTime = {"db/sysman/off_sensing_time", "input off sensing time (min) to set\n",
                                "off sensing time (%d) min\n", kMinuteTexts};
const Timing kElSensingTime = {"db/sysman/el_sensing_time", "input el sensing time (min) to set\n",
                               "el sensing time (%d) min\n", kMinuteTexts};

int set_timing(const Timing &timing)
{
    int value = 0;
    if (!read_number(timing.prompt, &value))
        return 0;
    menu_print(1, timing.echo, value);
    if (vconf_set_int(timing.key, value) != 0) {
        menu_print(1, timing.texts.set_failed, timing.key, value);
        return -1;
    }
    menu_print(1, timing.texts.set_done, timing.key, value);
    return 0;
}

int get_timing(const Timing &timing)
{
    int value = 0;
    if (vconf_get_int(timing.key, &value) != 0) {
        menu_print(1, timing.texts.get_failed, timing.key);
        return -1;
    }
    if (timing.texts.got)
        menu_print(1, timing.texts.got, timing.key, value);
    else
        menu_print(1, timing.echo, value);
    return 0;
}

}  // namespace

// May run on a thread of the power library's own: it must only print.
void change_result_cb(int result, void *user_data)
{
    (void)user_data;
    std::printf("ambient mode change result cb (%d)\n", result);
}

int deviced_picture_off(void)
{
    return debug_only(run_switch, Switch{set_power_state, 1, "succeeded to change to picture off state",
                                         "failed to change to picture off state\n"});
}

int deviced_change_to_normal_state(void)
{
    return debug_only(run_switch, Switch{set_power_state, 0, "succeeded to change to normal state",
                                         "failed to change to normal state\n"});
}

int deviced_change_to_background_standby_state(void)
{
    return debug_only(run_switch, Switch{set_power_state, 2, "succeeded to change to background standby state",
                                         "failed to change to background standby state\n"});
}

int deviced_get_current_power_state(void)
{
    const int state = device_power_get_state();
    if (state < 0) {
        std::printf("failed to get current power state(%d)\n", state);
        return -1;
    }
    std::printf("current power state (%d)\n", state);
    return 0;
}

namespace {

int lock_power_state()
{
    menu_print(1, "Please enter power state and timeout to lock {power_state} {timeout_ms}, "
                  "{0:normal, 1:pictureoff, 2:background standby}\n");
    int state = 0;
    int timeout = 0;
    // One number is enough: the timeout then stays 0.
    if (std::scanf("%d %d", &state, &timeout) < 1)
        return 0;
    menu_print(1, "power state to lock (%d), timeout(%d)\n", state, timeout);
    if (device_power_lock_state(platform_state(state), timeout) != 0)
        menu_print(1, "failed to lock state(%d)-(%d)\n", state, timeout);
    else
        menu_print(1, "succeeded to lock state(%d)-(%d)\n", state, timeout);
    return 0;
}

void suspend_resume_with_wakeup_reason()
{
    int reason = 0;
    if (!read_number(nullptr, &reason))
        return;
    menu_print(1, "wakeup reason to resume (%d)\n", reason);
    // The suspend goes ahead even when the resume could not be armed.
    ppi_powercontrol_set_auto_resume(reason);
    if (device_power_request_poweroff(kAutoResumeRequest) != 0)
        menu_print(1, "failed to poweroff");
    else
        menu_print(1, "succeeded");
}

int get_wakeup_reason()
{
    menu_print(1, "wakeup reason : (%d)\n", device_power_get_wakeup_reason());
    return 0;
}

int get_ambient_mode_type()
{
    const int type = device_power_get_ambient_type();
    if (type < 0) {
        menu_print(1, "failed to get ambient mode type (%d)\n", type);
        return -1;
    }
    menu_print(1, "current ambient mode type (%d)\n", type);
    return 0;
}

int request_el_sensing()
{
    if (device_power_request_poweroff(kElSensingRequest) != 0) {
        menu_print(1, "failed to poweroff");
        return -1;
    }
    menu_print(1, "succeeded");
    return 0;
}

}  // namespace

int deviced_lock_power_state(void)
{
    return debug_only(lock_power_state);
}

int deviced_unlock_power_state(void)
{
    return debug_only(run_number_call,
                      NumberCall{"Please enter power state to unlock {power_state}, "
                                 "{0:normal, 1:pictureoff, 2:background standby}\n",
                                 "power state to unlock (%d)\n", unlock_state, "succeeded to unlock state(%d)\n",
                                 "failed to unlock state(%d)\n", 0});
}

int deviced_request_poweroff_to_suspend(void)
{
    return debug_only(run_reason_request, ReasonRequest{"Please enter poweroff reason\n", "off_reason is (%d)\n",
                                                        kSuspendRequest, device_power_request_poweroff,
                                                        "failed to poweroff"});
}

void deviced_suspend_resume_with_wakeup_reason(void)
{
    debug_only(suspend_resume_with_wakeup_reason);
}

int deviced_request_direct_lpm(void)
{
    return debug_only(run_number_call, NumberCall{"Please enter wakeup reason\n", "wakeup reason is (%d)\n",
                                                  device_power_set_direct_lpm_entry_mode, nullptr,
                                                  "failed to set direct lpm entry mode\n", -1});
}

int deviced_request_poweroff_to_cold_standby(void)
{
    return debug_only(run_switch, Switch{device_power_request_poweroff, kColdStandbyRequest, "", "failed to poweroff"});
}

int deviced_request_reboot(void)
{
    return debug_only(run_reason_request,
                      ReasonRequest{"Please enter poweroff reason {poweroff reason}\n", "poweroff reason to set (%d)\n",
                                    kRebootRequest, device_power_request_reboot, "failed to reboot"});
}

int deviced_set_wakeup_reason(void)
{
    return debug_only(run_number_call, NumberCall{"Please enter wakeup reason to set\n", "wakeup reason to set (%d)\n",
                                                  device_power_set_wakeup_reason,
                                                  "succeeded to set wakeup reason (%d)\n",
                                                  "failed to set wakeup reason (%d)\n", 0});
}

int deviced_get_wakeup_reason(void)
{
    return debug_only(get_wakeup_reason);
}

int deviced_change_ambient_mode_to_off(void)
{
    return debug_only(run_switch, Switch{device_power_set_ambient_mode, 0, "succeeded to change to off state\n",
                                         "failed to change to off state\n"});
}

int deviced_change_ambient_mode_to_fullpower(void)
{
    return debug_only(run_switch, Switch{device_power_set_ambient_mode, 1, "succeeded to change to full power mode\n",
                                         "failed to change to full power mode\n"});
}

int deviced_change_ambient_mode_to_lowpower(void)
{
    return debug_only(run_switch, Switch{device_power_set_ambient_mode, 2, "succeeded to change to low power mode\n",
                                         "failed to change to low power mode\n"});
}

int deviced_change_ambient_mode_to_suspend(void)
{
    return debug_only(run_switch, Switch{device_power_set_ambient_mode, 3, "succeeded to change to suspend mode\n",
                                         "failed to change to suspend mode\n"});
}

int deviced_change_ambient_mode_to_off_async(void)
{
    return debug_only(run_switch, Switch{request_ambient_mode_change, 0,
                                         "succeed to request ambient mode change to off\n",
                                         "failed to request ambient mode change to off\n"});
}

int deviced_change_ambient_mode_to_fullpower_async(void)
{
    return debug_only(run_switch, Switch{request_ambient_mode_change, 1,
                                         "succeed to request ambient mode change to fullpower\n",
                                         "failed to request ambient mode change to fullpower\n"});
}

int deviced_change_ambient_mode_to_lowpower_async(void)
{
    return debug_only(run_switch, Switch{request_ambient_mode_change, 2,
                                         "succeed to request ambient mode change to lowpower\n",
                                         "failed to request ambient mode change to lowpower\n"});
}

int deviced_change_ambient_mode_to_suspend_async(void)
{
    return debug_only(run_switch, Switch{request_ambient_mode_change, 3,
                                         "succeed to request ambient mode change to suspend\n",
                                         "failed to request ambient mode change to suspend\n"});
}

int deviced_get_current_ambient_mode(void)
{
    const int mode = device_power_get_ambient_mode();
    if (mode < 0) {
        std::printf("failed to get current ambient mode (%d)\n", mode);
        return -1;
    }
    std::printf("current ambient mode (%d)\n", mode);
    return 0;
}

int deviced_set_ambient_mode_type(void)
{
    return debug_only(run_number_call,
                      NumberCall{"Please enter ambient mode type to set {ambient_mode_type}\n",
                                 "ambient mode type to set (%d)\n", device_power_set_ambient_mode_type,
                                 "succeeded to set type (%d)\n", "failed to set type (%d)\n", 0});
}

int deviced_unset_ambient_mode_type(void)
{
    return debug_only(run_number_call,
                      NumberCall{"Please enter ambient mode type to unset {ambient_mode_type}\n",
                                 "ambient mode type to unset (%d)\n", device_power_unset_ambient_mode_type,
                                 "succeeded to unset type (%d)\n", "failed to unset type (%d)\n", 0});
}

int deviced_get_ambient_mode_type(void)
{
    return debug_only(get_ambient_mode_type);
}

int deviced_request_ambient_poweroff(void)
{
    return debug_only(run_switch, Switch{request_ambient_poweroff, 0, "", "failed to request ambient poweroff\n"});
}

int deviced_set_last_ew_mode_execution_time(void)
{
    return debug_only(set_timing, kLastEwTime);
}

int deviced_get_last_ew_execution_time(void)
{
    return debug_only(get_timing, kLastEwTime);
}

int deviced_set_panel_display_time(void)
{
    return debug_only(set_timing, kPanelDisplayTime);
}

int deviced_get_panel_display_time(void)
{
    return debug_only(get_timing, kPanelDisplayTime);
}

int deviced_set_off_sensing_time(void)
{
    return debug_only(set_timing, kOffSensingTime);
}

int deviced_get_off_sensing_time(void)
{
    return debug_only(get_timing, kOffSensingTime);
}

int deviced_set_el_sensing_time(void)
{
    return debug_only(set_timing, kElSensingTime);
}

int deviced_get_el_sensing_time(void)
{
    return debug_only(get_timing, kElSensingTime);
}

int deviced_backlight_on(void)
{
    return debug_only(run_switch, Switch{device_set_screen_state, 1, "succeeded to screen on\n",
                                         "failed to screen on\n"});
}

int deviced_backlight_off(void)
{
    return debug_only(run_switch, Switch{device_set_screen_state, 0, "succeeded to screen off\n",
                                         "failed to screen off\n"});
}

int deviced_request_off_sensing(void)
{
    menu_print(1, "result (%d)", qd_display_request_off_sensing());
    return 0;
}

int deviced_get_QD_display_state(void)
{
    menu_print(1, "QD display state (%d)", qd_display_get_state());
    return 0;
}

int deviced_request_el_sensing(void)
{
    return debug_only(request_el_sensing);
}

int deviced_burn_in_protection_in_progress(void)
{
    menu_print(1, "burn-in protection in progress (%d)", oled_is_burn_in_protection_in_progress() ? 1 : 0);
    return 0;
}

int dlog_menu_deviced(void)
{
    static const MenuEntry entries[] = {
        action(1, "[POWER] power state change to picture off ", call<deviced_picture_off>),
        action(2, "[POWER] power state change to normal", call<deviced_change_to_normal_state>),
        action(3, "[POWER] power state change to background standby",
               call<deviced_change_to_background_standby_state>),
        action(4, "[POWER] get current power state", call<deviced_get_current_power_state>),
        action(5, "[POWER] lock power state", call<deviced_lock_power_state>),
        action(6, "[POWER] unlock power state", call<deviced_unlock_power_state>),
        action(7, "[POWER] poweroff to suspend", call<deviced_request_poweroff_to_suspend>),
        action(8, "[POWER] suspend resume with wakeup reason", deviced_suspend_resume_with_wakeup_reason),
        action(9, "[POWER] request direct lpm", call<deviced_request_direct_lpm>),
        action(10, "[POWER] poweroff to cold standby", call<deviced_request_poweroff_to_cold_standby>),
        action(11, "[POWER] reboot", call<deviced_request_reboot>),
        action(12, "[POWER] set wakeup reason", call<deviced_set_wakeup_reason>),
        action(13, "[POWER] get wakeup reason", call<deviced_get_wakeup_reason>),
        action(14, "[AMBIENT] ambient mode change to OFF", call<deviced_change_ambient_mode_to_off>),
        action(15, "[AMBIENT] ambient mode change to FullPower", call<deviced_change_ambient_mode_to_fullpower>),
        action(16, "[AMBIENT] ambient mode change to LowPower", call<deviced_change_ambient_mode_to_lowpower>),
        action(17, "[AMBIENT] ambient mode change to Suspend", call<deviced_change_ambient_mode_to_suspend>),
        action(18, "[AMBIENT] ambient mode change to OFF (async)", call<deviced_change_ambient_mode_to_off_async>),
        action(19, "[AMBIENT] ambient mode change to FullPower (async)",
               call<deviced_change_ambient_mode_to_fullpower_async>),
        action(20, "[AMBIENT] ambient mode change to LowPower (async)",
               call<deviced_change_ambient_mode_to_lowpower_async>),
        action(21, "[AMBIENT] ambient mode change to Suspend (async)",
               call<deviced_change_ambient_mode_to_suspend_async>),
        action(22, "[AMBIENT] get current ambient mode", call<deviced_get_current_ambient_mode>),
        action(23, "[AMBIENT] set ambient mode type", call<deviced_set_ambient_mode_type>),
        action(24, "[AMBIENT] unset ambient mode type", call<deviced_unset_ambient_mode_type>),
        action(25, "[AMBIENT] get ambient mode type", call<deviced_get_ambient_mode_type>),
        action(26, "[AMBIENT] request ambient poweroff", call<deviced_request_ambient_poweroff>),
        action(27, "[EW] set last ew execution time", call<deviced_set_last_ew_mode_execution_time>),
        action(28, "[EW] get last ew execution time", call<deviced_get_last_ew_execution_time>),
        action(29, "[PANEL] backlight on ", call<deviced_backlight_on>),
        action(30, "[PANEL] backlight off ", call<deviced_backlight_off>),
        action(31, "[PANEL] set panel display time", call<deviced_set_panel_display_time>),
        action(32, "[PANEL] get panel display time", call<deviced_get_panel_display_time>),
        action(33, "[OLED] request Off Sensing", call<deviced_request_off_sensing>),
        action(34, "[OLED] get QD display state", call<deviced_get_QD_display_state>),
        action(35, "[OLED] request EL Sensing", call<deviced_request_el_sensing>),
        action(36, "[OLED] set off sensing time", call<deviced_set_off_sensing_time>),
        action(37, "[OLED] get off sensing time", call<deviced_get_off_sensing_time>),
        action(38, "[OLED] set el sensing time", call<deviced_set_el_sensing_time>),
        action(39, "[OLED] get el sensing time", call<deviced_get_el_sensing_time>),
        action(40, "[OLED] is burn-in protection in progress", call<deviced_burn_in_protection_in_progress>),
    };
    return run_menu(make_menu("deviced debug menu", entries));
}
