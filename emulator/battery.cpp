// Battery reads of the device API: the values of [battery], or the
// machine's own battery from sysfs when that section is missing (or names a
// sysfs_root), and "not supported" where there is no battery, as on a TV.

#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "device/battery.h"
#include "tvemul.h"

namespace {

const char kGroup[] = "battery";
const char kTag[] = "DEVICE_BATTERY";

struct Battery {
    int percent = 100;
    int status = DEVICE_BATTERY_STATUS_FULL;
    bool charging = false;
    int level = DEVICE_BATTERY_LEVEL_FULL;
    int health = DEVICE_BATTERY_HEALTH_GOOD;
    int power_source = DEVICE_BATTERY_POWER_SOURCE_AC;
};

int status_code(const std::string &status)
{
    if (status == "Charging")
        return DEVICE_BATTERY_STATUS_CHARGING;
    if (status == "Discharging")
        return DEVICE_BATTERY_STATUS_DISCHARGING;
    if (status == "Full")
        return DEVICE_BATTERY_STATUS_FULL;
    if (status == "Not charging")
        return DEVICE_BATTERY_STATUS_NOT_CHARGING;
    return -1;  // "Unknown": the kernel does not know either
}

int health_code(const std::string &health)
{
    if (health == "Good" || health == "Cool" || health == "Warm")
        return DEVICE_BATTERY_HEALTH_GOOD;
    if (health == "Cold")
        return DEVICE_BATTERY_HEALTH_COLD;
    if (health == "Dead")
        return DEVICE_BATTERY_HEALTH_DEAD;
    if (health == "Overheat" || health == "Hot")
        return DEVICE_BATTERY_HEALTH_OVER_HEAT;
    if (health == "Over voltage")
        return DEVICE_BATTERY_HEALTH_OVER_VOLTAGE;
    return -1;
}

// The kernel's capacity_level where the driver gives one, else from the
// percentage.
int level_code(const std::string &capacity_level, int percent)
{
    if (capacity_level == "Critical")
        return DEVICE_BATTERY_LEVEL_CRITICAL;
    if (capacity_level == "Low")
        return DEVICE_BATTERY_LEVEL_LOW;
    if (capacity_level == "Normal" || capacity_level == "High")
        return DEVICE_BATTERY_LEVEL_HIGH;
    if (capacity_level == "Full")
        return DEVICE_BATTERY_LEVEL_FULL;
    if (percent <= 0)
        return DEVICE_BATTERY_LEVEL_EMPTY;
    if (percent <= 5)
        return DEVICE_BATTERY_LEVEL_CRITICAL;
    if (percent <= 15)
        return DEVICE_BATTERY_LEVEL_LOW;
    if (percent < 100)
        return DEVICE_BATTERY_LEVEL_HIGH;
    return DEVICE_BATTERY_LEVEL_FULL;
}

int capacity_percent(const std::string &dir)
{
    long long value;
    if (tvemul::read_number(dir + "/capacity", 10, &value))
        return static_cast<int>(value);
    // Drivers without a capacity attribute still report charge or energy.
    for (const char *kind : {"energy", "charge"}) {
        long long now, full;
        if (tvemul::read_number(dir + "/" + kind + "_now", 10, &now) && tvemul::read_number(dir + "/" + kind + "_full", 10, &full) &&
            full > 0)
            return static_cast<int>(std::min(100LL, now * 100 / full));
    }
    return 0;
}

// The first system battery under SYS/class/power_supply; false when there
// is none. Batteries of peripherals (scope Device) do not count.
bool sysfs_battery(const std::string &sys_root, Battery *battery)
{
    const std::string base = sys_root + "/class/power_supply/";
    bool found = false;
    int source = DEVICE_BATTERY_POWER_SOURCE_NONE;
    for (const std::string &name : tvemul::sorted_entries(base)) {
        const std::string dir = base + name;
        std::string type, scope, text;
        if (!tvemul::read_attr(dir + "/type", &type))
            continue;
        if (tvemul::read_attr(dir + "/scope", &scope) && scope == "Device")
            continue;
        if (type == "Battery") {
            if (found || (tvemul::read_attr(dir + "/present", &text) && text == "0"))
                continue;
            found = true;
            battery->percent = capacity_percent(dir);
            battery->status = tvemul::read_attr(dir + "/status", &text) ? status_code(text) : -1;
            battery->charging = battery->status == DEVICE_BATTERY_STATUS_CHARGING;
            std::string level;
            tvemul::read_attr(dir + "/capacity_level", &level);
            battery->level = level_code(level, battery->percent);
            battery->health = tvemul::read_attr(dir + "/health", &text) ? health_code(text) : DEVICE_BATTERY_HEALTH_GOOD;
            continue;
        }
        long long online = 0;
        if (!tvemul::read_number(dir + "/online", 10, &online) || online <= 0 || source != DEVICE_BATTERY_POWER_SOURCE_NONE)
            continue;
        if (type == "Mains")
            source = DEVICE_BATTERY_POWER_SOURCE_AC;
        else if (type.compare(0, 3, "USB") == 0)
            source = DEVICE_BATTERY_POWER_SOURCE_USB;
        else if (type == "Wireless")
            source = DEVICE_BATTERY_POWER_SOURCE_WIRELESS;
    }
    battery->power_source = source;
    return found;
}

int current_battery(Battery *battery)
{
    tvemul::KeyFile kf = tvemul::load_state();
    GKeyFile *state = kf.get();
    if (!tvemul::has_group(state, kGroup) || g_key_file_has_key(state, kGroup, "sysfs_root", nullptr)) {
        const std::string root = tvemul::get_str(state, kGroup, "sysfs_root", "/sys");
        return sysfs_battery(root, battery) ? DEVICE_ERROR_NONE : DEVICE_ERROR_NOT_SUPPORTED;
    }
    const Battery defaults;
    auto number = [&](const char *key, long long def) {
        return static_cast<int>(tvemul::get_int(state, kGroup, key, def));
    };
    battery->percent = number("percent", defaults.percent);
    battery->status = number("status", defaults.status);
    battery->charging = tvemul::get_bool(state, kGroup, "charging", defaults.charging);
    battery->level = number("level", defaults.level);
    battery->health = number("health", defaults.health);
    battery->power_source = number("power_source", defaults.power_source);
    return DEVICE_ERROR_NONE;
}

// One read: the current battery's value.
template <typename Out, typename Field>
int read_battery(const char *function, Out *out, Field field)
{
    if (!out)
        return DEVICE_ERROR_INVALID_PARAMETER;
    Battery battery;
    int rc = current_battery(&battery);
    if (rc != DEVICE_ERROR_NONE)
        return rc;
    auto value = field(battery);
    static_assert(sizeof value == sizeof *out, "value and out-value differ in size");
    // memcpy: the value may lie outside what the enumeration names.
    memcpy(out, &value, sizeof value);
    tvemul::log(kTag, "%s: %d", function, static_cast<int>(value));
    return DEVICE_ERROR_NONE;
}

}  // namespace

extern "C" {

int device_battery_get_percent(int *percent)
{
    TVEMUL_ENTER();
    return read_battery(__func__, percent, [](const Battery &b) { return b.percent; });
}

int device_battery_is_charging(bool *charging)
{
    TVEMUL_ENTER();
    return read_battery(__func__, charging, [](const Battery &b) { return b.charging; });
}

int device_battery_get_status(device_battery_status_e *status)
{
    TVEMUL_ENTER();
    return read_battery(__func__, status, [](const Battery &b) { return b.status; });
}

int device_battery_get_level_status(device_battery_level_e *status)
{
    TVEMUL_ENTER();
    return read_battery(__func__, status, [](const Battery &b) { return b.level; });
}

int device_battery_get_health(device_battery_health_e *health)
{
    TVEMUL_ENTER();
    return read_battery(__func__, health, [](const Battery &b) { return b.health; });
}

int device_battery_get_power_source(device_battery_power_source_e *source)
{
    TVEMUL_ENTER();
    return read_battery(__func__, source, [](const Battery &b) { return b.power_source; });
}

}  // extern "C"
