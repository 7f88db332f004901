// Battery readings and feedback patterns.
#include <cstring>

#include "debugmenu_host.h"
#include "device/battery.h"
#include "feedback.h"
#include "menu_table.h"
#include "tavrin_debugmenu.h"

using namespace tavrin;

namespace {

// Indexed by the feedback menu's entry number; index 0 is never played.
const int sound_patterns[27] = {
    64,
    37, 85, 79, 86, 81, 83, 82, 67, 70, 65, 66, 69, 0,   // 1 to 13
    1, 84, 65, 89, 90, 91, 92, 93, 94, 95, 96, 97, 104,  // 14 to 26
};

const char *error_name(int result)
{
    switch (result) {
    case DEVICE_ERROR_INVALID_PARAMETER: return "invalid parameter";
    case DEVICE_ERROR_PERMISSION_DENIED: return "permission denied";
    case DEVICE_ERROR_OPERATION_FAILED: return "operation failed";
    case DEVICE_ERROR_NOT_SUPPORTED: return "not supported";
    default: return "unknown";
    }
}

// The platform may report values that its enumerations do not name; read
// them as the integers they are.
template <typename E>
int raw_value(const E &value)
{
    static_assert(sizeof(E) == sizeof(int), "enumeration is not int-sized");
    int v;
    std::memcpy(&v, &value, sizeof v);
    return v;
}

const char *status_name(int status)
{
    switch (status) {
    case 0: return "charging";
    case 1: return "discharging";
    case 2: return "full";
    case 3: return "not charging";
    default: return "unknown";
    }
}

const char *level_name(int level)
{
    switch (level) {
    case 0: return "empty";
    case 1: return "critical";
    case 3: return "high";
    case 4: return "full";
    default: return "unknown";
    }
}

const char *health_name(int health)
{
    switch (health) {
    case 0: return "good";
    case 1: return "cold";
    case 2: return "dead";
    case 3: return "over heat";
    case 4: return "over voltage";
    default: return "unknown";
    }
}

const char *power_source_name(int source)
{
    switch (source) {
    case 0: return "none";
    case 1: return "ac";
    case 2: return "usb";
    case 3: return "wireless";
    default: return "unknown";
    }
}

template <int Entry>
void play_pattern()
{
    static_assert(Entry >= 1 && Entry <= 26, "no such feedback entry");
    feedback_initialize();
    feedback_play(static_cast<feedback_pattern_e>(sound_patterns[Entry]));
    feedback_deinitialize();
}

}  // namespace

int battery_get_percent(void)
{
    int percent = 0;
    const int result = device_battery_get_percent(&percent);
    if (result != 0) {
        menu_print(1, "failed to get percent (%s)\n", error_name(result));
        return -1;
    }
    menu_print(1, "battery percent : %d%%\n", percent);
    return 0;
}

int battery_get_status(void)
{
    device_battery_status_e status{};
    const int result = device_battery_get_status(&status);
    if (result != 0) {
        menu_print(1, "failed to get status (%s)\n", error_name(result));
        return -1;
    }
    menu_print(1, "battery status : %s\n", status_name(raw_value(status)));
    return 0;
}

int battery_is_charging(void)
{
    bool charging = false;
    const int result = device_battery_is_charging(&charging);
    if (result != 0) {
        menu_print(1, "failed to get charging status (%s)\n", error_name(result));
        return -1;
    }
    menu_print(1, "battery is charging : %d\n", charging ? 1 : 0);
    return 0;
}

int battery_get_level_status(void)
{
    device_battery_level_e level{};
    const int result = device_battery_get_level_status(&level);
    if (result != 0) {
        menu_print(1, "failed to get level status (%s)\n", error_name(result));
        return -1;
    }
    menu_print(1, "battery level : %s\n", level_name(raw_value(level)));
    return 0;
}

