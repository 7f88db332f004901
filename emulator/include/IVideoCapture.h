// Video capture: one frame of the screen or of a video plane, copied into
// plane buffers that the caller provides.
#ifndef IVIDEOCAPTURE_H
#define IVIDEOCAPTURE_H

#include <cstddef>
#include <cstdint>

// What to capture. Fields the caller does not need stay zero.
struct VideoCaptureRequest {
    int32_t version;
    int32_t plane;
    int32_t crop_x;
    int32_t crop_y;
    int32_t width;        // size of the frame wanted
    int32_t height;
    int32_t crop_width;   // 0: the whole plane
    int32_t crop_height;
    int32_t flags;
};

// The captured frame. y_buffer_size and c_buffer_size hold the buffers'
// capacities on entry and the bytes written on return.
struct VideoCaptureResult {
    int32_t status;
    int32_t plane;
    int32_t color_format;  // 0 YUV420, 1 YUV422
    int32_t bit_depth;
    int32_t source_width;
    int32_t source_height;
    int32_t frame_rate;
    int32_t scan_type;
    int32_t aspect_ratio;
    int32_t rotation;
    int32_t y_buffer_size;
    int32_t c_buffer_size;
    char *y_buffer;
    char *c_buffer;
    int32_t width;         // size of the captured frame
    int32_t height;
    int32_t y_stride;
    int32_t c_stride;
    int32_t reserved;
};

// Nine and nineteen 32-bit fields on the TV. On a 64-bit build the two
// buffer addresses take 8 bytes each, so everything from y_buffer on lies
// further back and the result record is 88 bytes.
static_assert(sizeof(VideoCaptureRequest) == 9 * 4, "nine 32-bit fields");
static_assert(offsetof(VideoCaptureRequest, width) == 4 * 4, "width is field 5");
static_assert(offsetof(VideoCaptureResult, color_format) == 2 * 4, "colour format is field 3");
static_assert(offsetof(VideoCaptureResult, y_buffer_size) == 10 * 4, "Y size is field 11");
static_assert(offsetof(VideoCaptureResult, y_buffer) == 12 * 4, "Y buffer is field 13");
#if UINTPTR_MAX == 0xffffffffu
static_assert(sizeof(VideoCaptureResult) == 19 * 4, "nineteen 32-bit fields");
static_assert(offsetof(VideoCaptureResult, c_buffer) == 13 * 4, "C buffer is field 14");
static_assert(offsetof(VideoCaptureResult, width) == 14 * 4, "width is field 15");
static_assert(offsetof(VideoCaptureResult, height) == 15 * 4, "height is field 16");
#endif

// The capture library's object; getInstance() gives the one instance, which
// belongs to the library. Every capture returns a negative value on failure.
class IVideoCapture {
public:
    static IVideoCapture *getInstance();

    virtual int captureScreen(VideoCaptureRequest *request, VideoCaptureResult *result) = 0;
    virtual int captureVideo(VideoCaptureRequest *request, VideoCaptureResult *result) = 0;
    virtual int captureVideoAndScreen(VideoCaptureRequest *request, VideoCaptureResult *result) = 0;
    virtual int captureVideoMainOnly(VideoCaptureRequest *request, VideoCaptureResult *result) = 0;
    virtual int captureVideoMainScaled(VideoCaptureRequest *request, VideoCaptureResult *result) = 0;
    virtual int captureVideoSubOnly(VideoCaptureRequest *request, VideoCaptureResult *result) = 0;

protected:
    IVideoCapture() = default;
    ~IVideoCapture() = default;
};

#endif
