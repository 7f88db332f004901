// Factory test loop.
#include "tavrin_debugmenu.h"

void FactoryDebuger(void) {}
