// Display capture tool.
#ifndef TAVRIN_CAPTURE_H
#define TAVRIN_CAPTURE_H

#include "tavrin/export.h"

// Any int is a cap_mode, so that a caller's stray value can be refused.
enum cap_mode : int {
    CAPTURE_MODE_SCREEN = 0,
    CAPTURE_MODE_VIDEO = 1,
    CAPTURE_MODE_VIDEO_MAIN_ONLY = 2,
    CAPTURE_MODE_VIDEO_SUB_ONLY = 3,
};

TAVRIN_EXPORT int capture_size_setter(void);
TAVRIN_EXPORT void CaptureSizeDisplay(void);
TAVRIN_EXPORT void CaptureModeDisplay(void);
TAVRIN_EXPORT void capturemode_setter(int width, int height);
TAVRIN_EXPORT void capture_display(int width, int height, cap_mode mode);
TAVRIN_EXPORT const char* get_capture_mode_name(cap_mode mode);
TAVRIN_EXPORT const char* get_color_format_name(int format);
TAVRIN_EXPORT void dump_yuv(char *y_plane, char *c_plane, int y_size, int c_size, int width, int height,
                            const char *base_name);

#endif
