// Storage daemon tool through the real host, and its duration parser called
// directly. The clock of the program under test stands still at kNow (UTC).
#include <sys/stat.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <string>
#include <vector>

#include "harness.h"
#include "tavrin_debugmenu.h"

namespace {

using harness::DeviceRoot;
using harness::RunOptions;
using Actions = std::vector<std::string>;

const std::string kConf = "/etc/storaged/storage.conf";
const std::string kIntervalPrompt = "Please enter interval time (in second) or 'exit'\n";
const std::string kTimePrompt = "Please enter last notify time before 24 Hr [24 Hour format] (HH:MM:SS) or exit\n";
const std::string kSizePrompt = "Please enter size of the file you want to create\n";

// 2023-11-14 22:13:20 UTC.
constexpr int32_t kNow = 1700000000;
const std::string kDummyDir = "/opt/storaged/2023_11_14T221320";
const std::string kListFile = "/opt/media/USBDriveA1/internal_storage_file_list_202311142213.txt";

RunOptions at_clock(long long seconds, const std::vector<std::string> &devroot_args = {})
{
    RunOptions options;
    options.env = {"TEST_CLOCK=" + std::to_string(seconds), "TZ=UTC"};
    options.devroot_args = devroot_args;
    return options;
}

Actions storaged(const DeviceRoot &root, const Actions &actions, const RunOptions &options = at_clock(kNow))
{
    return harness::in_menu(root, "15", actions, options).actions;
}

std::vector<std::string> sorted(std::vector<std::string> v)
{
    std::sort(v.begin(), v.end());
    return v;
}

std::vector<std::string> entries(const DeviceRoot &root, const std::string &dir)
{
    std::vector<std::string> names;
    for (const auto &entry : std::filesystem::directory_iterator(root.host_path(dir)))
        names.push_back(entry.path().filename());
    return sorted(names);
}

TEST(Storaged, IntervalRewriteKeepsTheStructureAndReplacesOnlyTheExactKey)
{
    DeviceRoot root;
    root.write(kConf, "# storaged\n[LOWSTORAGE]\n\t  NOTIFY_INTERVAL=3600\n\n   # keep = this  \nWARNING_LEVEL=5\t \n"
                      "NOTIFY_INTERVAL =120\nnotify_interval=7\n \t \nno key here\n"
                      // Lines of more than 99 characters come in pieces.
                      "LONG=" + std::string(92, 'a') + "  " + std::string(24, 'a') + "\n#" + std::string(98, '-') +
                      "   KEY=1\nNOTIFY_INTERVAL=" + std::string(100, '9') + "\n\t[CLEANUP]\nNOTIFY_INTERVAL=1=2 tail\n"
                      "ENABLE=1 \t");
    const std::string echo = "[input] notify interval time : ";
    EXPECT_EQ(storaged(root, {"7\n60\n86401\nabc\n300abc\n"}),
              Actions{kIntervalPrompt + echo + "60 sec \nTime should be in range (60, 86400] sec\n" + kIntervalPrompt +
                      echo + "86401 sec \nTime should be in range (60, 86400] sec\n" + kIntervalPrompt + echo +
                      "0 sec \nTime should be in range (60, 86400] sec\n" + kIntervalPrompt + echo + "300 sec \n"});
    const std::string expected = "# storaged\n[LOWSTORAGE]\nNOTIFY_INTERVAL=300\n# keep = this  \nWARNING_LEVEL=5\t \n"
                                 "NOTIFY_INTERVAL =120\nnotify_interval=7\nLONG=" + std::string(92, 'a') + "#" +
                                 std::string(98, '-') + "KEY=1\nNOTIFY_INTERVAL=300\n[CLEANUP]\nNOTIFY_INTERVAL=300\n"
                                 "ENABLE=1";
    EXPECT_EQ(root.read(kConf), expected) << harness::diff(expected, root.read(kConf));
    storaged(root, {"7\n86400\n", "7\n61\n", "7\nexit\n"});
    EXPECT_NE(root.read(kConf).find("\nNOTIFY_INTERVAL=61\n"), std::string::npos);
    EXPECT_FALSE(root.exists("/etc/storaged/tmp"));
}

TEST(Storaged, IntervalFailuresLeaveTheConfigurationAsItWas)
{
    DeviceRoot root;
    const std::string accepted = kIntervalPrompt + "[input] notify interval time : 300 sec \n";
    const std::string config = root.read(kConf);
    root.write("/etc/storaged/tmp/x", "");  // a directory in the temporary file's place
    EXPECT_EQ(storaged(root, {"7\n300\n"}), Actions{accepted + "Error in creating new file (21)\n"});
    EXPECT_EQ(root.read(kConf), config);
    root.remove("/etc/storaged/tmp");
    root.remove(kConf);
    root.write(kConf + "/x", "");  // a configuration that cannot be replaced
    EXPECT_EQ(storaged(root, {"7\n300\n"}), Actions{accepted + "rename failed (21)\n"});
    EXPECT_TRUE(root.exists("/etc/storaged/tmp"));
    root.remove("/etc/storaged/tmp");
    root.remove(kConf);
    EXPECT_EQ(storaged(root, {"7\n300\n"}), Actions{accepted + "Error in opening config file \n"});
    EXPECT_FALSE(root.exists("/etc/storaged/tmp"));
    // Without the key, no key is added.
    root.write(kConf, "[LOWSTORAGE]\nWARNING_LEVEL=5\n");
    storaged(root, {"7\n600\n"});
    EXPECT_EQ(root.read(kConf), "[LOWSTORAGE]\nWARNING_LEVEL=5\n");
}

TEST(Storaged, NotifyDurationIsThreeFieldsOfOneOrTwoDigits)
{
    const std::vector<std::pair<const char *, int>> cases = {
        {"1:2:3", 3723},  {"99:59:59", 359999}, {"24:00:00", 86400}, {"1:2:3:", 3723}, {"1::2:3", 3723},
        {":00:0:5", 5},   {" \t01:02:03\t ", 3723}, {"12:60:00", -1}, {"12:00:60", -1},  {"1:2", -1},
        {"1:2:3:4", -1},  {"123:4:5", -1},    {"1:2:3a", -1},      {"1234", -1},       {"::::::", -1},
        {"1:2 :3", -1},   {"-1:2:3", -1},     {"", -1},            {"1:02:03:04", -1}};
    for (const auto &[input, seconds] : cases) {
        char text[100];
        snprintf(text, sizeof text, "%s", input);
        EXPECT_EQ(validate_input(text), seconds) << input;
        if (seconds == 3723) {
            EXPECT_STREQ(text, "1 Hr, 2 Min, 3 Sec");
        }
    }
    EXPECT_EQ(validate_input(nullptr), -1);
}

TEST(Storaged, NotifyTimeIsWrittenAsFourNativeBytesOrAskedAgain)
{
    DeviceRoot root;
    root.write("/mnt/systemrw/storaged_notify", "0123456789");
    const std::string echo = "[input] time : 1 Hr, 2 Min, 3 Sec \n";
    EXPECT_EQ(storaged(root, {"8\n12:60:00\n1:2:3\n"}),
              Actions{kTimePrompt + "Invalid Input, input example 21:03:34\n" + kTimePrompt + echo +
                      "last popup time written successfully (1699996277 sec)\n"});
    const std::string written = root.read("/mnt/systemrw/storaged_notify");
    int32_t value = 0;
    ASSERT_EQ(written.size(), sizeof value);
    memcpy(&value, written.data(), sizeof value);
    EXPECT_EQ(value, kNow - 3723);
    // A clock that was never set.
    EXPECT_EQ(storaged(root, {"8\n1:2:3\nexit\n"}, at_clock(1000)),
              Actions{kTimePrompt + echo + "noity_time is negative (-2723)\n" + kTimePrompt});
    EXPECT_EQ(root.read("/mnt/systemrw/storaged_notify"), written);
    root.remove("/mnt/systemrw/storaged_notify");
    root.write("/mnt/systemrw/storaged_notify/x", "");
    EXPECT_EQ(storaged(root, {"8\n1:2:3\nexit\n"}),
              Actions{kTimePrompt + echo + "File(/mnt/systemrw/storaged_notify) open error(21)\n" + kTimePrompt});
}

TEST(Storaged, ModeChangesRunTheCopyProgramAndCleanUpReportsItsSize)
{
    DeviceRoot root;
    const std::string rel = "/usr/bin/cp /etc/storaged/storage_rel.conf /etc/storaged/storage.conf\n";
    EXPECT_EQ(storaged(root, {"4\n"}),
              Actions{"/usr/bin/cp /etc/storaged/storage_abs.conf /etc/storaged/storage.conf\n"});
    EXPECT_EQ(root.read(kConf), root.read("/etc/storaged/storage_abs.conf"));
    // A copy program of our own shows that the command line really runs.
    root.write("/usr/bin/cp", "#!/bin/sh\necho \"$*\" >> /tmp/cp-calls\ncat \"$1\" > \"$2\"\n");
    ASSERT_EQ(chmod(root.host_path("/usr/bin/cp").c_str(), 0755), 0);
    root.set_state("storage", "cleanup_result", "4096");
    EXPECT_EQ(storaged(root, {"5\n", "9\n"}), (Actions{rel, "acquired size = (4096)"}));
    EXPECT_EQ(root.read("/tmp/cp-calls"), "/etc/storaged/storage_rel.conf /etc/storaged/storage.conf\n");
    EXPECT_EQ(root.read(kConf), root.read("/etc/storaged/storage_rel.conf"));
    // The real copy program again, and nothing to copy.
    root.remove("/usr/bin/cp");
    root.remove("/etc/storaged/storage_rel.conf");
    root.set_state("fail", "internal_storage_clean_up_unnecessary_files", "-5");
    const std::string failed = "failed to remove /etc/storaged/storage.conf(2)\n";
    EXPECT_EQ(storaged(root, {"5\n", "4\n", "9\n"}), (Actions{rel, failed, "acquired size = (-5)"}));
    EXPECT_FALSE(root.exists(kConf));
    EXPECT_EQ(root.calls_log(), "internal_storage_clean_up_unnecessary_files\n"
                                "internal_storage_clean_up_unnecessary_files\n");
}

TEST(Storaged, StatusShowsTheFiguresOfInternalStorage)
{
    DeviceRoot root;
    const std::string created = kSizePrompt + "Start creating a dummy file : size (1) MB\n";
    const std::string total = "Total : \t4194304.000000\nFree  : \t";
    EXPECT_EQ(storaged(root, {"3\n", "1\n1\n", "3\n"}, at_clock(kNow, {"--tmpfs", "/opt", "4m"})),
              (Actions{total + "4194304.000000 (4096.000000 KB)\nUsed(%) : \t0.000000\n", created,
                       total + "3145728.000000 (3072.000000 KB)\nUsed(%) : \t25.000000\n"}));
    // The unit goes up only above 10240, and no higher than GB.
    for (const auto &[size, free] : std::vector<std::pair<std::string, std::string>>{
             {"8k", "8192.000000 (8192.000000 B)"}, {"5g", "5368709120.000000 (5120.000000 MB)"},
             {"32768g", "35184372088832.000000 (32768.000000 GB)"}})
        EXPECT_EQ(harness::lines(storaged(root, {"3\n"}, at_clock(kNow, {"--tmpfs", "/opt", size}))[0])[1],
                  "Free  : \t" + free);
}

TEST(Storaged, FileListHoldsRegularFilesOutsideRemovableMedia)
{
    DeviceRoot root;
    root.remove("/opt");
    root.write("/opt/a.txt", "abc");
    root.write("/opt/usr/data", "12345");
    root.write("/opt/usr/home/owner/deep/er/empty.bin", "");
    root.write("/opt/mediafiles/kept.txt", "k");
    root.write("/opt/media/top.txt", "not internal");
    root.write("/opt/media/USBDriveA1/x/y/z.txt", "on the stick");
    ASSERT_EQ(mkfifo(root.host_path("/opt/usr/pipe").c_str(), 0644), 0);
    ASSERT_EQ(symlink("data", root.host_path("/opt/usr/link").c_str()), 0);
    ASSERT_EQ(symlink("usr", root.host_path("/opt/alias").c_str()), 0);
    // Sizes are shown as 32-bit numbers.
    root.write("/opt/big.img", "");
    ASSERT_EQ(truncate(root.host_path("/opt/big.img").c_str(), 3LL * 1024 * 1024 * 1024), 0) << strerror(errno);
    EXPECT_EQ(storaged(root, {"6\n"}),
              Actions{"start scan files\nwritten internal staorage list of files[" + kListFile + "]\n"});
    const std::string list = root.read(kListFile);
    EXPECT_EQ(sorted(harness::lines(list)),
              (std::vector<std::string>{"/opt/a.txt, 3 bytes", "/opt/big.img, -1073741824 bytes",
                                        "/opt/mediafiles/kept.txt, 1 bytes", "/opt/usr/data, 5 bytes",
                                        "/opt/usr/home/owner/deep/er/empty.bin, 0 bytes"}));
    EXPECT_EQ(list.back(), '\n');
    EXPECT_EQ(root.calls_log(), "usb_device_get_device_list 8\n");
    // A stick that is not mounted, no stick, a stick that cannot be written.
    root.set_state("usb-device stick", "mountpath", "");
    EXPECT_EQ(storaged(root, {"6\n"}), Actions{"get device path failed\n"});
    root.set_state("usb", "devices", "");
    EXPECT_EQ(storaged(root, {"6\n"}), Actions{"get device path failed\n"});
    root.set_state("usb", "devices", "stick;");
    root.set_state("usb-device stick", "mountpath", "/opt/media/USBDriveB1");
    EXPECT_EQ(storaged(root, {"6\n"}), Actions{"output file open failed\n"});
}

TEST(Storaged, DummyFilesAreWholeMiBOfTheBytePatternAndAreRemovedRootLast)
{
    DeviceRoot root;
    const std::string echo = kSizePrompt + "Start creating a dummy file : size (";
    EXPECT_EQ(storaged(root, {"1\nexit\n"}), Actions{echo + "exit) MB\n"});
    EXPECT_FALSE(root.exists("/opt/storaged"));
    EXPECT_EQ(storaged(root, {"1\n3\n", "1\n2\n"}),
              (Actions{echo + "3) MB\n", echo + "2) MB\nfailed to create " + kDummyDir + " (17)\n"}));
    ASSERT_EQ(entries(root, kDummyDir), (std::vector<std::string>{"00000000", "00000001", "00000002"}));
    std::string pattern(1024 * 1024, '\0');
    for (size_t i = 0; i < pattern.size(); ++i)
        pattern[i] = static_cast<char>(i);
    EXPECT_TRUE(root.read(kDummyDir + "/00000002") == pattern);
    // A count that is no number makes the directory only.
    storaged(root, {"1\nabc\n"}, at_clock(kNow + 60));
    const Actions removals = storaged(root, {"2\n", "2\n"});
    EXPECT_EQ(removals[1], "");  // nothing left to remove
    const std::vector<std::string> removed = harness::lines(removals[0]);
    EXPECT_EQ(sorted(removed), (std::vector<std::string>{"remove : /opt/storaged", "remove : " + kDummyDir,
                                                         "remove : " + kDummyDir + "/00000000",
                                                         "remove : " + kDummyDir + "/00000001",
                                                         "remove : " + kDummyDir + "/00000002",
                                                         "remove : /opt/storaged/2023_11_14T221420"}));
    EXPECT_EQ(removed.back(), "remove : /opt/storaged");
    EXPECT_LT(std::find(removed.begin(), removed.end(), "remove : " + kDummyDir + "/00000000"),
              std::find(removed.begin(), removed.end(), "remove : " + kDummyDir));
    EXPECT_FALSE(root.exists("/opt/storaged"));
    root.write("/opt/storaged", "a file");
    EXPECT_EQ(storaged(root, {"1\n1\n"}), Actions{echo + "1) MB\nfailed to create /opt/storaged (17)\n"});
    // A mount point cannot be removed: the removal stops there.
    root.remove("/opt/storaged");
    root.write("/opt/storaged/busy/.keep", "");
    const harness::MenuRun busy =
        harness::in_menu(root, "15", {"2\n"}, at_clock(kNow, {"--tmpfs", "/opt/storaged/busy", "1m"}));
    EXPECT_EQ(busy.actions, Actions{"remove : /opt/storaged/busy\n"});
    EXPECT_NE(busy.result.err.find("/opt/storaged/busy: "), std::string::npos) << busy.result.err;
}

}  // namespace
