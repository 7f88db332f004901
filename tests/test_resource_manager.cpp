// Resource manager tool through the real host, and the emulated resource
// manager's decoder pool and conflict callback.
#include <gtest/gtest.h>
#include <glib.h>

#include <chrono>
#include <cstdlib>
#include <thread>

#include "harness.h"
#include "rm_api.h"
#include "tavrin_debugmenu.h"

using harness::DeviceRoot;
using harness::main_menu;

namespace {

std::string rm_menu()
{
    return harness::menu("resource manager print",
                         {"Start resource manager dlog ", "Stop resource manager dlog ", "Start rscmgr server dlog ",
                          "Stop rscmgr server dlog ", "register consumer", "allocate resource", "deallocate resource",
                          "unregister consumer", "Enable resource monitor", "Disable resource monitor",
                          "Switch best quality zone"});
}

const char kVideoPrompts[] =
    "[VIDEO DECODER OPTION]\n"
    "[option] codec name (MPEG1/2/4, H263/4, HEVC, VP8/9, RV, WMV, AVS, AVS+, MJPEG, JPEG, H264_MVC, "
    "HEVC/H264/VP9/_VR360, HEVC_SHVC) : "
    "[option] color_depth (8 or 10) : [option] h_size : [option] v_size : [option] framerate (30 or 60) : "
    "[option] sampling_format (others:0, 420:1, 422:2) : "
    "[option] main/sub option (don't care :0, main:1, sub:2) : ";

const char kAllocated10[] =
    "allocated device id: 10\n"
    "allocated device node: /dev/emul-dec0\n"
    "allocated OMX comp name : OMX.EMUL.VDEC\n";

// Runs INPUT in the resource manager menu and returns what it printed
// between entering the menu and leaving it.
std::string in_rm_menu(const DeviceRoot &root, const std::string &input)
{
    harness::RunResult r = root.run("4\n" + input + "99\n99\n");
    EXPECT_EQ(r.status, 0);
    const std::string head = main_menu() + rm_menu();
    const std::string tail = rm_menu() + main_menu();
    if (r.out.compare(0, head.size(), head) != 0 || r.out.size() < head.size() + tail.size() ||
        r.out.compare(r.out.size() - tail.size(), tail.size(), tail) != 0) {
        ADD_FAILURE() << "not framed by the menus:\n" << r.out;
        return r.out;
    }
    return r.out.substr(head.size(), r.out.size() - head.size() - tail.size());
}

bool wait_for_file_text(const DeviceRoot &root, const std::string &path, const std::string &text)
{
    for (int i = 0; i < 200; ++i) {
        if (root.read(path).find(text) != std::string::npos)
            return true;
        std::this_thread::sleep_for(std::chrono::milliseconds(25));
    }
    return false;
}

TEST(ResourceManagerTool, ConsumerLifecycleWithACategoryThatAsksNothing)
{
    DeviceRoot root;
    const std::string out = in_rm_menu(root, "5\n6\n1\n7\n7\n1\n10\n8\n1\n");
    EXPECT_EQ(out, "succeed to register consumer. registerd CID(handle) : 1\n" + rm_menu() +
                       "Input CID(handle) to allocate : Input Index of category : "
                       "[CID 1] resource allocation succeed\n" + kAllocated10 + rm_menu() +
                       "Input CID to deallocate : Input device id to deallocate : "
                       "[CID 1] resource deallocation succeed\n" + rm_menu() +
                       "Input CID(handle) to unregister : [CID:1] suceed to unregister consumer.\n");
    EXPECT_EQ(root.calls_log(),
              "rm_register ptr null null = 1\n"
              "rm_allocate_resources 1 1 7 0 2\n"
              "rm_deallocate_resources 1 1 10\n"
              "rm_unregister 1\n");
}

TEST(ResourceManagerTool, VideoDecoderMainAndSubBits)
{
    DeviceRoot root;
    root.set_state("rm", "video_category_option", "5");
    root.set_state("rm", "decoders", "5");
    std::string input = "5\n";
    for (const char *main_sub : {"1", "2", "0", "3"})
        input += std::string("6\n1\n3\nHEVC\n10\n3840\n2160\n60\n1\n") + main_sub + "\n";
    input += "6\n1\n20\nVP9 8 1920 1080 30 2 1\n";
    const std::string out = in_rm_menu(root, input);
    EXPECT_NE(out.find(rm_menu() + "Input CID(handle) to allocate : Input Index of category : " + kVideoPrompts +
                       "[CID 1] resource allocation succeed\n"),
              std::string::npos)
        << out;

    const std::string hevc = "ri_get_capable_video_category_id \"HEVC\" 10 3840 2160 60 1\n";
    EXPECT_EQ(root.calls_log(), "rm_register ptr null null = 1\n" +
                                    hevc + "rm_allocate_resources 1 1 3 536870917 2\n" +
                                    hevc + "rm_allocate_resources 1 1 3 268435461 2\n" +
                                    hevc + "rm_allocate_resources 1 1 3 5 2\n" +
                                    hevc + "rm_allocate_resources 1 1 3 5 2\n"
                                    "ri_get_capable_video_category_id \"VP9\" 8 1920 1080 30 2\n"
                                    "rm_allocate_resources 1 1 20 536870917 2\n");
}

TEST(ResourceManagerTool, JpegDecodersPassTheSizeAskedLastFirst)
{
    DeviceRoot root;
    root.set_state("rm", "decoders", "2");
    const std::string out = in_rm_menu(root, "5\n6\n1\n24\nMJPEG\n1920\n6\n1\n15\nJPEG\n1080\n1920\n");
    EXPECT_NE(out.find("Input Index of category : [MJPEG DECODER OPTION]\n[option] codec name : [option] h_size : "
                       "[CID 1] resource allocation succeed\n"),
              std::string::npos)
        << out;
    EXPECT_NE(out.find("Input Index of category : [JPEG DECODER OPTION]\n[option] codec name : [option] h_size : "
                       "[option] w_size : [CID 1] resource allocation succeed\n"),
              std::string::npos)
        << out;
    EXPECT_EQ(root.calls_log(),
              "rm_register ptr null null = 1\n"
              "ri_get_jpeg_category_id \"MJPEG\" 1920\n"
              "rm_allocate_resources 1 1 24 2 2\n"
              "ri_get_sub_jpeg_category_id \"JPEG\" 1920 1080\n"
              "rm_allocate_resources 1 1 15 3 2\n");
}

TEST(ResourceManagerTool, AnswersThatAreNoNumbersCountAsZero)
{
    DeviceRoot root;
    // The word stays in the input: every later number of the dialogue is 0,
    // and the menu then reads the word as an unknown choice.
    std::string out = in_rm_menu(root, "6\nx\n");
    EXPECT_EQ(out, "Input CID(handle) to allocate : Input Index of category : [CID 0] resource allocation failed\n" +
                       rm_menu());
    EXPECT_EQ(root.calls_log(), "rm_allocate_resources 0 0 0 0 0\n");

    root.clear_calls_log();
    in_rm_menu(root, "5\n6\n1\n3\nLONGCODECNAME\n");
    EXPECT_EQ(root.calls_log(),
              "rm_register ptr null null = 1\n"
              "ri_get_capable_video_category_id \"LONGCODECN\" 0 0 0 0 0\n"
              "rm_allocate_resources 1 1 3 1 2\n");
}

TEST(ResourceManagerTool, EndOfInputEndsADialogueWithoutACall)
{
    DeviceRoot root;
    harness::RunResult r = root.run("4\n5\n6\n1\n3\nHEVC\n10\n");
    EXPECT_EQ(r.status, 0);
    EXPECT_EQ(r.out.substr(r.out.size() - (std::string("[option] h_size : ") + rm_menu() + main_menu()).size()),
              "[option] h_size : " + rm_menu() + main_menu());
    EXPECT_EQ(root.calls_log(), "rm_register ptr null null = 1\n");
}

TEST(ResourceManagerTool, UnregisterAndZoneAnswers)
{
    DeviceRoot root;
    EXPECT_EQ(in_rm_menu(root, "8\nabc\n"), "Input CID(handle) to unregister : " + rm_menu());
    EXPECT_EQ(root.calls_log(), "");

    EXPECT_EQ(in_rm_menu(root, "8\n7\n"), "Input CID(handle) to unregister : [CID:7] failed to unregister consumer.\n");

    root.clear_calls_log();
    EXPECT_EQ(in_rm_menu(root, "11\n5 x\n"),
              "Input current zone id and next zone id {e.g 1 2} \n"
              "request switch best quality zone (5 > 0)\n"
              "request switch best quality zone (5 > 0) done\n" + rm_menu());
    EXPECT_EQ(root.calls_log(), "rc_switch_best_quality_zone 5 0\n");
    EXPECT_EQ(root.state("rm-state", "best_quality_zone"), "0");

    root.set_state("fail", "rc_switch_best_quality_zone", "-1");
    EXPECT_EQ(in_rm_menu(root, "11\n1\n2\n"),
              "Input current zone id and next zone id {e.g 1 2} \n"
              "request switch best quality zone (1 > 2)\n"
              "failed to request switch best quality zone\n");
}

TEST(ResourceManagerTool, PlatformFailuresAreOneLineEach)
{
    DeviceRoot root;
    EXPECT_EQ(in_rm_menu(root, "6\n9\n7\n"),
              "Input CID(handle) to allocate : Input Index of category : [CID 9] resource allocation failed\n");
    EXPECT_EQ(in_rm_menu(root, "7\n9\n10\n"),
              "Input CID to deallocate : Input device id to deallocate : [CID 9] resource deallocation failed\n");
    root.set_state("fail", "rm_register", "-1");
    EXPECT_EQ(in_rm_menu(root, "5\n"), "failed to register consumer.\n");
    root.set_state("fail", "vconf_set_int", "-1");
    EXPECT_EQ(in_rm_menu(root, "10\n"), "disable resource monitor\nfailed to set (memory/rsc_monitor/state)");
}

TEST(ResourceManagerTool, TheMonitorRunsUntilItIsSwitchedOff)
{
    DeviceRoot root;
    const std::string log = "/var/lib/tv-emulator/resource-monitor.log";
    EXPECT_EQ(in_rm_menu(root, "9\n"), "enable resource monitor done (0)\n");
    ASSERT_TRUE(wait_for_file_text(root, log, "started")) << root.read(log);
    EXPECT_EQ(root.state("vconf", "memory/rsc_monitor/state"), "int:1");

    EXPECT_EQ(in_rm_menu(root, "10\n"), "disable resource monitor\n");
    EXPECT_TRUE(wait_for_file_text(root, log, "stopped")) << root.read(log);
    EXPECT_EQ(root.calls_log(), "vconf_set_int \"memory/rsc_monitor/state\" 0\n");
}

TEST(ResourceManagerTool, TwoConsumersCompeteForOneDecoder)
{
    DeviceRoot root;
    harness::Session first(root);
    ASSERT_TRUE(first.wait_for(main_menu()));
    first.send("4\n5\n6\n1\n7\n");
    ASSERT_TRUE(first.wait_for("[CID 1] resource allocation succeed\n" + std::string(kAllocated10) + rm_menu()));

    // The second debug menu gets the decoder: the first one's conflict_cb,
    // on a thread of its own process, gave it back.
    EXPECT_EQ(in_rm_menu(root, "5\n6\n2\n3\nHEVC 10 3840 2160 60 1 0\n"),
              "succeed to register consumer. registerd CID(handle) : 2\n" + rm_menu() +
                  "Input CID(handle) to allocate : Input Index of category : " + kVideoPrompts +
                  "[CID 2] resource allocation succeed\n" + kAllocated10);
    EXPECT_EQ(root.calls_log(),
              "rm_register ptr null null = 1\n"
              "rm_allocate_resources 1 1 7 0 2\n"
              "rm_register ptr null null = 2\n"
              "ri_get_capable_video_category_id \"HEVC\" 10 3840 2160 60 1\n"
              "rm_allocate_resources 2 1 3 1 2\n"
              "rm_deallocate_resources 1 1 10\n");

    // The first consumer no longer holds it.
    first.send("7\n1\n10\n99\n99\n");
    harness::RunResult r = first.finish();
    EXPECT_EQ(r.status, 0);
    EXPECT_NE(r.out.find("[CID 1] resource deallocation failed\n"), std::string::npos) << r.out;
}

// The emulated manager itself, in this process.
class Manager : public ::testing::Test {
protected:
    void SetUp() override
    {
        gchar *dir = g_dir_make_tmp("rm-XXXXXX", nullptr);
        ASSERT_NE(dir, nullptr);
        dir_ = dir;
        g_free(dir);
        setenv("TV_EMULATOR_DIR", dir_.c_str(), 1);
    }
    void TearDown() override
    {
        unsetenv("TV_EMULATOR_DIR");
        std::string cmd = "rm -rf '" + dir_ + "'";
        EXPECT_EQ(system(cmd.c_str()), 0);
    }

