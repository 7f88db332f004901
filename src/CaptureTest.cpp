// Display capture tool.
#include "tavrin_debugmenu.h"

int capture_size_setter(void) { return 0; }
