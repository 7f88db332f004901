// Battery part of the device API.
#ifndef DEVICE_BATTERY_H
#define DEVICE_BATTERY_H

#include <stdbool.h>

#include "device/error.h"

#ifdef __cplusplus
extern "C" {
#endif

typedef enum {
    DEVICE_BATTERY_STATUS_CHARGING = 0,
    DEVICE_BATTERY_STATUS_DISCHARGING = 1,
    DEVICE_BATTERY_STATUS_FULL = 2,
    DEVICE_BATTERY_STATUS_NOT_CHARGING = 3,
} device_battery_status_e;

typedef enum {
    DEVICE_BATTERY_LEVEL_EMPTY = 0,
    DEVICE_BATTERY_LEVEL_CRITICAL = 1,
    DEVICE_BATTERY_LEVEL_LOW = 2,
    DEVICE_BATTERY_LEVEL_HIGH = 3,
    DEVICE_BATTERY_LEVEL_FULL = 4,
} device_battery_level_e;

typedef enum {
    DEVICE_BATTERY_HEALTH_GOOD = 0,
    DEVICE_BATTERY_HEALTH_COLD = 1,
    DEVICE_BATTERY_HEALTH_DEAD = 2,
    DEVICE_BATTERY_HEALTH_OVER_HEAT = 3,
    DEVICE_BATTERY_HEALTH_OVER_VOLTAGE = 4,
} device_battery_health_e;

typedef enum {
    DEVICE_BATTERY_POWER_SOURCE_NONE = 0,
    DEVICE_BATTERY_POWER_SOURCE_AC = 1,
    DEVICE_BATTERY_POWER_SOURCE_USB = 2,
    DEVICE_BATTERY_POWER_SOURCE_WIRELESS = 3,
} device_battery_power_source_e;

// Each read returns DEVICE_ERROR_NONE and writes its value, or an error
// code and writes nothing; DEVICE_ERROR_NOT_SUPPORTED without a battery.
// A device may report values that these enumerations do not name.
int device_battery_get_percent(int *percent);
int device_battery_is_charging(bool *charging);
int device_battery_get_status(device_battery_status_e *status);
int device_battery_get_level_status(device_battery_level_e *status);
int device_battery_get_health(device_battery_health_e *health);
int device_battery_get_power_source(device_battery_power_source_e *source);

#ifdef __cplusplus
}
#endif

#endif
