// The capture tool through the real host: its two menus, every size and
// mode, plane files named after the frame the platform reports, failures;
// its names in the process; and the plane viewer on the files it wrote.
#include <gtest/gtest.h>
#include <png.h>

#include <regex>

#include "harness.h"
#include "tavrin_debugmenu.h"

namespace {

const std::string kDir = "/opt/share/display-capture-service";
const std::string kSaved = "[CAPTURED] File saved to " + kDir + "\n";
const std::string kFailed = "[ERROR] capture_XXX API failed!\n";

TEST(Capture, EverySizeAndModeMakeTheirCallAndTheirFiles)
{
    const std::string modes = harness::menu_text("17\n3\n1");
    // Both menus are frames of 13 lines, the four entries numbered on lines 6 to 9.
    const std::regex entries("\n 1 : .+\n 2 : .+\n 3 : .+\n 4 : .+\n=+\n");
    for (const std::string &menu : {harness::menu_text("17\n3"), modes})
        EXPECT_TRUE(harness::lines(menu).size() == 13 && std::regex_search(menu, entries)) << menu;
    harness::DeviceRoot root;
    root.set_state("capture", "y_size", "0");
    root.set_state("capture", "c_size", "1");
    for (const std::string &out :
         harness::in_menu(root, "17\n3", {"1\n1\n99\n", "2\n2\n99\n", "3\n3\n99\n", "4\n4\n99\n"}).actions)
        EXPECT_EQ(out, modes + "COLOR FORMAT: YUV420" + kSaved + modes);
    EXPECT_EQ(root.calls_log(),
              "capture_screen 720 576\ncapture_video 720 540\ncapture_video_main 720 486\ncapture_video_sub 480 270\n");
    // Planes of the sizes reported, none and one byte of grey.
    for (const char *frame : {"720x576_[YUV420]_[SCR]", "720x540_[YUV420]_[VID]", "720x486_[YUV420]_[VID_MAIN]",
                              "480x270_[YUV420]_[VID_SUB]"}) {
        const std::string base = kDir + "/DEBUG_MENU_" + frame;
        EXPECT_TRUE(root.exists(base + ".y") && root.read(base + ".y") + root.read(base + ".c") == "\x80") << frame;
    }
}

TEST(Capture, FilesFollowTheReportedFrameAndTheViewerShowsThem)
{
    harness::DeviceRoot root;
    const std::string name = kDir + "/DEBUG_MENU_704x480_[";
    root.set_state("capture", "width", "704");
    root.set_state("capture", "height", "480");
    const std::string formats[][2] = {{"YUV420", "YUV420"}, {"YUV422", "YUV422"}, {"UNSUPPORTED", "NONE"}};
    for (const int format : {2, 1, 0}) {
        root.set_state("capture", "color_format", std::to_string(format));
        EXPECT_EQ(harness::in_menu(root, "17\n3\n1", {"1\n"}).actions[0],
                  "COLOR FORMAT: " + formats[format][0] + kSaved);
        const std::string base = name + formats[format][1] + "]_[SCR]";
        // Luma and chroma; the viewer below tells them apart.
        EXPECT_EQ(root.read(base + ".y").size() + root.read(base + ".c").size(), 704u * (format == 0 ? 720 : 960));
        if (format == 2)
            continue;
        // Every row is a grey ramp from black on the left to white on the right.
        EXPECT_EQ(harness::run_program({harness::binary_dir() + "/yuv2png", root.host_path(base + ".y")}).status, 0);
        png_image png{nullptr, PNG_IMAGE_VERSION, 0, 0, 0, 0, 0, 0, {}};
        ASSERT_TRUE(png_image_begin_read_from_file(&png, root.host_path(base + ".png").c_str()));
        std::vector<unsigned char> rgb(PNG_IMAGE_SIZE(png));
        ASSERT_TRUE(png_image_finish_read(&png, nullptr, rgb.data(), 0, nullptr));
        size_t wrong = rgb.size() == 704u * 480 * 3 ? 0 : rgb.size();  // RGB, as the viewer writes
        for (size_t i = 0; i < rgb.size(); ++i)
            wrong += rgb[i] != i / 3 % 704 * 255 / 703;
        EXPECT_EQ(wrong, 0u);
    }
    // A second capture replaces the files, whatever the sizes reported.
    root.set_state("capture", "y_size", "1");
    root.set_state("capture", "c_size", "0");
    harness::in_menu(root, "17\n3\n1", {"1\n"});
    EXPECT_EQ(root.read(name + "YUV420]_[SCR].y").size(), 1u);
    EXPECT_EQ(root.read(name + "YUV420]_[SCR].c").size(), 0u);

    // The viewer refuses a name without a size, a format it cannot show,
    // planes of the wrong size, missing planes and no arguments.
    for (const std::string &plane : {std::string("/etc/debug"), name + "NONE]_[SCR].y", name + "YUV420]_[SCR].c",
                                     kDir + "/DEBUG_MENU_4x2_[YUV420]_[X]", std::string()}) {
        const std::vector<std::string> args = {harness::binary_dir() + "/yuv2png", root.host_path(plane)};
        const harness::RunResult r = harness::run_program({args.begin(), args.end() - plane.empty()});
        EXPECT_TRUE(r.status == 1 && r.err.rfind("yuv2png: ", 0) == 0 && harness::lines(r.err).size() == 1) << r.err;
    }
}

TEST(Capture, FailuresPrintTheirLines)
{
    harness::DeviceRoot root;
    root.remove(kDir);
    EXPECT_EQ(harness::in_menu(root, "17\n3\n1", {"1\n"}).actions[0],
              "COLOR FORMAT: YUV420[ERROR] Fail to open file :: Y\n[ERROR] Fail to open file :: C\n" + kSaved);
    root.set_state("capture", "y_size", "414721");  // a byte more than the buffers hold
    root.set_state("fail", "capture_video_sub", "-3");
    EXPECT_EQ(harness::in_menu(root, "17\n3\n1", {"1\n", "4\n"}).actions, (std::vector<std::string>{kFailed, kFailed}));
    EXPECT_EQ(root.calls_log(), "capture_screen 720 576\ncapture_screen 720 576\ncapture_video_sub 720 576\n");
}

TEST(Capture, NamesAModeOutsideTheFourAndNoCaptureLibrary)
{
    EXPECT_STREQ(get_capture_mode_name(static_cast<cap_mode>(-1)), "NONE");
    EXPECT_STREQ(get_capture_mode_name(static_cast<cap_mode>(4)), "NONE");
    const harness::EmulatorDir emulator;
    testing::internal::CaptureStdout();
    capture_display(720, 576, static_cast<cap_mode>(4));
    emulator.write_state("[fail]\nIVideoCapture::getInstance=0\n");
    capture_display(720, 576, CAPTURE_MODE_SCREEN);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), kFailed + kFailed);
    EXPECT_EQ(emulator.calls_log(), "");
}

}  // namespace
