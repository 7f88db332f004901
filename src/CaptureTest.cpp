// Display capture tool: one frame of the screen or a video plane into two
// raw plane files.
#include <cstdio>
#include <cstdlib>
#include <memory>

#include "IVideoCapture.h"
#include "common.h"
#include "debugmenu_host.h"
#include "menu_table.h"
#include "tavrin_debugmenu.h"

using namespace tavrin;

namespace {

const char kCaptureDir[] = "/opt/share/display-capture-service";

// Large enough for the largest size, 720 x 576.
const int kPlaneBytes = 414720;

const char *const listCaptureMode[] = {"SCR", "VID", "VID_MAIN", "VID_SUB"};

struct CaptureSize {
    int width;
    int height;
};

using Buffer = Owned<char>;

const MenuEntry kSizeEntries[] = {
    action(1, " 1 : 720 x 576\n", call<capturemode_setter, 720, 576>),
    action(2, " 2 : 720 x 540\n", call<capturemode_setter, 720, 540>),
    action(3, " 3 : 720 x 486\n", call<capturemode_setter, 720, 486>),
    action(4, " 4 : 480 x 270\n", call<capturemode_setter, 480, 270>),
};

template <cap_mode Mode>
void capture_in(void *size)
{
    const CaptureSize *s = static_cast<const CaptureSize *>(size);
    capture_display(s->width, s->height, Mode);
}

const MenuEntry kModeEntries[] = {
    action_in(1, " 1 : Capture SCREEN\n", capture_in<CAPTURE_MODE_SCREEN>),
    action_in(2, " 2 : Capture VIDEO\n", capture_in<CAPTURE_MODE_VIDEO>),
    action_in(3, " 3 : Capture VIDEO_MAIN_ONLY\n", capture_in<CAPTURE_MODE_VIDEO_MAIN_ONLY>),
    action_in(4, " 4 : Capture VIDEO_SUB_ONLY\n", capture_in<CAPTURE_MODE_VIDEO_SUB_ONLY>),
};

template <std::size_t N>
void print_capture_menu(const char *heading, const MenuEntry (&entries)[N])
{
    menu_print(1, "\n");
    menu_print(1, "%s", kBoundary);
    menu_print(1, "      [ Capture Debug Menu]   \n");
    menu_print(1, "------------------------------------\n");
    menu_print(1, "%s", heading);
    for (const MenuEntry &entry : entries)
        menu_print(1, "%s", entry.label);
    menu_print(1, "%s", kBoundary);
    menu_print(1, " 99 : Exit \n");
    menu_print(1, "%s", kBoundary);
    menu_print(1, "%s", kPrompt);
}

int run_capture(IVideoCapture *capture, cap_mode mode, VideoCaptureRequest *request, VideoCaptureResult *result)
{
    switch (mode) {
    case CAPTURE_MODE_SCREEN:
        return capture->captureScreen(request, result);
    case CAPTURE_MODE_VIDEO:
        return capture->captureVideo(request, result);
    case CAPTURE_MODE_VIDEO_MAIN_ONLY:
        return capture->captureVideoMainOnly(request, result);
    case CAPTURE_MODE_VIDEO_SUB_ONLY:
        return capture->captureVideoSubOnly(request, result);
    }
    return -1;
}

// A byte count the library reports is never trusted beyond the buffer.
int within_buffer(int32_t bytes)
{
    return bytes < 0 ? 0 : bytes > kPlaneBytes ? kPlaneBytes : bytes;
}

}  // namespace

void CaptureSizeDisplay(void)
{
    print_capture_menu(" Select Capture Size \n", kSizeEntries);
}

void CaptureModeDisplay(void)
{
    print_capture_menu(" Select Capture Mode \n", kModeEntries);
}

int capture_size_setter(void)
{
    if (!debug_or_perf_image_else_notice())
        return 0;
    run_menu(make_menu(CaptureSizeDisplay, kSizeEntries));
    return 0;
}

void capturemode_setter(int width, int height)
{
    CaptureSize size{width, height};
    run_menu(make_menu(CaptureModeDisplay, kModeEntries), &size);
}

const char* get_capture_mode_name(cap_mode mode)
{
    if (mode < CAPTURE_MODE_SCREEN || mode > CAPTURE_MODE_VIDEO_SUB_ONLY)
        return "NONE";
    return listCaptureMode[mode];
}

const char* get_color_format_name(int format)
{
    switch (format) {
    case 0:
        return "YUV420";
    case 1:
        return "YUV422";
    default:
        return "NONE";
    }
}

void capture_display(int width, int height, cap_mode mode)
{
    if (mode < CAPTURE_MODE_SCREEN || mode > CAPTURE_MODE_VIDEO_SUB_ONLY) {
        menu_print(1, "[ERROR] capture_XXX API failed!\n");
        return;
    }

    Buffer y_plane(static_cast<char *>(calloc(kPlaneBytes, 1)));
    Buffer c_plane(static_cast<char *>(calloc(kPlaneBytes, 1)));
    if (!y_plane || !c_plane) {
        menu_print(1, "[ERROR] malloc failed!\n");
        return;
    }

    IVideoCapture *capture = IVideoCapture::getInstance();
    VideoCaptureRequest request{};
    request.width = width;
    request.height = height;
    VideoCaptureResult result{};
    result.y_buffer_size = kPlaneBytes;
    result.c_buffer_size = kPlaneBytes;
    result.y_buffer = y_plane.get();
    result.c_buffer = c_plane.get();

    if (!capture || run_capture(capture, mode, &request, &result) < 0) {
        menu_print(1, "[ERROR] capture_XXX API failed!\n");
        return;
    }

    if (result.color_format == 1)
        menu_print(1, "COLOR FORMAT: YUV422");
    else if (result.color_format == 0)
        menu_print(1, "COLOR FORMAT: YUV420");
    else
        menu_print(1, "COLOR FORMAT: UNSUPPORTED");

    char base_name[255];
    snprintf(base_name, sizeof base_name, "%s/%s_%dx%d_[%s]_[%s]", kCaptureDir, "DEBUG_MENU", result.width,
             result.height, get_color_format_name(result.color_format), get_capture_mode_name(mode));
    dump_yuv(y_plane.get(), c_plane.get(), within_buffer(result.y_buffer_size), within_buffer(result.c_buffer_size),
             result.width, result.height, base_name);
}

void dump_yuv(char *y_plane, char *c_plane, int y_size, int c_size, int width, int height, const char *base_name)
{
    (void)width;
    (void)height;
    char path[300];
    snprintf(path, sizeof path, "%s.y", base_name);
    FILE *y_file = fopen(path, "wb");
    snprintf(path, sizeof path, "%s.c", base_name);
    FILE *c_file = fopen(path, "wb");

    if (y_file) {
        fwrite(y_plane, 1, y_size > 0 ? static_cast<size_t>(y_size) : 0, y_file);
        fclose(y_file);
    } else {
        menu_print(1, "[ERROR] Fail to open file :: Y\n");
    }
    if (c_file) {
        fwrite(c_plane, 1, c_size > 0 ? static_cast<size_t>(c_size) : 0, c_file);
        fclose(c_file);
    } else {
        menu_print(1, "[ERROR] Fail to open file :: C\n");
    }
    menu_print(1, "[CAPTURED] File saved to %s\n", kCaptureDir);
}
