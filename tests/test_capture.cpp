// Display capture tool through the real host: the gate, the two capture
// menus, the plane files and the messages.
#include <gtest/gtest.h>

#include "harness.h"
#include "tavrin_debugmenu.h"

using harness::DeviceRoot;
using harness::main_menu;

namespace {

const std::string kDir = "/opt/share/display-capture-service";
const std::string kSaved = "[CAPTURED] File saved to /opt/share/display-capture-service\n";

std::string capture_debug_menu()
{
    return harness::menu("Capture debug menu", {"Start capture dlog", "Stop capture dlog", "Generate RAW(YUV) image"});
}

std::string capture_menu(const std::string &heading, const std::vector<std::string> &lines)
{
    const std::string boundary = "====================================\n";
    std::string s = "\n" + boundary + "      [ Capture Debug Menu]   \n------------------------------------\n" + heading;
    for (const auto &line : lines)
        s += line;
    return s + boundary + " 99 : Exit \n" + boundary + harness::kPrompt;
}

std::string size_menu()
{
    return capture_menu(" Select Capture Size \n",
                        {" 1 : 720 x 576\n", " 2 : 720 x 540\n", " 3 : 720 x 486\n", " 4 : 480 x 270\n"});
}

std::string mode_menu()
{
    return capture_menu(" Select Capture Mode \n", {" 1 : Capture SCREEN\n", " 2 : Capture VIDEO\n",
                                                    " 3 : Capture VIDEO_MAIN_ONLY\n", " 4 : Capture VIDEO_SUB_ONLY\n"});
}

// Output of INPUT given in the capture debug menu, without the menus that
// frame it.
std::string in_capture_menu(const DeviceRoot &root, const std::string &input)
{
    harness::RunResult r = root.run("17\n" + input + "99\n99\n");
    EXPECT_EQ(r.status, 0);
    const std::string head = main_menu() + capture_debug_menu();
    const std::string tail = capture_debug_menu() + main_menu();
    if (r.out.compare(0, head.size(), head) != 0 || r.out.size() < head.size() + tail.size() ||
        r.out.compare(r.out.size() - tail.size(), tail.size(), tail) != 0) {
        ADD_FAILURE() << "not framed by the menus:\n" << r.out;
        return r.out;
    }
    return r.out.substr(head.size(), r.out.size() - head.size() - tail.size());
}

std::string file(const std::string &name) { return kDir + "/" + name; }

TEST(Capture, AReleaseImageOnlyGetsTheNotice)
{
    DeviceRoot root;
    root.remove("/etc/debug");
    EXPECT_EQ(in_capture_menu(root, "3\n"), "\n[INFO] Feature not supported in Release Image\n");
    EXPECT_EQ(root.calls_log(), "");

    // The performance marker opens it again.
    root.write("/etc/perf", "");
    EXPECT_EQ(in_capture_menu(root, "3\n99\n"), size_menu());
}

TEST(Capture, FilesAreNamedByTheReportedSize)
{
    DeviceRoot root;
    root.set_state("capture", "width", "704");
    root.set_state("capture", "height", "480");
    EXPECT_EQ(in_capture_menu(root, "3\n3\n1\n99\n99\n"),
              size_menu() + mode_menu() + "COLOR FORMAT: YUV420" + kSaved + mode_menu() + size_menu());
    EXPECT_EQ(root.calls_log(), "capture_screen 720 486\n");

    const std::string y = root.read(file("DEBUG_MENU_704x480_[YUV420]_[SCR].y"));
    const std::string c = root.read(file("DEBUG_MENU_704x480_[YUV420]_[SCR].c"));
    ASSERT_EQ(y.size(), 704u * 480u);
    ASSERT_EQ(c.size(), 704u * 240u);
    EXPECT_EQ(static_cast<unsigned char>(y[0]), 0);
    EXPECT_EQ(static_cast<unsigned char>(y[703]), 255);
    EXPECT_EQ(c, std::string(c.size(), static_cast<char>(128)));
}

TEST(Capture, EveryModeCallsItsOperationAndNamesItsFiles)
{
    DeviceRoot root;
    in_capture_menu(root, "3\n4\n1\n2\n3\n4\n99\n99\n");
    EXPECT_EQ(root.calls_log(),
              "capture_screen 480 270\n"
              "capture_video 480 270\n"
              "capture_video_main 480 270\n"
              "capture_video_sub 480 270\n");
    for (const char *mode : {"SCR", "VID", "VID_MAIN", "VID_SUB"}) {
        SCOPED_TRACE(mode);
        EXPECT_EQ(root.read(file(std::string("DEBUG_MENU_480x270_[YUV420]_[") + mode + "].y")).size(), 480u * 270u);
    }
}

TEST(Capture, ColourFormatsAndTheirNames)
{
    DeviceRoot root;
    root.set_state("capture", "color_format", "1");
    EXPECT_EQ(in_capture_menu(root, "3\n2\n2\n99\n99\n"),
              size_menu() + mode_menu() + "COLOR FORMAT: YUV422" + kSaved + mode_menu() + size_menu());
    EXPECT_EQ(root.read(file("DEBUG_MENU_720x540_[YUV422]_[VID].c")).size(), 720u * 540u);

    root.set_state("capture", "color_format", "2");
    EXPECT_EQ(in_capture_menu(root, "3\n2\n2\n99\n99\n"),
              size_menu() + mode_menu() + "COLOR FORMAT: UNSUPPORTED" + kSaved + mode_menu() + size_menu());
    EXPECT_TRUE(root.exists(file("DEBUG_MENU_720x540_[NONE]_[VID].y")));
    EXPECT_TRUE(root.exists(file("DEBUG_MENU_720x540_[NONE]_[VID].c")));
}

TEST(Capture, ASecondCaptureReplacesTheFiles)
{
    DeviceRoot root;
    root.set_state("capture", "y_size", "1000");
    in_capture_menu(root, "3\n1\n1\n99\n99\n");
    ASSERT_EQ(root.read(file("DEBUG_MENU_720x576_[YUV420]_[SCR].y")).size(), 1000u);
    root.set_state("capture", "y_size", "10");
    root.set_state("capture", "c_size", "4");
    in_capture_menu(root, "3\n1\n1\n99\n99\n");
    EXPECT_EQ(root.read(file("DEBUG_MENU_720x576_[YUV420]_[SCR].y")).size(), 10u);
    EXPECT_EQ(root.read(file("DEBUG_MENU_720x576_[YUV420]_[SCR].c")).size(), 4u);
}

TEST(Capture, FailuresAreReportedAndWriteNothing)
{
    DeviceRoot root;
    root.remove(kDir);
    EXPECT_EQ(in_capture_menu(root, "3\n1\n1\n99\n99\n"),
              size_menu() + mode_menu() +
                  "COLOR FORMAT: YUV420"
                  "[ERROR] Fail to open file :: Y\n"
                  "[ERROR] Fail to open file :: C\n" +
                  kSaved + mode_menu() + size_menu());
    EXPECT_FALSE(root.exists(kDir));

    root.write(kDir + "/keep", "");
    root.set_state("fail", "capture_video_sub", "-3");
    root.set_state("capture", "width", "721");  // larger than the buffers hold
    EXPECT_EQ(in_capture_menu(root, "3\n1\n4\n1\n99\n99\n"),
              size_menu() + mode_menu() + "[ERROR] capture_XXX API failed!\n" + mode_menu() +
                  "[ERROR] capture_XXX API failed!\n" + mode_menu() + size_menu());
    root.set_state("capture", "width", "720");
    root.set_state("fail", "IVideoCapture::getInstance", "0");
    EXPECT_EQ(in_capture_menu(root, "3\n1\n1\n99\n99\n"),
              size_menu() + mode_menu() + "[ERROR] capture_XXX API failed!\n" + mode_menu() + size_menu());
    EXPECT_EQ(root.run_command({"ls", kDir}).out, "keep\n");
}

TEST(Capture, UnknownChoicesShowTheMenuAgain)
{
    DeviceRoot root;
    EXPECT_EQ(in_capture_menu(root, "3\n0\n5\n2\n-1\n100\n99\n99\n"),
              size_menu() + size_menu() + size_menu() + mode_menu() + mode_menu() + mode_menu() + size_menu());
    EXPECT_EQ(root.calls_log(), "");
}

TEST(Capture, Names)
{
    EXPECT_STREQ(get_color_format_name(0), "YUV420");
    EXPECT_STREQ(get_color_format_name(1), "YUV422");
    EXPECT_STREQ(get_color_format_name(2), "NONE");
    EXPECT_STREQ(get_color_format_name(-1), "NONE");
    EXPECT_STREQ(get_capture_mode_name(CAPTURE_MODE_SCREEN), "SCR");
    EXPECT_STREQ(get_capture_mode_name(CAPTURE_MODE_VIDEO), "VID");
    EXPECT_STREQ(get_capture_mode_name(CAPTURE_MODE_VIDEO_MAIN_ONLY), "VID_MAIN");
    EXPECT_STREQ(get_capture_mode_name(CAPTURE_MODE_VIDEO_SUB_ONLY), "VID_SUB");
}

TEST(Capture, AModeOutsideTheFourCapturesNothing)
{
    testing::internal::CaptureStdout();
    capture_display(720, 576, static_cast<cap_mode>(4));
    fflush(stdout);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "[ERROR] capture_XXX API failed!\n");
}

}  // namespace
