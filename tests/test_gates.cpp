// Release images: without the debug marker every gated operation of every
// tool leaves the whole device exactly as it was and prints nothing; with
// only the performance marker, the capture and the internal file list work
// and nothing else does.
#include <sys/stat.h>
#include <unistd.h>

#include <glib.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <map>
#include <string>
#include <vector>

#include "buxton_helpers.h"
#include "harness.h"

namespace {

namespace fs = std::filesystem;
using harness::DeviceRoot;
using harness::RunResult;

const char kNotice[] = "\n[INFO] Feature not supported in Release Image\n";

// Every entry of the device root: type, mode, owner, size and a SHA-256 of
// its content or link target, by path. Left out: the overlay's work
// directories, which belong to the kernel, and the emulator's call log,
// which every run appends its load-time lookup to (checked on its own).
std::map<std::string, std::string> tree(const DeviceRoot &root)
{
    std::map<std::string, std::string> entries;
    const fs::path top(root.dir());
    for (auto it = fs::recursive_directory_iterator(top); it != fs::recursive_directory_iterator(); ++it) {
        const std::string rel = fs::relative(it->path(), top).string();
        if (rel == ".work") {
            it.disable_recursion_pending();
            continue;
        }
        if (rel == "var/lib/tv-emulator/calls.log")
            continue;
        struct stat st;
        if (lstat(it->path().c_str(), &st) != 0)
            continue;
        std::string content;
        if (S_ISREG(st.st_mode)) {
            gchar *data = nullptr;
            gsize size = 0;
            if (g_file_get_contents(it->path().c_str(), &data, &size, nullptr))
                content.assign(data, size);
            g_free(data);
        } else if (S_ISLNK(st.st_mode)) {
            content = fs::read_symlink(it->path()).string();
        }
        gchar *sum = g_compute_checksum_for_data(G_CHECKSUM_SHA256, reinterpret_cast<const guchar *>(content.data()),
                                                 content.size());
        // A directory's size is the file system's business (on tmpfs it
        // counts the entries, calls.log included); its entries speak for it.
        const off_t size = S_ISDIR(st.st_mode) ? 0 : st.st_size;
        entries[rel] = std::to_string(st.st_mode) + " " + std::to_string(st.st_uid) + ":" + std::to_string(st.st_gid) +
                       " " + std::to_string(size) + " " + sum;
        g_free(sum);
    }
    return entries;
}

std::string checksum(const std::map<std::string, std::string> &entries)
{
    GChecksum *sum = g_checksum_new(G_CHECKSUM_SHA256);
    for (const auto &[path, entry] : entries) {
        const std::string line = path + " " + entry + "\n";
        g_checksum_update(sum, reinterpret_cast<const guchar *>(line.data()), static_cast<gssize>(line.size()));
    }
    std::string hex = g_checksum_get_string(sum);
    g_checksum_free(sum);
    return hex;
}

// Paths added, removed or changed between two trees.
std::vector<std::string> changed(const std::map<std::string, std::string> &before,
                                 const std::map<std::string, std::string> &after)
{
    std::vector<std::string> out;
    for (const auto &[path, entry] : after) {
        auto it = before.find(path);
        if (it == before.end() || it->second != entry)
            out.push_back(path);
    }
    for (const auto &[path, entry] : before) {
        if (!after.count(path))
            out.push_back(path + " (removed)");
    }
    return out;
}

// The text of a sub-menu, from a run that only enters and leaves it.
std::string menu_of(const DeviceRoot &root, int entry)
{
    RunResult r = root.run(std::to_string(entry) + "\n99\n99\n");
    const std::string main = harness::main_menu();
    EXPECT_EQ(r.out.substr(0, main.size()), main);
    return r.out.substr(main.size(), r.out.size() - 2 * main.size());
}

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

// Runs every gated operation, each menu in one run; returns how many.
int run_gated(const DeviceRoot &root, bool perf_only)
{
    int count = 0;
    for (const Gated &g : gated_operations()) {
        const bool opens = perf_only && !g.notice.empty();
        if (opens)
            continue;
        const std::string menu = menu_of(root, g.menu);
        std::string input = std::to_string(g.menu) + "\n";
        std::string expected = harness::main_menu() + menu;
        for (int e : g.entries) {
            input += std::to_string(e) + "\n";
            expected += g.notice + menu;
            ++count;
        }
        SCOPED_TRACE("menu " + std::to_string(g.menu));
        RunResult r = bx::run(root, input + "99\n99\n");
        expected += harness::main_menu();
        EXPECT_EQ(r.status, 0);
        EXPECT_EQ(r.out, expected) << harness::diff(expected, r.out);
        EXPECT_EQ(r.err, "");
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
    }
};

TEST_F(ReleaseImage, GatedOperationsLeaveTheWholeDeviceAlone)
{
    const auto before = tree(root);
    root.clear_calls_log();
    const int count = run_gated(root, false);
    EXPECT_EQ(count, 12 + 35 + 1 + 1);
    const auto after = tree(root);
    EXPECT_EQ(checksum(after), checksum(before)) << ::testing::PrintToString(changed(before, after));
    EXPECT_EQ(root.calls_log(), "");
    printf("[ gates    ] %d gated operations, device root %s before and after\n", count,
           checksum(after).substr(0, 16).c_str());
}

TEST_F(ReleaseImage, ThePerformanceMarkerOpensOnlyCaptureAndTheFileList)
{
    root.write("/etc/perf", "");
    auto before = tree(root);
    root.clear_calls_log();
    EXPECT_EQ(run_gated(root, true), 12 + 35);
    auto after = tree(root);
    EXPECT_EQ(checksum(after), checksum(before)) << ::testing::PrintToString(changed(before, after));
    EXPECT_EQ(root.calls_log(), "");

    RunResult r = bx::run(root, "17\n3\n1\n1\n99\n99\n99\n15\n6\n99\n99\n");
    EXPECT_EQ(r.status, 0);
    EXPECT_EQ(r.out.find(kNotice), std::string::npos) << r.out;
    before = after;
    after = tree(root);
    const std::vector<std::string> made = changed(before, after);
    ASSERT_EQ(made.size(), 3u) << ::testing::PrintToString(made);
    EXPECT_EQ(made[0], "opt/media/USBDriveA1/" + fs::path(made[0]).filename().string());
    EXPECT_EQ(fs::path(made[0]).filename().string().rfind("internal_storage_file_list_", 0), 0u) << made[0];
    EXPECT_EQ(made[1], "opt/share/display-capture-service/DEBUG_MENU_720x576_[YUV420]_[SCR].c");
    EXPECT_EQ(made[2], "opt/share/display-capture-service/DEBUG_MENU_720x576_[YUV420]_[SCR].y");
}

}  // namespace
