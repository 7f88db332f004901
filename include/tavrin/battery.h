// Battery readings and feedback patterns.
#ifndef TAVRIN_BATTERY_H
#define TAVRIN_BATTERY_H

TAVRIN_EXPORT int dlog_menu_battery(void);
TAVRIN_EXPORT int dlog_menu_feedback(void);

#endif
