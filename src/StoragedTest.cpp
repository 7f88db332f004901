// Storage daemon tool.
#include "tavrin_debugmenu.h"

int dlog_menu_storaged(void) { return 99; }
