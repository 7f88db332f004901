// Device power tool: power states, locks, power-off and reboot requests,
// wakeup reasons, ambient modes, backlight, panel and OLED functions.
#ifndef TAVRIN_DEVICED_H
#define TAVRIN_DEVICED_H

#include "tavrin/export.h"

TAVRIN_EXPORT int dlog_menu_deviced(void);

// Power state.
TAVRIN_EXPORT int deviced_picture_off(void);
TAVRIN_EXPORT int deviced_change_to_normal_state(void);
TAVRIN_EXPORT int deviced_change_to_background_standby_state(void);
TAVRIN_EXPORT int deviced_get_current_power_state(void);
TAVRIN_EXPORT int deviced_lock_power_state(void);
TAVRIN_EXPORT int deviced_unlock_power_state(void);
TAVRIN_EXPORT int deviced_request_poweroff_to_suspend(void);
TAVRIN_EXPORT void deviced_suspend_resume_with_wakeup_reason(void);
TAVRIN_EXPORT int deviced_request_direct_lpm(void);
TAVRIN_EXPORT int deviced_request_poweroff_to_cold_standby(void);
TAVRIN_EXPORT int deviced_request_reboot(void);

// Wakeup reason.
TAVRIN_EXPORT int deviced_set_wakeup_reason(void);
TAVRIN_EXPORT int deviced_get_wakeup_reason(void);

// Ambient mode.
TAVRIN_EXPORT void change_result_cb(int result, void *user_data);
TAVRIN_EXPORT int deviced_change_ambient_mode_to_off(void);
TAVRIN_EXPORT int deviced_change_ambient_mode_to_fullpower(void);
TAVRIN_EXPORT int deviced_change_ambient_mode_to_lowpower(void);
TAVRIN_EXPORT int deviced_change_ambient_mode_to_suspend(void);
TAVRIN_EXPORT int deviced_change_ambient_mode_to_off_async(void);
TAVRIN_EXPORT int deviced_change_ambient_mode_to_fullpower_async(void);
TAVRIN_EXPORT int deviced_change_ambient_mode_to_lowpower_async(void);
TAVRIN_EXPORT int deviced_change_ambient_mode_to_suspend_async(void);
TAVRIN_EXPORT int deviced_get_current_ambient_mode(void);
TAVRIN_EXPORT int deviced_set_ambient_mode_type(void);
TAVRIN_EXPORT int deviced_unset_ambient_mode_type(void);
TAVRIN_EXPORT int deviced_get_ambient_mode_type(void);
TAVRIN_EXPORT int deviced_request_ambient_poweroff(void);

// Timing settings kept by the device daemon.
TAVRIN_EXPORT int deviced_set_last_ew_mode_execution_time(void);
TAVRIN_EXPORT int deviced_get_last_ew_execution_time(void);
TAVRIN_EXPORT int deviced_set_panel_display_time(void);
TAVRIN_EXPORT int deviced_get_panel_display_time(void);
TAVRIN_EXPORT int deviced_set_off_sensing_time(void);
TAVRIN_EXPORT int deviced_get_off_sensing_time(void);
TAVRIN_EXPORT int deviced_set_el_sensing_time(void);
TAVRIN_EXPORT int deviced_get_el_sensing_time(void);

// Backlight, panel and OLED.
TAVRIN_EXPORT int deviced_backlight_on(void);
TAVRIN_EXPORT int deviced_backlight_off(void);
TAVRIN_EXPORT int deviced_request_off_sensing(void);
TAVRIN_EXPORT int deviced_get_QD_display_state(void);
TAVRIN_EXPORT int deviced_request_el_sensing(void);
TAVRIN_EXPORT int deviced_burn_in_protection_in_progress(void);

#endif
