// Battery readings and feedback patterns.
#ifndef TAVRIN_BATTERY_H
#define TAVRIN_BATTERY_H

#include "tavrin/export.h"

TAVRIN_EXPORT int dlog_menu_battery(void);
TAVRIN_EXPORT void dlog_menu_feedback(void);

TAVRIN_EXPORT int battery_get_percent(void);
TAVRIN_EXPORT int battery_get_status(void);
TAVRIN_EXPORT int battery_is_charging(void);
TAVRIN_EXPORT int battery_get_level_status(void);
TAVRIN_EXPORT int battery_get_health(void);
TAVRIN_EXPORT int battery_get_power_source(void);

#endif
