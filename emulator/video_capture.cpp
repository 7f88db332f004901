// Video capture stand-in: a synthetic frame of the size in [capture] (the
// requested one by default), a horizontal luma ramp on grey chroma.
#include <cstring>

#include "IVideoCapture.h"
#include "tvemul.h"

namespace {

const char kTag[] = "DCAPTURE";

// The requested size, as calls.log writes it.
tvemul::Args requested(const VideoCaptureRequest *request)
{
    return request ? tvemul::Args(request->width, request->height) : tvemul::Args(request);
}

int capture(const char *function, VideoCaptureRequest *request, VideoCaptureResult *result)
{
    if (!request || !result || !result->y_buffer || !result->c_buffer)
        return -1;

    tvemul::KeyFile kf = tvemul::load_state();
    const long long format = tvemul::get_int(kf.get(), "capture", "color_format", 0);
    const long long width = tvemul::get_int(kf.get(), "capture", "width", request->width);
    const long long height = tvemul::get_int(kf.get(), "capture", "height", request->height);
    const long long y_size = tvemul::get_int(kf.get(), "capture", "y_size", width * height);
    const long long c_size = tvemul::get_int(kf.get(), "capture", "c_size", format == 0 ? y_size / 2 : y_size);
    if (width <= 0 || height <= 0 || y_size < 0 || c_size < 0) {
        tvemul::log(kTag, "%s: no frame of %lldx%lld", function, width, height);
        return -1;
    }
    // A frame that does not fit is refused rather than written past the
    // caller's buffers.
    if (y_size > result->y_buffer_size || c_size > result->c_buffer_size) {
        tvemul::log(kTag, "%s: frame needs %lld + %lld bytes, buffers hold %d + %d", function, y_size, c_size,
                    result->y_buffer_size, result->c_buffer_size);
        return -1;
    }

    for (long long i = 0; i < y_size; ++i) {
        const long long x = i % width;
        result->y_buffer[i] = static_cast<char>(width > 1 ? x * 255 / (width - 1) : 0);
    }
    memset(result->c_buffer, 128, static_cast<size_t>(c_size));

    result->color_format = static_cast<int32_t>(format);
    result->width = static_cast<int32_t>(width);
    result->height = static_cast<int32_t>(height);
    result->y_buffer_size = static_cast<int32_t>(y_size);
    result->c_buffer_size = static_cast<int32_t>(c_size);
    result->y_stride = static_cast<int32_t>(width);
    result->c_stride = static_cast<int32_t>(width);
    tvemul::log(kTag, "%s: %lldx%lld format %lld, Y %lld bytes, C %lld bytes", function, width, height, format,
                y_size, c_size);
    return 0;
}

// The operations under the names that calls.log and [fail] use for them.
#define CAPTURE_OPERATION(name)                                 \
    int name(VideoCaptureRequest *rq, VideoCaptureResult *rs)   \
    {                                                           \
        TVEMUL_ENTER(requested(rq));                            \
        return capture(__func__, rq, rs);                       \
    }
CAPTURE_OPERATION(capture_screen)
CAPTURE_OPERATION(capture_video)
CAPTURE_OPERATION(capture_video_and_screen)
CAPTURE_OPERATION(capture_video_main)
CAPTURE_OPERATION(capture_video_main_scaled)
CAPTURE_OPERATION(capture_video_sub)

class EmulatedVideoCapture final : public IVideoCapture {
public:
    int captureScreen(VideoCaptureRequest *rq, VideoCaptureResult *rs) override { return capture_screen(rq, rs); }
    int captureVideo(VideoCaptureRequest *rq, VideoCaptureResult *rs) override { return capture_video(rq, rs); }
    int captureVideoAndScreen(VideoCaptureRequest *rq, VideoCaptureResult *rs) override
    {
        return capture_video_and_screen(rq, rs);
    }
    int captureVideoMainOnly(VideoCaptureRequest *rq, VideoCaptureResult *rs) override
    {
        return capture_video_main(rq, rs);
    }
    int captureVideoMainScaled(VideoCaptureRequest *rq, VideoCaptureResult *rs) override
    {
        return capture_video_main_scaled(rq, rs);
    }
    int captureVideoSubOnly(VideoCaptureRequest *rq, VideoCaptureResult *rs) override
    {
        return capture_video_sub(rq, rs);
    }
};

}  // namespace

// Handing out the library's object asks nothing of the TV, so it is not
// written to calls.log; [fail] can still withhold it.
IVideoCapture *IVideoCapture::getInstance()
{
    TVEMUL_FAILABLE_MEMBER(IVideoCapture);
    static EmulatedVideoCapture instance;
    return &instance;
}
