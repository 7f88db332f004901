// vconf key tool: single keys of the vconf store and key listings.
#ifndef TAVRIN_VCONF_TOOL_H
#define TAVRIN_VCONF_TOOL_H

#include "tavrin/export.h"

TAVRIN_EXPORT int dlog_menu_vconf(void);

TAVRIN_EXPORT int vconf_test_set_int(void);
TAVRIN_EXPORT int vconf_test_set_bool(void);
TAVRIN_EXPORT int vconf_test_set_str(void);
TAVRIN_EXPORT int vconf_test_get_int(void);
TAVRIN_EXPORT int vconf_test_get_bool(void);
TAVRIN_EXPORT int vconf_test_get_str(void);
// Lists the keys under a prefix with their current values.
TAVRIN_EXPORT int vconf_test_get(void);

#endif