    static int allocate(int handle, rm_device_return_s *devices, int count = 1)
    {
        rm_category_request_s request{};
        request.request_num = count;
        for (int i = 0; i < count; ++i) {
            request.category_id[i] = 3;
            request.state[i] = RM_STATE_EXCLUSIVE;
        }
        *devices = rm_device_return_s{};
        return rm_allocate_resources(handle, &request, devices);
    }
    static void release_texts(rm_device_return_s *devices)
    {
        for (int i = 0; i < RM_REQUEST_MAX; ++i) {
            free(devices->device_node[i]);
            free(devices->omx_comp_name[i]);
        }
    }

    std::string dir_;
};

struct Seen {
    int calls = 0;
    int handle = 0;
    int device = 0;
    std::thread::id thread;
    bool give_back = true;
};

int remember(int handle, rm_callback_type, rm_device_request_s *request, void *user_data)
{
    Seen *seen = static_cast<Seen *>(user_data);
    ++seen->calls;
    seen->handle = handle;
    seen->device = request->device_id[0];
    seen->thread = std::this_thread::get_id();
    if (seen->give_back)
        rm_deallocate_resources(handle, request);
    return 0;
}

TEST_F(Manager, TheOldestAllocationIsAskedBackOnTheCallingThread)
{
    Seen first, second;
    int h1 = 0, h2 = 0;
    ASSERT_EQ(rm_register(remember, &first, &h1, nullptr), RM_OK);
    ASSERT_EQ(rm_register(remember, &second, &h2, nullptr), RM_OK);
    EXPECT_EQ(h2, h1 + 1);

    rm_device_return_s devices;
    ASSERT_EQ(allocate(h1, &devices), RM_OK);
    release_texts(&devices);
    ASSERT_EQ(allocate(h2, &devices), RM_OK);
    EXPECT_EQ(devices.allocated_num, 1);
    EXPECT_EQ(devices.device_id[0], 10);
    EXPECT_STREQ(devices.device_node[0], "/dev/emul-dec0");
    release_texts(&devices);

    EXPECT_EQ(first.calls, 1);
    EXPECT_EQ(first.handle, h1);
    EXPECT_EQ(first.device, 10);
    EXPECT_EQ(first.thread, std::this_thread::get_id());
    EXPECT_EQ(second.calls, 0);

    // A holder that keeps its device makes the allocation fail.
    second.give_back = false;
    EXPECT_NE(allocate(h1, &devices), RM_OK);
    EXPECT_EQ(second.calls, 1);
    release_texts(&devices);
}

TEST_F(Manager, ThePluginsCallbackGivesBackAndRequestsAreAllOrNothing)
{
    int h1 = 0, h2 = 0;
    ASSERT_EQ(rm_register(conflict_cb, nullptr, &h1, nullptr), RM_OK);
    ASSERT_EQ(rm_register(conflict_cb, nullptr, &h2, nullptr), RM_OK);
    rm_device_return_s devices;
    ASSERT_EQ(allocate(h1, &devices), RM_OK);
    release_texts(&devices);
    ASSERT_EQ(allocate(h2, &devices), RM_OK);
    release_texts(&devices);

    // Two decoders asked from a pool of one: the device taken for the first
    // entry is not asked back for the second, and nothing is kept.
    EXPECT_NE(allocate(h1, &devices, 2), RM_OK);
    release_texts(&devices);
    rm_device_request_s release{};
    release.request_num = 1;
    release.device_id[0] = 10;
    EXPECT_EQ(rm_deallocate_resources(h1, &release), RM_ERROR_INVALID_PARAMETER);

    EXPECT_EQ(rm_unregister(h2), RM_OK);
    EXPECT_NE(rm_unregister(h2), RM_OK);
    EXPECT_NE(allocate(h2, &devices), RM_OK);
}

TEST_F(Manager, ConsumersOfEndedProcessesAreDropped)
{
    // A consumer whose process is gone still holds the only decoder.
    GKeyFile *kf = g_key_file_new();
    g_key_file_set_value(kf, "rm-state", "next_handle", "5");
    g_key_file_set_value(kf, "rm-state", "consumers", "4:999999999:1;");
    g_key_file_set_value(kf, "rm-state", "held", "10:4;");
    ASSERT_TRUE(g_key_file_save_to_file(kf, (dir_ + "/state.ini").c_str(), nullptr));
    g_key_file_free(kf);

    Seen seen;
    int handle = 0;
    ASSERT_EQ(rm_register(remember, &seen, &handle, nullptr), RM_OK);
    EXPECT_EQ(handle, 5);
    rm_device_return_s devices;
    EXPECT_EQ(allocate(handle, &devices), RM_OK);
    EXPECT_EQ(devices.device_id[0], 10);
    release_texts(&devices);
    EXPECT_EQ(seen.calls, 0);
}

}  // namespace
