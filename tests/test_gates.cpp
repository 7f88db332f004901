// Release images: without the debug marker every gated operation of every
// tool leaves the whole device exactly as it was and prints nothing; with
// only the performance marker, the capture and the internal file list work
// and nothing else does.
#include <unistd.h>

#include <gtest/gtest.h>

#include "harness.h"

namespace {

using harness::DeviceRoot;

const char kNotice[] = "\n[INFO] Feature not supported in Release Image\n";

struct Gated {
    int menu;
    std::vector<int> entries;
    std::string notice;  // what each entry prints on a release image
};

std::vector<Gated> gated_operations()
{
    std::vector<int> deviced;
    for (int e = 1; e <= 40; ++e) {
        if (e != 4 && e != 22 && e != 33 && e != 34 && e != 40)
            deviced.push_back(e);
    }
    return {
        {11, {1, 2, 3, 4, 5, 6, 8, 9, 10, 11, 12, 13}, ""},  // buxton
        {12, deviced, ""},                                  // device power
        {15, {6}, kNotice},                                 // internal storage file list
        {17, {3}, kNotice},                                 // capture
    };
}

// Runs every gated operation that stays closed, each menu in one run, and
// checks that each printed only its notice; returns how many ran.
int run_gated(const DeviceRoot &root, bool perf_image)
{
    int count = 0;
    for (const Gated &g : gated_operations()) {
        if (perf_image && !g.notice.empty())
            continue;
        std::vector<std::string> actions;
        for (int e : g.entries)
            actions.push_back(std::to_string(e) + "\n");
        SCOPED_TRACE("menu " + std::to_string(g.menu));
        const harness::MenuRun run = harness::in_menu(root, std::to_string(g.menu), actions);
        EXPECT_EQ(run.actions, std::vector<std::string>(actions.size(), g.notice));
        EXPECT_EQ(run.result.err, "");
        count += static_cast<int>(actions.size());
    }
    return count;
}

class ReleaseImage : public ::testing::Test {
protected:
    DeviceRoot root;
    void SetUp() override
    {
        if (access("/etc/debug", F_OK) == 0 || access("/etc/perf", F_OK) == 0)
            GTEST_SKIP() << "this machine's own /etc shows through the device root";
        root.remove("/etc/debug");
        root.remove("/etc/perf");
        // Things the gated operations would act on if they ran.
        root.write("/var/lib/buxton2/tmp.db", "left over");
        root.write("/opt/storaged/2024_01_01T000000/00000000", "dummy");
        root.clear_calls_log();
    }
};

TEST_F(ReleaseImage, GatedOperationsLeaveTheWholeDeviceAlone)
{
    const std::string before = root.tree_hash();
    EXPECT_EQ(run_gated(root, false), 12 + 35 + 1 + 1);
    EXPECT_EQ(root.tree_hash(), before);
    EXPECT_EQ(root.calls_log(), "");
}

TEST_F(ReleaseImage, ThePerformanceMarkerOpensOnlyCaptureAndTheFileList)
{
    root.write("/etc/perf", "");
    const std::string before = root.tree_hash();
    EXPECT_EQ(run_gated(root, true), 12 + 35);
    EXPECT_EQ(root.tree_hash(), before);
    EXPECT_EQ(root.calls_log(), "");

    const harness::RunResult r = root.run("17\n3\n1\n1\n99\n99\n99\n15\n6\n99\n99\n");
    EXPECT_EQ(r.out.find(kNotice), std::string::npos) << r.out;
    EXPECT_NE(root.tree_hash(), before);
    EXPECT_TRUE(root.exists("/opt/share/display-capture-service/DEBUG_MENU_720x576_[YUV420]_[SCR].y"));
    EXPECT_NE(r.out.find("written internal staorage list of files[/opt/media/USBDriveA1/internal_storage_file_list_"),
              std::string::npos) << r.out;
}

}  // namespace
