// Battery readings and feedback patterns.
#include "tavrin_debugmenu.h"

int dlog_menu_battery(void) { return 99; }

int dlog_menu_feedback(void) { return 99; }
