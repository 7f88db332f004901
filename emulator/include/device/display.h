// Device API: the screen's backlight.
#ifndef DEVICE_DISPLAY_H
#define DEVICE_DISPLAY_H

#ifdef __cplusplus
extern "C" {
#endif

// 0 off, 1 on.
int device_set_screen_state(int state);

#ifdef __cplusplus
}
#endif

#endif
