// Device power tool.
#include "tavrin_debugmenu.h"

int dlog_menu_deviced(void) { return 99; }
