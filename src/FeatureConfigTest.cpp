// Feature-config tool.
#include "tavrin_debugmenu.h"

int feature_config_test(void) { return 99; }
