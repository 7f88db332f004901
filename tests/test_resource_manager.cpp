// The resource manager tool through the real host: a consumer's walk with
// the platform agreeing and failing, the decoder dialogues, answers that are
// no numbers or never come, the monitor, and two debug menus competing for
// one decoder.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <thread>

#include "harness.h"
#include "tavrin_debugmenu.h"

using Texts = std::vector<std::string>;

namespace {

const std::string kAsk = "Input CID(handle) to allocate : Input Index of category : ";
const std::string kFree = "Input CID to deallocate : Input device id to deallocate : [CID 1] resource deallocation ";
const std::string kZone = "Input current zone id and next zone id {e.g 1 2} \nrequest switch best quality zone ";
const std::string kVideo =
    "[VIDEO DECODER OPTION]\n[option] codec name (MPEG1/2/4, H263/4, HEVC, VP8/9, RV, WMV, AVS, AVS+, MJPEG, JPEG, "
    "H264_MVC, HEVC/H264/VP9/_VR360, HEVC_SHVC) : [option] color_depth (8 or 10) : [option] h_size : "
    "[option] v_size : [option] framerate (30 or 60) : [option] sampling_format (others:0, 420:1, 422:2) : "
    "[option] main/sub option (don't care :0, main:1, sub:2) : ";

// What an allocation that went through prints: the pool's Nth decoder.
std::string allocated(int handle, int n)
{
    return "[CID " + std::to_string(handle) + "] resource allocation succeed\nallocated device id: " +
           std::to_string(10 + n) + "\nallocated device node: /dev/emul-dec" + std::to_string(n) +
           "\nallocated OMX comp name : OMX.EMUL.VDEC\n";
}

bool logged(const harness::DeviceRoot &root, const std::string &text)
{
    for (int i = 0; i < 400; ++i, std::this_thread::sleep_for(std::chrono::milliseconds(50)))
        if (root.read("/var/lib/tv-emulator/resource-monitor.log").find(text) != std::string::npos)
            return true;
    return false;
}

TEST(ResourceManager, ConsumerWalkAgreeingThenFailing)
{
    harness::DeviceRoot root;
    // The monitor runs until the walk's last entry switches it off.
    EXPECT_EQ(harness::in_menu(root, "4", {"9\n"}).actions, Texts{"enable resource monitor done (0)\n"});
    ASSERT_TRUE(logged(root, "started"));
    EXPECT_EQ(root.state("vconf", "memory/rsc_monitor/state"), "int:1");
    root.clear_calls_log();

    const Texts walk = {"5\n", "6\n1\n7\n", "7\n1\n10\n", "8\n1\n", "11\n1 2\n", "10\n"};
    EXPECT_EQ(harness::in_menu(root, "4", walk).actions,
              (Texts{"succeed to register consumer. registerd CID(handle) : 1\n", kAsk + allocated(1, 0),
                     kFree + "succeed\n", "Input CID(handle) to unregister : [CID:1] suceed to unregister consumer.\n",
                     kZone + "(1 > 2)\nrequest switch best quality zone (1 > 2) done\n",
                     "disable resource monitor\n"}));
    const std::string calls = root.calls_log();
    EXPECT_EQ(calls, "rm_register ptr null null = 1\nrm_allocate_resources 1 1 7 0 2\n"
                     "rm_deallocate_resources 1 1 10\nrm_unregister 1\nrc_switch_best_quality_zone 1 2\n"
                     "vconf_set_int \"memory/rsc_monitor/state\" 0\n");
    EXPECT_TRUE(logged(root, "stopped"));

    for (const std::string &line : harness::lines(calls))
        root.set_state("fail", line.substr(0, line.find(' ')), "-1");
    EXPECT_EQ(harness::in_menu(root, "4", walk).actions,
              (Texts{"failed to register consumer.\n", kAsk + "[CID 1] resource allocation failed\n",
                     kFree + "failed\n",
                     "Input CID(handle) to unregister : [CID:1] failed to unregister consumer.\n",
                     kZone + "(1 > 2)\nfailed to request switch best quality zone\n",
                     "disable resource monitor\nfailed to set (memory/rsc_monitor/state)"}));
}

TEST(ResourceManager, DecoderDialoguesAndAnswersThatAreNoNumbers)
{
    harness::DeviceRoot root;
    root.set_state("rm", "decoders", "5");
    root.set_state("rm", "video_category_option", "4");
    // A word is an answer of 0 and stays in the input: the menu, reading it,
    // shows itself again (the empty actions).
    const harness::MenuRun run = harness::in_menu(
        root, "4",
        {"5\n", "6\n1\n3\nHEVC\n10\n3840\n2160\n60\n1\n1\n", "6\n1\n20\nVP9 8 1920 1080 30 2 2\n",
         "6\n1\n24\nMJPEG\n1920\n", "6\n1\n15\nJPEG\n1080\n1920\n", "6\nx\n", "", "6\n1\n3\nLONGCODECNAME\n", ""});
    EXPECT_EQ(run.actions[1], kAsk + kVideo + allocated(1, 0));
    EXPECT_EQ(run.actions[3], kAsk + "[MJPEG DECODER OPTION]\n[option] codec name : [option] h_size : " +
                                  allocated(1, 2));
    EXPECT_EQ(run.actions[4], kAsk + "[JPEG DECODER OPTION]\n[option] codec name : [option] h_size : "
                                     "[option] w_size : " + allocated(1, 3));
    EXPECT_EQ(run.actions[5], kAsk + "[CID 0] resource allocation failed\n");
    // Main and sub are bits 0x20000000 and 0x10000000 on the category option;
    // the JPEG decoder is given the size asked last first.
    EXPECT_EQ(root.calls_log(),
              "rm_register ptr null null = 1\n"
              "ri_get_capable_video_category_id \"HEVC\" 10 3840 2160 60 1\nrm_allocate_resources 1 1 3 536870916 2\n"
              "ri_get_capable_video_category_id \"VP9\" 8 1920 1080 30 2\nrm_allocate_resources 1 1 20 268435460 2\n"
              "ri_get_jpeg_category_id \"MJPEG\" 1920\nrm_allocate_resources 1 1 24 2 2\n"
              "ri_get_sub_jpeg_category_id \"JPEG\" 1920 1080\nrm_allocate_resources 1 1 15 3 2\n"
              "rm_allocate_resources 0 0 0 0 0\n"
              "ri_get_capable_video_category_id \"LONGCODECN\" 0 0 0 0 0\nrm_allocate_resources 1 1 3 4 2\n");
}

// A number that never comes at the zone prompt, the category and the
// main/sub answer is 0 and the dialogue goes on; anywhere else in a decoder
// dialogue it ends the dialogue without a call.
TEST(ResourceManager, EndOfInput)
{
    harness::DeviceRoot root;
    const std::string menus = harness::menu_text("4") + harness::main_menu();
    const std::vector<std::array<std::string, 3>> cases = {
        {"11\n", kZone + "(0 > 0)\nrequest switch best quality zone (0 > 0) done\n",
         "rc_switch_best_quality_zone 0 0\n"},
        {"6\n1\n", kAsk + "[CID 1] resource allocation failed\n", "rm_allocate_resources 1 1 0 0 2\n"},
        {"6\n1\n3\nHEVC 10 3840 2160 60 1", kVideo + "[CID 1] resource allocation failed\n",
         "ri_get_capable_video_category_id \"HEVC\" 10 3840 2160 60 1\nrm_allocate_resources 1 1 3 1 2\n"},
        {"6\n1\n3\nHEVC 10", "[option] h_size : ", ""}};
    for (const auto &[input, out, calls] : cases) {
        root.clear_calls_log();
        const std::string all = root.run("4\n" + input).out;
        EXPECT_EQ(all.substr(all.size() - std::min(all.size(), out.size() + menus.size())), out + menus);
        EXPECT_EQ(root.calls_log(), calls) << input;
    }
}

TEST(ResourceManager, TwoDebugMenusCompeteForOneDecoder)
{
    harness::DeviceRoot root;
    harness::Session first(root);
    first.send("4\n5\n6\n1\n7\n");
    ASSERT_TRUE(first.wait_for(kAsk + allocated(1, 0) + harness::menu_text("4")));
    // The second one gets the decoder: the first one's conflict_cb, on a
    // thread of its own process, gave it back.
    EXPECT_EQ(harness::in_menu(root, "4", {"5\n", "6\n2\n7\n"}).actions[1], kAsk + allocated(2, 0));
    EXPECT_EQ(root.calls_log(), "rm_register ptr null null = 1\nrm_allocate_resources 1 1 7 0 2\n"
                                "rm_register ptr null null = 2\nrm_allocate_resources 2 1 7 0 2\n"
                                "rm_deallocate_resources 1 1 10\n");
    first.send("7\n1\n10\n");
    EXPECT_TRUE(first.wait_for(kFree + "failed\n" + harness::menu_text("4")));
}

TEST(ResourceManager, TheCallbackGivesBackWhatItIsAskedFor)
{
    const harness::EmulatorDir emulator;
    rm_device_request_s request = {1, {12}, {}};
    EXPECT_EQ(conflict_cb(3, RM_CALLBACK_TYPE_RESOURCE_CONFLICT, &request, nullptr), 0);
    EXPECT_EQ(emulator.calls_log(), "rm_deallocate_resources 3 1 12\n");
}

}  // namespace
