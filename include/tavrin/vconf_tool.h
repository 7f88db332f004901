// vconf key tool.
#ifndef TAVRIN_VCONF_TOOL_H
#define TAVRIN_VCONF_TOOL_H

TAVRIN_EXPORT int dlog_menu_vconf(void);

#endif
