// Functions exported by the TAVRIN debug-menu plug-in.
#ifndef TAVRIN_DEBUGMENU_H
#define TAVRIN_DEBUGMENU_H

#include "tavrin/export.h"

extern "C" TAVRIN_EXPORT int tavrin_startmaindebug(void);

// Menu rendering and the exit word.
TAVRIN_EXPORT void TAVRIN_print_menu_title(const char *title);
TAVRIN_EXPORT void TAVRIN_print_menu_index(int number, const char *label);
TAVRIN_EXPORT void TAVRIN_print_boundary(void);
TAVRIN_EXPORT void TAVRIN_print_exit_title(void);
TAVRIN_EXPORT int is_exit(const char *text);

// Log-tag menus.
TAVRIN_EXPORT int dlog_menu_factory(void);
TAVRIN_EXPORT int dlog_menu_kelo(void);
TAVRIN_EXPORT int dlog_menu_x_video(void);
TAVRIN_EXPORT int dlog_menu_resource_manager(void);
TAVRIN_EXPORT int dlog_menu_resource_information(void);
TAVRIN_EXPORT int dlog_menu_runtime_info(void);
TAVRIN_EXPORT int dlog_menu_system_info(void);
TAVRIN_EXPORT int dlog_menu_system_settings(void);
TAVRIN_EXPORT int dlog_menu_automation(void);
TAVRIN_EXPORT int dlog_menu_factory_data(void);
TAVRIN_EXPORT int dlog_menu_capture(void);
TAVRIN_EXPORT int dlog_menu_feature_config(void);
TAVRIN_EXPORT int dlog_menu_libguv(void);

#include "tavrin/buxton.h"
#include "tavrin/vconf_tool.h"
#include "tavrin/feature_config.h"
#include "tavrin/storaged.h"
#include "tavrin/deviced.h"
#include "tavrin/usb.h"
#include "tavrin/battery.h"
#include "tavrin/resource_manager.h"
#include "tavrin/capture.h"
#include "tavrin/factory.h"

#endif
