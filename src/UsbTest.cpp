// USB device inspection.
#include "tavrin_debugmenu.h"

int dlog_menu_usb(void) { return 99; }