int battery_get_health(void)
{
    device_battery_health_e health{};
    const int result = device_battery_get_health(&health);
    if (result != 0) {
        menu_print(1, "failed to get health (%s)\n", error_name(result));
        return -1;
    }
    menu_print(1, "battery health : %s\n", health_name(raw_value(health)));
    return 0;
}

int battery_get_power_source(void)
{
    device_battery_power_source_e source{};
    const int result = device_battery_get_power_source(&source);
    if (result != 0) {
        menu_print(1, "failed to get power source (%s)\n", error_name(result));
        return -1;
    }
    menu_print(1, "battery power source : %s\n", power_source_name(raw_value(source)));
    return 0;
}

int dlog_menu_battery(void)
{
    static const MenuEntry entries[] = {
        action(1, "Get percent", call<battery_get_percent>),
        action(2, "Get Status", call<battery_get_status>),
        action(3, "Is Charging?", call<battery_is_charging>),
        action(4, "Get Level", call<battery_get_level_status>),
        action(5, "Get Health", call<battery_get_health>),
        action(6, "Get Power source", call<battery_get_power_source>),
    };
    return run_menu(make_menu("battery debug menu", entries));
}

void dlog_menu_feedback(void)
{
    static const MenuEntry entries[] = {
        action(1, "play FEEDBACK_PATTERN_POWEROFF", play_pattern<1>),
        action(2, "play FEEDBACK_PATTERN_BOOTING", play_pattern<2>),
        action(3, "play FEEDBACK_PATTERN_SI_POP", play_pattern<3>),
        action(4, "play FEEDBACK_PATTERN_SI_VOICE_FAILURE", play_pattern<4>),
        action(5, "play FEEDBACK_PATTERN_SI_VOICE_SUCCESS", play_pattern<5>),
        action(6, "play FEEDBACK_PATTERN_SPORTS_MODE_OFF", play_pattern<6>),
        action(7, "play FEEDBACK_PATTERN_SPORTS_MODE_ON", play_pattern<7>),
        action(8, "play FEEDBACK_PATTERN_MOVE_BACK", play_pattern<8>),
        action(9, "play FEEDBACK_PATTERN_CANCEL", play_pattern<9>),
        action(10, "play FEEDBACK_PATTERN_MOVE_NAVIGATION", play_pattern<10>),
        action(11, "play FEEDBACK_PATTERN_MOVE_PANEL", play_pattern<11>),
        action(12, "play FEEDBACK_PATTERN_SELECT", play_pattern<12>),
        action(13, "play FEEDBACK_PATTERN_TAP", play_pattern<13>),
        action(14, "play FEEDBACK_PATTERN_SIP", play_pattern<14>),
        action(15, "play FEEDBACK_PATTERN_SIP_BACKSPACE", play_pattern<15>),
        action(16, "play FEEDBACK_PATTERN_MOVE_NAVIGATION", play_pattern<16>),
        action(17, "play FEEDBACK_PATTERN_HOME_CLOSE", play_pattern<17>),
        action(18, "play FEEDBACK_PATTERN_HOME_OPEN", play_pattern<18>),
        action(19, "play FEEDBACK_PATTERN_IME_BACKSPACE", play_pattern<19>),
        action(20, "play FEEDBACK_PATTERN_IME_SELECT", play_pattern<20>),
        action(21, "play FEEDBACK_PATTERN_SI_VOICE_REWARD", play_pattern<21>),
        action(22, "play FEEDBACK_PATTERN_NORMAL_NOTI", play_pattern<22>),
        action(23, "play FEEDBACK_PATTERN_PEN_COLOR", play_pattern<23>),
        action(24, "play FEEDBACK_PATTERN_CAPTURE", play_pattern<24>),
        action(25, "play FEEDBACK_PATTERN_TAG", play_pattern<25>),
        action(26, "play FEEDBACK_PATTERN_HOME_CATEGORY_CHANGED", play_pattern<26>),
    };
    run_menu(make_menu("feedback debug menu", entries, OnUnknown::Return));
}
