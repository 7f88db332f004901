// Buxton database tool and vconf key tool.
#include "tavrin_debugmenu.h"

int dlog_menu_buxton(void) { return 99; }

int dlog_menu_vconf(void) { return 99; }
