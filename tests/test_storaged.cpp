// Storage daemon tool: through the real host in device roots, and its pure
// pieces called directly.
#include <dirent.h>
#include <dlfcn.h>
#include <ftw.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <glib.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <cstdarg>
#include <cstdint>
#include <cstring>
#include <sstream>
#include <string>
#include <vector>

#include "harness.h"
#include "tavrin_debugmenu.h"

using harness::DeviceRoot;
using harness::RunOptions;
using harness::RunResult;

namespace {

const std::string kIntervalPrompt = "Please enter interval time (in second) or 'exit'\n";
const std::string kRange = "Time should be in range (60, 86400] sec\n";
const std::string kTimePrompt =
    "Please enter last notify time before 24 Hr [24 Hour format] (HH:MM:SS) or exit\n";
const std::string kInvalidTime = "Invalid Input, input example 21:03:34\n";
const std::string kSizePrompt = "Please enter size of the file you want to create\n";
const std::string kAbsoluteCopy = "/usr/bin/cp /etc/storaged/storage_abs.conf /etc/storaged/storage.conf\n";

// 2023-11-14 22:13:20 UTC.
constexpr int32_t kNow = 1700000000;
const std::string kDummyDir = "/opt/storaged/2023_11_14T221320";
const std::string kListFile = "/opt/media/USBDriveA1/internal_storage_file_list_202311142213.txt";

std::string storaged_menu()
{
    return harness::menu("storaged debug menu",
                         {"Create a dummy file", "Remove dummy files", "Internal storage status",
                          "Change to absolute free space mode", "Change to relative free space mode",
                          "Internal storage file list", "Change low storage notify interval",
                          "Change last notify time", "CleanUp unnecessary files"});
}

// The wall clock stopped at SECONDS, in UTC.
RunOptions at_clock(long long seconds)
{
    RunOptions options;
    options.env = {"LD_PRELOAD=" + harness::binary_dir() + "/tests/libpreload_clock.so",
                   "TEST_CLOCK=" + std::to_string(seconds), "TZ=UTC"};
    return options;
}

// Enters the storaged menu, answers INPUT, leaves both menus.
RunResult run_storaged(const DeviceRoot &root, const std::string &input, const RunOptions &options = {})
{
    return root.run("15\n" + input + "99\n99\n", options);
}

// What each action printed between two showings of the storaged menu.
std::vector<std::string> actions(const RunResult &r)
{
    EXPECT_EQ(r.status, 0) << r.err;
    const std::string sub = storaged_menu();
    std::vector<std::string> parts;
    size_t pos = 0;
    for (;;) {
        const size_t next = r.out.find(sub, pos);
        parts.push_back(r.out.substr(pos, next == std::string::npos ? next : next - pos));
        if (next == std::string::npos)
            break;
        pos = next + sub.size();
    }
    if (parts.size() < 2) {
        ADD_FAILURE() << "the storaged menu was not shown:\n" << r.out;
        return {};
    }
    EXPECT_EQ(parts.front(), harness::main_menu());
    EXPECT_EQ(parts.back(), harness::main_menu());
    return {parts.begin() + 1, parts.end() - 1};
}

std::vector<std::string> lines(const std::string &text)
{
    std::vector<std::string> out;
    std::istringstream in(text);
    for (std::string line; std::getline(in, line);)
        out.push_back(line);
    return out;
}

std::vector<std::string> sorted(std::vector<std::string> v)
{
    std::sort(v.begin(), v.end());
    return v;
}

std::vector<std::string> dir_entries(const DeviceRoot &root, const std::string &device_path)
{
    std::vector<std::string> names;
    if (DIR *d = opendir(root.host_path(device_path).c_str())) {
        while (dirent *e = readdir(d))
            if (strcmp(e->d_name, ".") != 0 && strcmp(e->d_name, "..") != 0)
                names.push_back(e->d_name);
        closedir(d);
    }
    return sorted(names);
}

const std::string &dummy_pattern()
{
    static const std::string pattern = [] {
        std::string s(1024 * 1024, '\0');
        for (size_t i = 0; i < s.size(); ++i)
            s[i] = static_cast<char>(i % 256);
        return s;
    }();
    return pattern;
}

class Storaged : public ::testing::Test {
protected:
    DeviceRoot root;
};

TEST_F(Storaged, OnlyTheCopyProgramIsResolvedWhenLoaded)
{
    // Unknown choices show the menu again.
    EXPECT_EQ(actions(run_storaged(root, "0\n10\n")), std::vector<std::string>(2, ""));
    EXPECT_EQ(root.raw_calls_log(), harness::kLoadCalls);
}

// ---- notification interval ----

TEST_F(Storaged, IntervalRewriteKeepsStructureAndReplacesOnlyTheExactKey)
{
    root.write("/etc/storaged/storage.conf",
               "# storaged\n"
               "[LOWSTORAGE]\n"
               "\t  NOTIFY_INTERVAL=3600\n"
               "\n"
               "   # keep = this  \n"
               "WARNING_LEVEL=5\t \n"
               "NOTIFY_INTERVAL =120\n"
               "notify_interval=7\n"
               " \t \n"
               "no key here\n"
               // Lines of more than 99 characters come in pieces.
               "LONG=" + std::string(92, 'a') + "  " + std::string(24, 'a') + "\n" +
               "#" + std::string(98, '-') + "   KEY=1\n"
               "NOTIFY_INTERVAL=" + std::string(100, '9') + "\n"
               "\t[CLEANUP]\n"
               "NOTIFY_INTERVAL=1=2 tail\n"
               "ENABLE=1 \t");
    std::vector<std::string> out = actions(run_storaged(root, "7\n300abc\n"));
    EXPECT_EQ(out, std::vector<std::string>{kIntervalPrompt + "[input] notify interval time : 300 sec \n"});
    const std::string expected = "# storaged\n"
                                 "[LOWSTORAGE]\n"
                                 "NOTIFY_INTERVAL=300\n"
                                 "# keep = this  \n"
                                 "WARNING_LEVEL=5\t \n"
                                 "NOTIFY_INTERVAL =120\n"
                                 "notify_interval=7\n"
                                 "LONG=" + std::string(92, 'a') +
                                 "#" + std::string(98, '-') + "KEY=1\n"
                                 "NOTIFY_INTERVAL=300\n"
                                 "[CLEANUP]\n"
                                 "NOTIFY_INTERVAL=300\n"
                                 "ENABLE=1";
    const std::string actual = root.read("/etc/storaged/storage.conf");
    EXPECT_EQ(actual, expected) << harness::diff(expected, actual);
    EXPECT_FALSE(root.exists("/etc/storaged/tmp"));
}

TEST_F(Storaged, IntervalWithoutTheKeyGetsNoKey)
{
    const std::string config = "[LOWSTORAGE]\nWARNING_LEVEL=5\n";
    root.write("/etc/storaged/storage.conf", config);
    run_storaged(root, "7\n600\n");
    EXPECT_EQ(root.read("/etc/storaged/storage.conf"), config);
}

TEST_F(Storaged, IntervalOutsideTheRangeIsAskedAgain)
{
    std::vector<std::string> out = actions(run_storaged(root, "7\n60\n86401\nabc\n61\n"));
    std::string expected;
    for (const char *refused : {"60", "86401", "0"})
        expected += kIntervalPrompt + "[input] notify interval time : " + refused + " sec \n" + kRange;
    expected += kIntervalPrompt + "[input] notify interval time : 61 sec \n";
    EXPECT_EQ(out, std::vector<std::string>{expected});
    EXPECT_NE(root.read("/etc/storaged/storage.conf").find("\nNOTIFY_INTERVAL=61\n"), std::string::npos);

    run_storaged(root, "7\n86400\n");
    EXPECT_NE(root.read("/etc/storaged/storage.conf").find("\nNOTIFY_INTERVAL=86400\n"), std::string::npos);
}

TEST_F(Storaged, IntervalExitAndEndOfInputTouchNothing)
{
    const std::string before = root.read("/etc/storaged/storage.conf");
    EXPECT_EQ(actions(run_storaged(root, "7\nexit\n")), std::vector<std::string>{kIntervalPrompt});

    RunResult r = root.run("15\n7\n");
    EXPECT_EQ(r.out, harness::main_menu() + storaged_menu() + kIntervalPrompt + storaged_menu() + harness::main_menu());
    EXPECT_EQ(root.read("/etc/storaged/storage.conf"), before);
    EXPECT_FALSE(root.exists("/etc/storaged/tmp"));
}

TEST_F(Storaged, IntervalFailuresLeaveTheConfigurationAsItWas)
{
    const std::string accepted = kIntervalPrompt + "[input] notify interval time : 300 sec \n";
    const std::string config = root.read("/etc/storaged/storage.conf");

    // The temporary file's place is taken by a directory.
    root.write("/etc/storaged/tmp/x", "");
    EXPECT_EQ(actions(run_storaged(root, "7\n300\n")),
              std::vector<std::string>{accepted + "Error in creating new file (21)\n"});
    EXPECT_EQ(root.read("/etc/storaged/storage.conf"), config);
    root.remove("/etc/storaged/tmp");

    // The configuration cannot be replaced: the temporary file stays.
    root.remove("/etc/storaged/storage.conf");
    root.write("/etc/storaged/storage.conf/x", "");
    EXPECT_EQ(actions(run_storaged(root, "7\n300\n")), std::vector<std::string>{accepted + "rename failed (21)\n"});
    EXPECT_TRUE(root.exists("/etc/storaged/tmp"));
    root.remove("/etc/storaged/tmp");

    root.remove("/etc/storaged/storage.conf");
    EXPECT_EQ(actions(run_storaged(root, "7\n300\n")),
              std::vector<std::string>{accepted + "Error in opening config file \n"});
    EXPECT_FALSE(root.exists("/etc/storaged/storage.conf"));
    EXPECT_FALSE(root.exists("/etc/storaged/tmp"));
}

// ---- last notification time ----

TEST(NotifyDuration, AcceptsThreeFieldsOfOneOrTwoDigits)
{
    struct Case {
        const char *input;
        int seconds;
        const char *echo;
    };
    for (const Case &c : {Case{"1:2:3", 3723, "1 Hr, 2 Min, 3 Sec"}, Case{"99:59:59", 359999, "99 Hr, 59 Min, 59 Sec"},
                          Case{"24:00:00", 86400, "24 Hr, 0 Min, 0 Sec"}, Case{"1:2:3:", 3723, "1 Hr, 2 Min, 3 Sec"},
                          Case{"1::2:3", 3723, "1 Hr, 2 Min, 3 Sec"}, Case{":00:0:5", 5, "0 Hr, 0 Min, 5 Sec"},
                          Case{" \t01:02:03\t ", 3723, "1 Hr, 2 Min, 3 Sec"}}) {
        SCOPED_TRACE(c.input);
        char text[100];
        snprintf(text, sizeof text, "%s", c.input);
        EXPECT_EQ(validate_input(text), c.seconds);
        EXPECT_STREQ(text, c.echo);
    }
}

TEST(NotifyDuration, RefusesEverythingElse)
{
    for (const char *input : {"12:60:00", "12:00:60", "1:2", "1:2:3:4", "123:4:5", "1:2:3a", "1234", "1:2:345",
                              "::::::", "1:2 :3", "-1:2:3", "", "1:02:03:04"}) {
        SCOPED_TRACE(input);
        char text[100];
        snprintf(text, sizeof text, "%s", input);
        EXPECT_EQ(validate_input(text), -1);
    }
    EXPECT_EQ(validate_input(nullptr), -1);
}

TEST_F(Storaged, NotifyTimeIsWrittenAsFourNativeBytes)
{
    root.write("/mnt/systemrw/storaged_notify", "0123456789");
    std::vector<std::string> out = actions(run_storaged(root, "8\n12:60:00\n1:2:3\n", at_clock(kNow)));
    EXPECT_EQ(out, std::vector<std::string>{kTimePrompt + kInvalidTime + kTimePrompt +
                                            "[input] time : 1 Hr, 2 Min, 3 Sec \n"
                                            "last popup time written successfully (1699996277 sec)\n"});
    const std::string written = root.read("/mnt/systemrw/storaged_notify");
    ASSERT_EQ(written.size(), 4u);
    int32_t value;
    memcpy(&value, written.data(), sizeof value);
    EXPECT_EQ(value, kNow - 3723);
}

TEST_F(Storaged, NotifyTimeThatCannotBeStoredAsksAgain)
{
    const std::string before = root.read("/mnt/systemrw/storaged_notify");
    const std::string echo = "[input] time : 1 Hr, 2 Min, 3 Sec \n";

    // A clock that was never set.
    EXPECT_EQ(actions(run_storaged(root, "8\n1:2:3\nexit\n", at_clock(1000))),
              std::vector<std::string>{kTimePrompt + echo + "noity_time is negative (-2723)\n" + kTimePrompt});
    EXPECT_EQ(root.read("/mnt/systemrw/storaged_notify"), before);

    RunResult r = root.run("15\n8\n");
    EXPECT_EQ(r.out, harness::main_menu() + storaged_menu() + kTimePrompt + storaged_menu() + harness::main_menu());
    EXPECT_EQ(root.read("/mnt/systemrw/storaged_notify"), before);

    root.remove("/mnt/systemrw/storaged_notify");
    root.write("/mnt/systemrw/storaged_notify/x", "");
    EXPECT_EQ(actions(run_storaged(root, "8\n1:2:3\nexit\n")),
              std::vector<std::string>{kTimePrompt + echo + "File(/mnt/systemrw/storaged_notify) open error(21)\n" +
                                       kTimePrompt});
}

// ---- free-space mode and clean-up ----

TEST_F(Storaged, ModeChangesCopyThePreparedFileWithTheCopyProgram)
{
    EXPECT_EQ(actions(run_storaged(root, "4\n")), std::vector<std::string>{kAbsoluteCopy});
    EXPECT_EQ(root.read("/etc/storaged/storage.conf"), root.read("/etc/storaged/storage_abs.conf"));

    // A copy program of our own shows that the command line really runs.
    const std::string cp = root.host_path("/usr/bin/cp");
    root.write("/usr/bin/cp", "#!/bin/sh\necho \"$*\" >> /tmp/cp-calls\ncat \"$1\" > \"$2\"\n");
    ASSERT_EQ(chmod(cp.c_str(), 0755), 0);
    EXPECT_EQ(actions(run_storaged(root, "5\n")),
              std::vector<std::string>{"/usr/bin/cp /etc/storaged/storage_rel.conf /etc/storaged/storage.conf\n"});
    EXPECT_EQ(root.read("/tmp/cp-calls"), "/etc/storaged/storage_rel.conf /etc/storaged/storage.conf\n");
    EXPECT_EQ(root.read("/etc/storaged/storage.conf"), root.read("/etc/storaged/storage_rel.conf"));
    EXPECT_NE(root.read("/etc/storaged/storage_rel.conf"), root.read("/etc/storaged/storage_abs.conf"));
}

TEST_F(Storaged, ModeChangeWithoutConfigurationCopiesNothing)
{
    root.remove("/etc/storaged/storage.conf");
    const std::string failed = "failed to remove /etc/storaged/storage.conf(2)\n";
    EXPECT_EQ(actions(run_storaged(root, "4\n5\n")), (std::vector<std::string>{failed, failed}));
    EXPECT_FALSE(root.exists("/etc/storaged/storage.conf"));
}

TEST_F(Storaged, FailedCopyLeavesTheDaemonWithoutConfiguration)
{
    root.remove("/etc/storaged/storage_abs.conf");
    RunResult r = run_storaged(root, "4\n7\n300\n");
    EXPECT_EQ(actions(r), (std::vector<std::string>{kAbsoluteCopy, kIntervalPrompt +
                                                                       "[input] notify interval time : 300 sec \n"
                                                                       "Error in opening config file \n"}));
    EXPECT_NE(r.err.find("storage_abs.conf"), std::string::npos) << r.err;
    EXPECT_FALSE(root.exists("/etc/storaged/storage.conf"));
}

TEST_F(Storaged, CleanupPrintsTheAcquiredSizeWithoutLineEnd)
{
    root.set_state("storage", "cleanup_result", "4096");
    root.clear_calls_log();
    EXPECT_EQ(actions(run_storaged(root, "9\n")), std::vector<std::string>{"acquired size = (4096)"});
    EXPECT_EQ(root.calls_log(), "internal_storage_clean_up_unnecessary_files\n");

    root.set_state("fail", "internal_storage_clean_up_unnecessary_files", "-5");
    EXPECT_EQ(actions(run_storaged(root, "9\n")), std::vector<std::string>{"acquired size = (-5)"});
}

// ---- storage figures ----

// statvfs of this test program, replaced while a test sets it up.
struct FakeStatvfs {
    bool active = false;
    int error = 0;
    unsigned long frsize = 0;
    fsblkcnt_t blocks = 0;
    fsblkcnt_t bfree = 0;
    std::vector<std::string> paths;
} fake_statvfs;

// Set while the host's console is one that leaves errno changed.
bool console_changes_errno = false;

}  // namespace

