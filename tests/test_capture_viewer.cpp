// yuv2png: the emulator's captured frame rendered to a PNG and read back,
// and colours from hand-made planes.
#include <gtest/gtest.h>
#include <glib.h>
#include <png.h>

#include <sys/wait.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <vector>

#include "harness.h"

using harness::DeviceRoot;

namespace {

struct Image {
    int width = 0;
    int height = 0;
    std::vector<unsigned char> rgb;

    const unsigned char *at(int x, int y) const { return &rgb[(static_cast<size_t>(y) * width + x) * 3]; }
};

bool read_png(const std::string &path, Image *image)
{
    png_image png;
    memset(&png, 0, sizeof png);
    png.version = PNG_IMAGE_VERSION;
    if (!png_image_begin_read_from_file(&png, path.c_str()))
        return false;
    png.format = PNG_FORMAT_RGB;
    image->width = static_cast<int>(png.width);
    image->height = static_cast<int>(png.height);
    image->rgb.resize(PNG_IMAGE_SIZE(png));
    return png_image_finish_read(&png, nullptr, image->rgb.data(), 0, nullptr) != 0;
}

std::string viewer() { return harness::binary_dir() + "/yuv2png"; }

TEST(CaptureViewer, RendersTheEmulatorsFrame)
{
    DeviceRoot root;
    for (const char *format : {"0", "1"}) {
        SCOPED_TRACE(format);
        root.set_state("capture", "color_format", format);
        root.run("17\n3\n1\n1\n99\n99\n99\n99\n");
        const std::string name = std::string("/opt/share/display-capture-service/DEBUG_MENU_720x576_[") +
                                 (format[0] == '0' ? "YUV420" : "YUV422") + "]_[SCR]";
        harness::RunResult r = root.run_command({viewer(), name + ".y"});
        ASSERT_EQ(r.status, 0) << r.err;
        EXPECT_EQ(r.err, "");

        Image image;
        ASSERT_TRUE(read_png(root.host_path(name + ".png"), &image));
        ASSERT_EQ(image.width, 720);
        ASSERT_EQ(image.height, 576);
        // A grey ramp from black on the left to white on the right, every
        // row alike.
        for (int y : {0, 287, 575}) {
            for (int x = 0; x < 720; ++x) {
                const unsigned char *p = image.at(x, y);
                const int luma = x * 255 / 719;
                ASSERT_EQ(p[0], luma) << x << "," << y;
                ASSERT_EQ(p[1], luma) << x << "," << y;
                ASSERT_EQ(p[2], luma) << x << "," << y;
            }
        }
    }
}

class HandMadePlanes : public ::testing::Test {
protected:
    void SetUp() override
    {
        gchar *dir = g_dir_make_tmp("yuv2png-XXXXXX", nullptr);
        ASSERT_NE(dir, nullptr);
        dir_ = dir;
        g_free(dir);
    }
    void TearDown() override { EXPECT_EQ(system(("rm -rf '" + dir_ + "'").c_str()), 0); }

    std::string write_planes(const std::string &name, const std::string &y, const std::string &c)
    {
        const std::string base = dir_ + "/" + name;
        std::ofstream(base + ".y", std::ios::binary) << y;
        std::ofstream(base + ".c", std::ios::binary) << c;
        return base;
    }

    int run(const std::string &args, std::string *err = nullptr)
    {
        const std::string err_file = dir_ + "/err";
        // Through the build's launcher: a cross build's viewer runs emulated.
        const std::string cmd = "'" + harness::binary_dir() + "/launcher' '" + viewer() + "' " + args + " 2>'" +
                                err_file + "' >/dev/null";
        int status = system(cmd.c_str());
        if (err) {
            std::ifstream in(err_file);
            err->assign(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
        }
        return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }

    std::string dir_;
};

void expect_rgb(const Image &image, int x, int y, int r, int g, int b)
{
    const unsigned char *p = image.at(x, y);
    EXPECT_NEAR(p[0], r, 1) << x << "," << y;
    EXPECT_NEAR(p[1], g, 1) << x << "," << y;
    EXPECT_NEAR(p[2], b, 1) << x << "," << y;
}

TEST_F(HandMadePlanes, ChromaPairsColourTheirTwoColumns)
{
    // 4 x 2, YUV420: one chroma row; red on the left pair, blue on the right.
    const std::string y = {76, 76, 29, 29, 76, 76, 29, 29};
    const std::string c = {85, static_cast<char>(255), static_cast<char>(255), 107};
    const std::string base = write_planes("DEBUG_MENU_4x2_[YUV420]_[VID]", y, c);
    ASSERT_EQ(run("'" + base + ".c'"), 0);
    Image image;
    ASSERT_TRUE(read_png(base + ".png", &image));
    for (int row : {0, 1}) {
        expect_rgb(image, 0, row, 254, 0, 0);
        expect_rgb(image, 1, row, 254, 0, 0);
        expect_rgb(image, 2, row, 0, 0, 254);
        expect_rgb(image, 3, row, 0, 0, 254);
    }

    // YUV422 keeps a chroma row per row; --limited stretches 16-235.
    const std::string y2 = {16, 16, static_cast<char>(235), static_cast<char>(235)};
    const std::string c2 = {static_cast<char>(128), static_cast<char>(128), static_cast<char>(128),
                            static_cast<char>(128)};
    const std::string base2 = write_planes("DEBUG_MENU_2x2_[YUV422]_[SCR]", y2, c2);
    ASSERT_EQ(run("--limited '" + base2 + "' '" + dir_ + "/out.png'"), 0);
    ASSERT_TRUE(read_png(dir_ + "/out.png", &image));
    expect_rgb(image, 0, 0, 0, 0, 0);
    expect_rgb(image, 1, 1, 255, 255, 255);
}

TEST_F(HandMadePlanes, BadInputIsOneLineAndStatusOne)
{
    std::string err;
    const std::string gray(8, 'x');
    for (const std::string &base : {write_planes("no_size", gray, gray),
                                    write_planes("DEBUG_MENU_4x2_[NONE]_[SCR]", gray, gray),
                                    write_planes("DEBUG_MENU_4x2_[YUV420]_[SCR]", gray, "xx"),
                                    dir_ + "/DEBUG_MENU_4x2_[YUV420]_[missing]"}) {
        SCOPED_TRACE(base);
        EXPECT_EQ(run("'" + base + ".y'", &err), 1);
        EXPECT_EQ(std::count(err.begin(), err.end(), '\n'), 1) << err;
        EXPECT_EQ(err.rfind("yuv2png: ", 0), 0u) << err;
    }
    EXPECT_EQ(run("", &err), 1);
    EXPECT_NE(err.find("usage"), std::string::npos);
}

}  // namespace
