// Device API: power states, locks, power-off and reboot requests, wakeup
// reasons and ambient modes.
#ifndef DEVICE_POWER_H
#define DEVICE_POWER_H

#ifdef __cplusplus
extern "C" {
#endif

// Delivers the result of an asynchronous ambient mode change.
typedef void (*device_power_ambient_change_cb)(int result, void *user_data);

// Power states: 0 normal, 1 picture off, 2 background standby.
int device_power_set_state(int state, int flag);
int device_power_get_state(void);  // the state, negative on failure

int device_power_lock_state(int state, int timeout_ms);
int device_power_unlock_state(int state);

// Request words: the kind in the high bits, a power-off reason in the low.
int device_power_request_poweroff(int request);
int device_power_request_reboot(int request);

int device_power_set_wakeup_reason(int reason);
int device_power_get_wakeup_reason(void);
int device_power_set_direct_lpm_entry_mode(int wakeup_reason);

// Ambient modes: 0 off, 1 full power, 2 low power, 3 suspend.
int device_power_set_ambient_mode(int mode);
int device_power_request_ambient_mode_change(int mode, device_power_ambient_change_cb callback,
                                             void *user_data);
int device_power_get_ambient_mode(void);  // the mode, negative on failure

int device_power_set_ambient_mode_type(int type);
int device_power_unset_ambient_mode_type(int type);
int device_power_get_ambient_type(void);  // the type, negative on failure
int device_power_request_ambient_poweroff(void);

#ifdef __cplusplus
}
#endif

#endif