// The host's console for the functions called in this program.
extern "C" int menu_print(int, const char *format, ...)
{
    va_list ap;
    va_start(ap, format);
    const int n = vprintf(format, ap);
    va_end(ap);
    if (console_changes_errno)
        errno = ENOTTY;
    return n;
}

extern "C" int statvfs(const char *path, struct statvfs *buf) noexcept
{
    if (!fake_statvfs.active) {
        using Real = int (*)(const char *, struct statvfs *);
        // A 32-bit build with large-file support calls it statvfs64.
        static const char *const name = sizeof(off_t) > sizeof(long) ? "statvfs64" : "statvfs";
        static const Real real = reinterpret_cast<Real>(dlsym(RTLD_NEXT, name));
        return real(path, buf);
    }
    fake_statvfs.paths.push_back(path);
    if (fake_statvfs.error) {
        errno = fake_statvfs.error;
        return -1;
    }
    memset(buf, 0, sizeof *buf);
    buf->f_bsize = 4 * fake_statvfs.frsize;  // must not be taken for the fragment size
    buf->f_frsize = fake_statvfs.frsize;
    buf->f_blocks = fake_statvfs.blocks;
    buf->f_bfree = fake_statvfs.bfree;
    buf->f_bavail = fake_statvfs.bfree / 2;  // must not be taken for the free blocks
    return 0;
}

