// yuv2png [--limited] PLANE [OUTPUT]
//
// Turns the two raw plane files of a capture into a PNG. PLANE is the .y or
// the .c file, or their common base name; the size and the colour format
// come from the name, as the capture tool writes it:
//   DEBUG_MENU_720x576_[YUV420]_[SCR].y   luma, one byte per pixel
//   DEBUG_MENU_720x576_[YUV420]_[SCR].c   chroma, Cb and Cr interleaved, for
//                                         every second row (YUV420) or every row (YUV422)
// OUTPUT defaults to the base name with ".png". Colours are BT.601, full
// range; --limited reads studio-swing video (16-235) instead.
#include <png.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

namespace {

struct Frame {
    int width = 0;
    int height = 0;
    bool yuv422 = false;
};

int fail(const std::string &message)
{
    fprintf(stderr, "yuv2png: %s\n", message.c_str());
    return 1;
}

std::string base_of(const std::string &path)
{
    for (const char *ext : {".y", ".c"}) {
        const size_t n = strlen(ext);
        if (path.size() > n && path.compare(path.size() - n, n, ext) == 0)
            return path.substr(0, path.size() - n);
    }
    return path;
}

// Finds "_WIDTHxHEIGHT_[FORMAT]" in the file name.
bool frame_of(const std::string &base, Frame *frame, std::string *error)
{
    const size_t slash = base.rfind('/');
    const std::string name = base.substr(slash == std::string::npos ? 0 : slash + 1);
    std::string format;
    bool found = false;
    for (size_t at = name.find('_'); at != std::string::npos && !found; at = name.find('_', at + 1)) {
        int width = 0, height = 0, used = 0;
        char word[16] = "";
        if (sscanf(name.c_str() + at, "_%5dx%5d_[%15[A-Z0-9]]%n", &width, &height, word, &used) == 3 && used > 0) {
            frame->width = width;
            frame->height = height;
            format = word;
            found = true;
        }
    }
    if (!found) {
        *error = name + ": no _WIDTHxHEIGHT_[FORMAT] in the name";
        return false;
    }
    if (frame->width <= 0 || frame->height <= 0) {
        *error = name + ": empty frame";
        return false;
    }
    if (format == "YUV420") {
        frame->yuv422 = false;
    } else if (format == "YUV422") {
        frame->yuv422 = true;
    } else {
        *error = name + ": colour format " + format + " cannot be shown";
        return false;
    }
    return true;
}

bool read_file(const std::string &path, std::vector<unsigned char> *data)
{
    std::ifstream in(path, std::ios::binary);
    if (!in)
        return false;
    data->assign(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
    return !in.bad();
}

// Bytes per row of a plane of ROWS rows that holds at least WIDTH bytes a
// row: the capture may pad its rows.
bool stride_of(size_t bytes, int width, int rows, size_t *stride)
{
    *stride = bytes / static_cast<size_t>(rows);
    return *stride >= static_cast<size_t>(width) && *stride * static_cast<size_t>(rows) == bytes;
}

unsigned char clamp(double v)
{
    return static_cast<unsigned char>(v < 0 ? 0 : v > 255 ? 255 : v + 0.5);
}

// BT.601, full range or (LIMITED) 16-235 video; each chroma pair covers two
// columns.
std::vector<unsigned char> to_rgb(const Frame &frame, const std::vector<unsigned char> &luma, size_t y_stride,
                                  const std::vector<unsigned char> &chroma, size_t c_stride, bool limited)
{
    const double y_scale = limited ? 255.0 / 219.0 : 1.0;
    const double y_offset = limited ? 16.0 : 0.0;
    const double c_scale = limited ? 255.0 / 224.0 : 1.0;

    std::vector<unsigned char> rgb(static_cast<size_t>(frame.width) * static_cast<size_t>(frame.height) * 3);
    for (int row = 0; row < frame.height; ++row) {
        const unsigned char *y_row = &luma[static_cast<size_t>(row) * y_stride];
        const int c_row_index = frame.yuv422 ? row : row / 2;
        const unsigned char *c_row = &chroma[static_cast<size_t>(c_row_index) * c_stride];
        unsigned char *out = &rgb[static_cast<size_t>(row) * static_cast<size_t>(frame.width) * 3];
        for (int x = 0; x < frame.width; ++x) {
            const double y = (y_row[x] - y_offset) * y_scale;
            const double cb = (c_row[x & ~1] - 128.0) * c_scale;
            const double cr = (c_row[(x & ~1) + 1] - 128.0) * c_scale;
            out[3 * x] = clamp(y + 1.402 * cr);
            out[3 * x + 1] = clamp(y - 0.344136 * cb - 0.714136 * cr);
            out[3 * x + 2] = clamp(y + 1.772 * cb);
        }
    }

    return rgb;
}

}  // namespace

int main(int argc, char **argv)
{
    bool limited = false;
    std::vector<std::string> args;
    for (int i = 1; i < argc; ++i) {
        if (!strcmp(argv[i], "--limited"))
            limited = true;
        else
            args.emplace_back(argv[i]);
    }
    if (args.empty() || args.size() > 2)
        return fail("usage: yuv2png [--limited] PLANE [OUTPUT]");

    const std::string base = base_of(args[0]);
    const std::string output = args.size() > 1 ? args[1] : base + ".png";
    Frame frame;
    std::string error;
    if (!frame_of(base, &frame, &error))
        return fail(error);

    std::vector<unsigned char> luma, chroma;
    if (!read_file(base + ".y", &luma))
        return fail("cannot read " + base + ".y: " + strerror(errno));
    if (!read_file(base + ".c", &chroma))
        return fail("cannot read " + base + ".c: " + strerror(errno));

    const int chroma_rows = frame.yuv422 ? frame.height : (frame.height + 1) / 2;
    // Cb and Cr pairs cover an odd last column too.
    const int chroma_width = (frame.width + 1) / 2 * 2;
    size_t y_stride, c_stride;
    if (!stride_of(luma.size(), frame.width, frame.height, &y_stride))
        return fail(base + ".y: " + std::to_string(luma.size()) + " bytes do not make " +
                    std::to_string(frame.height) + " rows of " + std::to_string(frame.width));
    if (!stride_of(chroma.size(), chroma_width, chroma_rows, &c_stride))
        return fail(base + ".c: " + std::to_string(chroma.size()) + " bytes do not make " +
                    std::to_string(chroma_rows) + " rows of " + std::to_string(chroma_width));

    const std::vector<unsigned char> rgb = to_rgb(frame, luma, y_stride, chroma, c_stride, limited);
    png_image image;
    memset(&image, 0, sizeof image);
    image.version = PNG_IMAGE_VERSION;
    image.width = static_cast<png_uint_32>(frame.width);
    image.height = static_cast<png_uint_32>(frame.height);
    image.format = PNG_FORMAT_RGB;
    if (!png_image_write_to_file(&image, output.c_str(), 0, rgb.data(), 0, nullptr))
        return fail("cannot write " + output + ": " + image.message);
    printf("%s: %dx%d %s\n", output.c_str(), frame.width, frame.height, frame.yuv422 ? "YUV422" : "YUV420");
    return 0;
}