namespace {

std::string status_with(unsigned long frsize, fsblkcnt_t blocks, fsblkcnt_t bfree, int error = 0)
{
    fake_statvfs = FakeStatvfs{true, error, frsize, blocks, bfree, {}};
    testing::internal::CaptureStdout();
    print_current_internal_storage_status();
    std::string out = testing::internal::GetCapturedStdout();
    fake_statvfs.active = false;
    EXPECT_EQ(fake_statvfs.paths, (std::vector<std::string>{"/opt", "/opt"}));
    return out;
}

TEST(StorageFigures, FreeSpaceMovesUpAUnitOnlyAbove10240)
{
    const unsigned long long GiB = 1024ULL * 1024 * 1024;
    EXPECT_EQ(status_with(1024, 20, 10),
              "Total : \t20480.000000\nFree  : \t10240.000000 (10240.000000 B)\nUsed(%) : \t50.000000\n");
    EXPECT_EQ(status_with(1, 40964, 10241),
              "Total : \t40964.000000\nFree  : \t10241.000000 (10.000977 KB)\nUsed(%) : \t75.000000\n");
    EXPECT_EQ(status_with(4096, 10 * GiB / 4096, 5 * GiB / 4096),
              "Total : \t10737418240.000000\nFree  : \t5368709120.000000 (5120.000000 MB)\nUsed(%) : \t50.000000\n");
    EXPECT_EQ(status_with(4096, 80 * GiB / 4096, 20 * GiB / 4096),
              "Total : \t85899345920.000000\nFree  : \t21474836480.000000 (20.000000 GB)\nUsed(%) : \t75.000000\n");
    // There is no unit above GB.
    EXPECT_EQ(lines(status_with(4096, 32768 * GiB / 4096, 16384 * GiB / 4096))[1],
              "Free  : \t17592186044416.000000 (16384.000000 GB)");
}

TEST(StorageFigures, AFailedQueryShowsTheNegatedErrorNumber)
{
    const std::vector<std::string> out = lines(status_with(0, 0, 0, EACCES));
    ASSERT_EQ(out.size(), 3u);
    EXPECT_EQ(out[0], "Total : \t-13.000000");
    EXPECT_EQ(out[1], "Free  : \t-13.000000 (-13.000000 B)");
}

TEST_F(Storaged, StatusShowsTheFiguresOfInternalStorage)
{
    RunOptions small = at_clock(kNow);
    small.devroot_args = {"--tmpfs", "/opt", "4m"};
    EXPECT_EQ(actions(run_storaged(root, "3\n1\n1\n3\n", small)),
              (std::vector<std::string>{
                  "Total : \t4194304.000000\nFree  : \t4194304.000000 (4096.000000 KB)\nUsed(%) : \t0.000000\n",
                  kSizePrompt + "Start creating a dummy file : size (1) MB\n",
                  "Total : \t4194304.000000\nFree  : \t3145728.000000 (3072.000000 KB)\nUsed(%) : \t25.000000\n"}));
}

// ---- file list ----

TEST_F(Storaged, FileListHoldsRegularFilesOutsideRemovableMedia)
{
    root.remove("/opt");
    root.write("/opt/a.txt", "abc");
    root.write("/opt/usr/data", "12345");
    root.write("/opt/usr/home/owner/deep/er/empty.bin", "");
    root.write("/opt/mediafiles/kept.txt", "k");
    root.write("/opt/media/top.txt", "not internal");
    root.write("/opt/media/USBDriveA1/stick.txt", "on the stick");
    root.write("/opt/media/USBDriveA1/x/y/z.txt", "deep on the stick");
    ASSERT_EQ(mkdir(root.host_path("/opt/usr/empty").c_str(), 0755), 0);
    ASSERT_EQ(mkfifo(root.host_path("/opt/usr/pipe").c_str(), 0644), 0);
    ASSERT_EQ(symlink("data", root.host_path("/opt/usr/link").c_str()), 0);
    ASSERT_EQ(symlink("usr", root.host_path("/opt/alias").c_str()), 0);
    // Sizes are shown as 32-bit numbers.
    root.write("/opt/big.img", "");
    ASSERT_EQ(truncate(root.host_path("/opt/big.img").c_str(), 3LL * 1024 * 1024 * 1024), 0) << strerror(errno);
    root.clear_calls_log();

    EXPECT_EQ(actions(run_storaged(root, "6\n", at_clock(kNow))),
              std::vector<std::string>{"start scan files\nwritten internal staorage list of files[" + kListFile + "]\n"});
    const std::string list = root.read(kListFile);
    ASSERT_FALSE(list.empty());
    EXPECT_EQ(list.back(), '\n');
    EXPECT_EQ(sorted(lines(list)), (std::vector<std::string>{"/opt/a.txt, 3 bytes", "/opt/big.img, -1073741824 bytes",
                                                             "/opt/mediafiles/kept.txt, 1 bytes",
                                                             "/opt/usr/data, 5 bytes",
                                                             "/opt/usr/home/owner/deep/er/empty.bin, 0 bytes"}));
    EXPECT_EQ(root.calls_log(), "usb_device_get_device_list 8\n");
}

TEST_F(Storaged, FileListNeedsADebugOrPerformanceImage)
{
    if (access("/etc/debug", F_OK) == 0 || access("/etc/perf", F_OK) == 0)
        GTEST_SKIP() << "this machine's own /etc shows through the device root";
    root.remove("/etc/debug");
    root.clear_calls_log();
    EXPECT_EQ(actions(run_storaged(root, "6\n", at_clock(kNow))),
              std::vector<std::string>{"\n[INFO] Feature not supported in Release Image\n"});
    EXPECT_EQ(root.calls_log(), "");
    EXPECT_FALSE(root.exists(kListFile));

    root.write("/etc/perf", "");
    run_storaged(root, "6\n", at_clock(kNow));
    EXPECT_NE(root.read(kListFile).find("/opt/usr/home/owner/media/Downloads/user_manual.pdf, 90310 bytes\n"),
              std::string::npos);
}

TEST_F(Storaged, FileListWithoutAWritableStick)
{
    // Gone, and still known but unmounted.
    root.set_state("usb-device stick", "mountpath", "");
    EXPECT_EQ(actions(run_storaged(root, "6\n")), std::vector<std::string>{"get device path failed\n"});
    root.set_state("usb", "devices", "");
    EXPECT_EQ(actions(run_storaged(root, "6\n")), std::vector<std::string>{"get device path failed\n"});

    root.set_state("usb", "devices", "stick;");
    root.set_state("usb-device stick", "mountpath", "/opt/media/USBDriveB1");
    EXPECT_EQ(actions(run_storaged(root, "6\n")), std::vector<std::string>{"output file open failed\n"});
}

// ---- dummy files ----

TEST_F(Storaged, DummyFilesAreWholeMiBOfTheBytePattern)
{
    std::vector<std::string> out = actions(run_storaged(root, "1\n3\n1\n2\n", at_clock(kNow)));
    EXPECT_EQ(out, (std::vector<std::string>{kSizePrompt + "Start creating a dummy file : size (3) MB\n",
                                             kSizePrompt + "Start creating a dummy file : size (2) MB\n" +
                                                 "failed to create " + kDummyDir + " (17)\n"}));
    EXPECT_EQ(dir_entries(root, "/opt/storaged"), std::vector<std::string>{"2023_11_14T221320"});
    ASSERT_EQ(dir_entries(root, kDummyDir), (std::vector<std::string>{"00000000", "00000001", "00000002"}));
    for (const char *name : {"00000000", "00000001", "00000002"})
        EXPECT_TRUE(root.read(kDummyDir + "/" + name) == dummy_pattern()) << name;
}

TEST_F(Storaged, DummyCountsThatAreNoNumberMakeTheDirectoryOnly)
{
    EXPECT_EQ(actions(run_storaged(root, "1\nexit\n", at_clock(kNow))),
              std::vector<std::string>{kSizePrompt + "Start creating a dummy file : size (exit) MB\n"});
    RunResult r = root.run("15\n1\n");
    EXPECT_EQ(r.out, harness::main_menu() + storaged_menu() + kSizePrompt + storaged_menu() + harness::main_menu());
    EXPECT_FALSE(root.exists("/opt/storaged"));

    run_storaged(root, "1\n0\n", at_clock(kNow));
    run_storaged(root, "1\nabc\n", at_clock(kNow + 1));
    EXPECT_EQ(dir_entries(root, "/opt/storaged"),
              (std::vector<std::string>{"2023_11_14T221320", "2023_11_14T221321"}));
    EXPECT_TRUE(dir_entries(root, kDummyDir).empty());
    EXPECT_TRUE(dir_entries(root, "/opt/storaged/2023_11_14T221321").empty());
}

TEST_F(Storaged, DummyRootThatIsNoDirectoryStopsTheCreation)
{
    root.write("/opt/storaged", "a file");
    EXPECT_EQ(actions(run_storaged(root, "1\n1\n", at_clock(kNow))),
              std::vector<std::string>{kSizePrompt + "Start creating a dummy file : size (1) MB\n" +
                                       "failed to create /opt/storaged (17)\n"});
    EXPECT_EQ(root.read("/opt/storaged"), "a file");
}

TEST_F(Storaged, RemovalTakesEverythingAndTheDummyRootLast)
{
    run_storaged(root, "1\n2\n", at_clock(kNow));
    run_storaged(root, "1\n0\n", at_clock(kNow + 60));
    std::vector<std::string> out = actions(run_storaged(root, "2\n"));
    ASSERT_EQ(out.size(), 1u);
    const std::vector<std::string> removed = lines(out[0]);
    EXPECT_EQ(sorted(removed), (std::vector<std::string>{"remove : /opt/storaged",
                                                         "remove : " + kDummyDir,
                                                         "remove : " + kDummyDir + "/00000000",
                                                         "remove : " + kDummyDir + "/00000001",
                                                         "remove : /opt/storaged/2023_11_14T221420"}));
    ASSERT_FALSE(removed.empty());
    EXPECT_EQ(removed.back(), "remove : /opt/storaged");
    const auto at = [&](const std::string &line) { return std::find(removed.begin(), removed.end(), line); };
    EXPECT_LT(at("remove : " + kDummyDir + "/00000000"), at("remove : " + kDummyDir));
    EXPECT_LT(at("remove : " + kDummyDir + "/00000001"), at("remove : " + kDummyDir));
    EXPECT_FALSE(root.exists("/opt/storaged"));

    run_storaged(root, "1\n1\n", at_clock(kNow));
    EXPECT_EQ(dir_entries(root, kDummyDir), std::vector<std::string>{"00000000"});
}

TEST_F(Storaged, RemovalOfNothingPrintsNothing)
{
    RunResult r = run_storaged(root, "2\n");
    EXPECT_EQ(actions(r), std::vector<std::string>{""});
    EXPECT_EQ(r.err, "");
}

TEST(DummyRemoval, TheErrorShownIsTheRemovalsOwn)
{
    gchar *dir = g_dir_make_tmp("unlink-cb-XXXXXX", nullptr);
    ASSERT_NE(dir, nullptr);
    const std::string top = dir;
    g_free(dir);
    ASSERT_EQ(mkdir((top + "/kept").c_str(), 0755), 0);
    ASSERT_NE(rmdir(top.c_str()), 0);
    const std::string reason = strerror(errno);

    console_changes_errno = true;
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
    const int result = unlink_cb(top.c_str(), nullptr, FTW_DP, nullptr);
    const std::string out = testing::internal::GetCapturedStdout();
    const std::string err = testing::internal::GetCapturedStderr();
    console_changes_errno = false;

    EXPECT_EQ(result, -1);
    EXPECT_EQ(out, "remove : " + top + "\n");
    EXPECT_EQ(err, top + ": " + reason + "\n");
    EXPECT_EQ(rmdir((top + "/kept").c_str()), 0);
    EXPECT_EQ(rmdir(top.c_str()), 0);
}

TEST_F(Storaged, RemovalStopsAtTheFirstEntryThatStays)
{
    // A mount point cannot be removed.
    ASSERT_EQ(g_mkdir_with_parents(root.host_path("/opt/storaged/busy").c_str(), 0755), 0);
    RunOptions options;
    options.devroot_args = {"--tmpfs", "/opt/storaged/busy", "1m"};
    RunResult r = run_storaged(root, "2\n", options);
    EXPECT_EQ(actions(r), std::vector<std::string>{"remove : /opt/storaged/busy\n"});
    EXPECT_NE(r.err.find("/opt/storaged/busy: "), std::string::npos) << r.err;
    EXPECT_TRUE(root.exists("/opt/storaged/busy"));
}

}  // namespace
