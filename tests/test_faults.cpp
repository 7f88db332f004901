// Faults that a device meets while the tools change its files: a power cut
// between two steps, a full file system, a read-only directory, a file
// removed by another process between two steps, a database locked by
// another process. After each, every byte of the data that was there before
// must still be somewhere: in its file, or in the copy the tool made.
#include <signal.h>
#include <sqlite3.h>

#include <gtest/gtest.h>

#include <cstdio>
#include <random>
#include <sstream>
#include <string>
#include <vector>

#include "buxton_helpers.h"
#include "harness.h"

namespace {

using harness::DeviceRoot;
using harness::RunOptions;
using harness::RunResult;

const std::string kDb = "/opt/usr/dbspace/p.db";
const std::string kJournal = kDb + "-journal";
const std::string kTemp = "/var/lib/buxton2/tmp.db";
const std::string kConf = "/etc/storaged/storage.conf";
const std::string kConfTemp = "/etc/storaged/tmp";
const std::string kFaultLog = "/tmp/fault.log";
const std::string kTempLeft = "(/var/lib/buxton2/tmp.db) is left from an earlier failure and may be the only copy "
                              "of a db file: save it elsewhere and remove it\n";

// Tallies for the closing summary.
int g_faults = 0;
size_t g_bytes_at_risk = 0;
size_t g_bytes_lost = 0;

std::string random_bytes(size_t size, unsigned seed)
{
    std::mt19937 gen(seed);
    std::string s(size, '\0');
    for (char &c : s)
        c = static_cast<char>(gen());
    return s;
}

// ORIGINAL must be found whole in one of the candidate files.
void expect_kept(const DeviceRoot &root, const std::string &original, const std::vector<std::string> &where)
{
    g_bytes_at_risk += original.size();
    for (const std::string &path : where) {
        if (root.exists(path) && root.read(path) == original)
            return;
    }
    g_bytes_lost += original.size();
    std::string places;
    for (const std::string &path : where)
        places += " " + path + (root.exists(path) ? "(" + std::to_string(root.read(path).size()) + " bytes)" : "(gone)");
    ADD_FAILURE() << original.size() << " bytes lost; looked in" << places;
}

RunOptions fault_options(const std::string &paths, int at = 0, const std::string &action = "kill")
{
    RunOptions o = bx::options();
    o.env[0] += ":" + harness::binary_dir() + "/tests/libpreload_fault.so";
    o.env.push_back("FAULT_PATHS=" + paths);
    o.env.push_back("FAULT_LOG=" + kFaultLog);
    if (at > 0) {
        o.env.push_back("FAULT_AT=" + std::to_string(at));
        o.env.push_back("FAULT_ACTION=" + action);
    }
    return o;
}

std::vector<std::string> lines(const std::string &text)
{
    std::vector<std::string> out;
    std::istringstream in(text);
    for (std::string line; std::getline(in, line);)
        out.push_back(line);
    return out;
}

// The counted file steps of a fault-free run of INPUT.
std::vector<std::string> steps_of(const DeviceRoot &root, const std::string &input, const std::string &paths)
{
    root.write(kFaultLog, "");
    RunResult r = root.run(input, fault_options(paths));
    EXPECT_EQ(r.status, 0);
    return lines(root.read(kFaultLog));
}

size_t index_of(const std::vector<std::string> &steps, const std::string &step)
{
    for (size_t i = 0; i < steps.size(); ++i) {
        if (steps[i] == step)
            return i + 1;
    }
    ADD_FAILURE() << "no step " << step;
    return 0;
}

// Runs debugmenu under a shell that prepares the device first (SETUP) and
// looks at it afterwards (AFTER), for state that lives only in the run's
// mount namespace.
RunResult run_in_shell(const DeviceRoot &root, const std::string &setup, const std::string &input,
                       const std::string &after, const RunOptions &options = bx::options())
{
    // The shell starts debugmenu itself, which a cross build cannot run.
    if (harness::emulated()) {
        ADD_FAILURE() << "run_in_shell needs a native build";
        return {};
    }
    const std::string script = setup + "\n" + harness::binary_dir() + "/debugmenu\nstatus=$?\n" + after +
                               "\nexit $status\n";
    return root.run_command({"sh", "-c", script}, input, options);
}

bool has(const RunResult &r, const std::string &text)
{
    return r.out.find(text) != std::string::npos;
}

const std::string kMakeWritable = "11\n13\n" + kDb + "\n99\n99\n";

TEST(PowerCut, MakeWritableKeepsEveryByteWhereverItStops)
{
    DeviceRoot root;
    const std::string db = random_bytes(3 * 4096 + 1000, 1), journal = random_bytes(1500, 2);
    auto reset = [&] {
        root.write(kDb, db);
        root.write(kJournal, journal);
        root.remove(kTemp);
    };
    const std::string paths = "/opt/usr/dbspace/:/var/lib/buxton2/";
    reset();
    const std::vector<std::string> steps = steps_of(root, kMakeWritable, paths);
    // Two passes (file, journal) of copy out, remove, copy back, remove; a
    // copy is an open and a write per 4096-byte block.
    ASSERT_EQ(steps.size(), (5u + 1 + 5 + 1) + (2u + 1 + 2 + 1)) << ::testing::PrintToString(steps);
    EXPECT_EQ(steps.front(), "open " + kTemp);
    EXPECT_EQ(steps[5], "remove " + kDb);

    for (size_t n = 1; n <= steps.size(); ++n) {
        SCOPED_TRACE("killed before step " + std::to_string(n) + ": " + steps[n - 1]);
        reset();
        RunResult r = root.run(kMakeWritable, fault_options(paths, static_cast<int>(n)));
        EXPECT_EQ(r.status, 128 + SIGKILL);
        ++g_faults;
        expect_kept(root, db, {kDb, kTemp});
        expect_kept(root, journal, {kJournal, kTemp});

        // After the restart the tool will not touch the only copy.
        if (!root.exists(kTemp))
            continue;
        const std::string db_now = root.read(kDb), journal_now = root.read(kJournal), temp = root.read(kTemp);
        r = bx::run(root, kMakeWritable);
        EXPECT_TRUE(has(r, kTempLeft)) << r.out;
        EXPECT_EQ(root.read(kTemp), temp);
        EXPECT_EQ(root.read(kDb), db_now);
        EXPECT_EQ(root.read(kJournal), journal_now);
    }
}

TEST(PowerCut, IntervalChangeLeavesTheOldOrTheNewConfiguration)
{
    DeviceRoot root;
    const std::string original = root.read(kConf);
    const std::string input = "15\n7\n600\n99\n99\n";
    const std::vector<std::string> steps = steps_of(root, input, "/etc/storaged/");
    ASSERT_EQ(steps, (std::vector<std::string>{"open " + kConfTemp, "rename " + kConfTemp + " " + kConf}));
    const std::string changed = root.read(kConf);
    ASSERT_NE(changed.find("NOTIFY_INTERVAL=600\n"), std::string::npos) << changed;

    for (size_t n = 1; n <= steps.size(); ++n) {
        SCOPED_TRACE(steps[n - 1]);
        root.write(kConf, original);
        root.remove(kConfTemp);
        RunResult r = root.run(input, fault_options("/etc/storaged/", static_cast<int>(n)));
        EXPECT_EQ(r.status, 128 + SIGKILL);
        ++g_faults;
        expect_kept(root, original, {kConf});
        // The next change goes through, over whatever was left behind.
        EXPECT_EQ(bx::run(root, input).status, 0);
        EXPECT_EQ(root.read(kConf), changed);
        EXPECT_FALSE(root.exists(kConfTemp));
    }
}

TEST(RemovedBetweenSteps, MakeWritableKeepsTheCopyOfAFileRemovedUnderIt)
{
    DeviceRoot root;
    const std::string db = random_bytes(5000, 3);
    root.write(kDb, db);
    const std::string paths = "/opt/usr/dbspace/:/var/lib/buxton2/";
    const size_t at = index_of(steps_of(root, kMakeWritable, paths), "remove " + kDb);
    root.write(kDb, db);
    root.remove(kTemp);
    RunResult r = root.run(kMakeWritable, fault_options(paths, static_cast<int>(at), "remove:" + kDb));
    ++g_faults;
    EXPECT_EQ(r.status, 0);
    EXPECT_TRUE(has(r, "failed to remove a file (" + kDb + ")-(2)\n" + kTempLeft)) << r.out;
    expect_kept(root, db, {kTemp});
}

TEST(RemovedBetweenSteps, IntervalChangeStillPutsTheWholeConfigurationInPlace)
{
    DeviceRoot root;
    const std::string original = root.read(kConf);
    const std::string input = "15\n7\n600\n99\n99\n";
    const size_t at = index_of(steps_of(root, input, "/etc/storaged/"), "rename " + kConfTemp + " " + kConf);
    const std::string changed = root.read(kConf);
    root.write(kConf, original);
    RunResult r = root.run(input, fault_options("/etc/storaged/", static_cast<int>(at), "remove:" + kConf));
    ++g_faults;
    EXPECT_EQ(r.status, 0);
    // Every setting of the old file is in the new one.
    expect_kept(root, changed, {kConf});
}

TEST(FullFileSystem, IntervalChangeKeepsTheConfiguration)
{
    if (harness::emulated())
        GTEST_SKIP() << "the shell inside the device root starts debugmenu natively";
    DeviceRoot root;
    const std::string original = root.read(kConf);
    root.write("/tmp/save/storage.conf", original);
    RunOptions o = bx::options();
    o.devroot_args = {"--tmpfs", "/etc/storaged", "16k"};
    RunResult r = run_in_shell(root,
                               "cp /tmp/save/storage.conf /etc/storaged/ && "
                               "{ dd if=/dev/zero of=/etc/storaged/fill bs=1k 2>/dev/null; true; }",
                               "15\n7\n600\n99\n99\n",
                               "cp /etc/storaged/storage.conf /tmp/after.conf; ls -A /etc/storaged > /tmp/after.list",
                               o);
    ++g_faults;
    EXPECT_EQ(r.status, 0);
    EXPECT_TRUE(has(r, "Please enter interval time (in second) or 'exit'\n[input] notify interval time : 600 sec \n"
                       "Error in creating new file (28)\n"))
        << r.out;
    expect_kept(root, original, {"/tmp/after.conf"});
    EXPECT_EQ(root.read("/tmp/after.list"), "fill\nstorage.conf\n");
}

TEST(FullFileSystem, NotifyTimeThatCannotBeStoredIsNotReportedAsWritten)
{
    if (harness::emulated())
        GTEST_SKIP() << "the shell inside the device root starts debugmenu natively";
    DeviceRoot root;
    RunOptions o = bx::options();
    o.devroot_args = {"--tmpfs", "/mnt/systemrw", "16k"};
    RunResult r = run_in_shell(root, "{ dd if=/dev/zero of=/mnt/systemrw/fill bs=1k 2>/dev/null; true; }",
                               "15\n8\n00:10:00\n", "wc -c < /mnt/systemrw/storaged_notify > /tmp/size", o);
    ++g_faults;
    EXPECT_EQ(r.status, 0);
    EXPECT_TRUE(has(r, "[input] time : 0 Hr, 10 Min, 0 Sec \ndata not written to file\n"
                       "Please enter last notify time before 24 Hr [24 Hour format] (HH:MM:SS) or exit\n"))
        << r.out;
    EXPECT_FALSE(has(r, "written successfully")) << r.out;
    EXPECT_EQ(root.read("/tmp/size"), "0\n");
}

TEST(FullFileSystem, BuxtonStoreLeavesTheDatabaseAsItWas)
{
    if (harness::emulated())
        GTEST_SKIP() << "the shell inside the device root starts debugmenu natively";
    DeviceRoot root;
    bx::make_db(root.host_path("/opt/usr/src/f.db"),
                {{"db/k", bx::base64(bx::record(bx::kPublic, bx::kPublic, "", g_variant_new_int32(1)))}});
    const std::string original = root.read("/opt/usr/src/f.db");
    root.write("/opt/usr/full/.keep", "");
    RunOptions o = bx::options();
    o.devroot_args = {"--tmpfs", "/opt/usr/full", "64k"};
    const std::string big(4000, 'x');
    RunResult r = run_in_shell(root,
                               "cp /opt/usr/src/f.db /opt/usr/full/ && "
                               "{ dd if=/dev/zero of=/opt/usr/full/fill bs=1k 2>/dev/null; true; }",
                               "11\n1\n/opt/usr/full/f.db\n6\ndb/big " + big + "\nexit now\n3\n99\n99\n",
                               "cp /opt/usr/full/f.db /tmp/after.db; ls -A /opt/usr/full > /tmp/after.list", o);
    ++g_faults;
    EXPECT_EQ(r.status, 0);
    EXPECT_TRUE(has(r, "Sqlite3 error [13] : <database or disk is full> executing statement\n")) << r.out;
    EXPECT_TRUE(has(r, "failed to set buxton value (db/big)-(" + big + ")\n")) << r.out;
    EXPECT_TRUE(has(r, "[0] key(db/k) value(1)")) << r.out;
    expect_kept(root, original, {"/tmp/after.db"});
    EXPECT_EQ(root.read("/tmp/after.list"), "f.db\nfill\n");
}

// A directory mounted read-only under the tool.
RunResult run_read_only(const DeviceRoot &root, const std::string &dir, const std::string &input)
{
    return run_in_shell(root, "mount --bind -o ro " + dir + " " + dir + " || exit 99", input, "");
}

TEST(ReadOnlyDirectory, StorageFilesStayAsTheyWere)
{
    if (harness::emulated())
        GTEST_SKIP() << "the shell inside the device root starts debugmenu natively";
    DeviceRoot root;
    const std::string conf = root.read(kConf), notify = root.read("/mnt/systemrw/storaged_notify");

    RunResult r = run_read_only(root, "/etc/storaged", "15\n7\n600\n4\n5\n99\n99\n");
    g_faults += 3;
    EXPECT_EQ(r.status, 0);
    EXPECT_TRUE(has(r, "Error in creating new file (30)\n")) << r.out;
    EXPECT_TRUE(has(r, "failed to remove /etc/storaged/storage.conf(30)\n")) << r.out;
    expect_kept(root, conf, {kConf});
    EXPECT_FALSE(root.exists(kConfTemp));

    r = run_read_only(root, "/mnt/systemrw", "15\n8\n00:10:00\n");
    ++g_faults;
    EXPECT_EQ(r.status, 0);
    EXPECT_TRUE(has(r, "File(/mnt/systemrw/storaged_notify) open error(30)\n")) << r.out;
    expect_kept(root, notify, {"/mnt/systemrw/storaged_notify"});
}

// The configuration is busy (a mount point), so the rewrite cannot take its
// place: the configuration stays, and so does the rewrite.
TEST(ReadOnlyDirectory, IntervalChangeOntoABusyConfiguration)
{
    if (harness::emulated())
        GTEST_SKIP() << "the shell inside the device root starts debugmenu natively";
    DeviceRoot root;
    const std::string conf = root.read(kConf);
    root.write("/tmp/conf", conf);
    RunResult r = run_in_shell(root, "mount --bind /tmp/conf " + kConf + " || exit 99", "15\n7\n600\n99\n99\n",
                               "cp " + kConfTemp + " /tmp/rewrite");
    ++g_faults;
    EXPECT_EQ(r.status, 0);
    EXPECT_TRUE(has(r, "rename failed (16)\n")) << r.out;
    expect_kept(root, conf, {kConf});
    expect_kept(root, conf, {"/tmp/conf"});
    EXPECT_NE(root.read("/tmp/rewrite").find("NOTIFY_INTERVAL=600\n"), std::string::npos);
}

TEST(ReadOnlyDirectory, RestoreBaseLeavesTheBaseDatabase)
{
    if (harness::emulated())
        GTEST_SKIP() << "the shell inside the device root starts debugmenu natively";
    DeviceRoot root;
    const std::string base = "/var/lib/buxton2_base/system.db";
    const std::string original = root.read(base);
    RunResult r = run_read_only(root, "/var/lib/buxton2_base", "11\n12\nsystem\n99\n99\n");
    ++g_faults;
    EXPECT_EQ(r.status, 0);
    EXPECT_TRUE(has(r, "failed to remove (" + base + ")\n")) << r.out;
    EXPECT_TRUE(has(r, "failed to open(" + base + "):(30)\n")) << r.out;
    expect_kept(root, original, {base});
}

// Another process holds the database's write lock for the whole run.
TEST(LockedDatabase, EveryOperationFailsAtOnceAndChangesNothing)
{
    DeviceRoot root;
    const std::string path = "/opt/usr/dbspace/locked.db";
    bx::make_db(root.host_path(path),
                {{"db/k", bx::base64(bx::record(bx::kPublic, bx::kPublic, "", g_variant_new_int32(1)))}});
    const std::string original = root.read(path);

    sqlite3 *holder = nullptr;
    ASSERT_EQ(sqlite3_open(root.host_path(path).c_str(), &holder), SQLITE_OK);
    ASSERT_EQ(sqlite3_exec(holder, "BEGIN EXCLUSIVE", nullptr, nullptr, nullptr), SQLITE_OK);

    // A setter reads a key and a value, so its exit word takes a second word.
    RunResult r = bx::run(root, "11\n1\n" + path + "\n4\ndb/k 5\nexit now\n6\ndb/s text\nexit now\n9\ndb/k\n8\ndb/k\n3\n10\n" +
                                    path + "\n99\n99\n");
    g_faults += 6;
    EXPECT_EQ(r.status, 0);
    // The schema cannot even be read under another's exclusive lock.
    const std::string locked = "prepare error, ret = 5, extended = 5\n";
    EXPECT_TRUE(has(r, locked + "failed to set buxton value (db/k)-(5)\n")) << r.out;
    EXPECT_TRUE(has(r, locked + "failed to set buxton value (db/s)-(text)\n")) << r.out;
    EXPECT_TRUE(has(r, "failed to delete (db/k)\n")) << r.out;
    EXPECT_TRUE(has(r, "failed to get value (db/k) \n")) << r.out;
    EXPECT_TRUE(has(r, "Failed to list the keys... in database (" + path + ") \n")) << r.out;
    EXPECT_TRUE(has(r, "Invalid db file : integrity_check failed(" + path + ")\n")) << r.out;
    EXPECT_FALSE(has(r, "succeeded")) << r.out;

    EXPECT_EQ(sqlite3_exec(holder, "COMMIT", nullptr, nullptr, nullptr), SQLITE_OK);
    sqlite3_close(holder);
    expect_kept(root, original, {path});
}

// The figures of the whole program, for the record.
class Summary : public ::testing::Environment {
public:
    void TearDown() override
    {
        printf("[ faults   ] %d faults injected, %zu bytes at risk, %zu bytes lost\n", g_faults, g_bytes_at_risk,
               g_bytes_lost);
    }
};
const auto *const summary = ::testing::AddGlobalTestEnvironment(new Summary);

}  // namespace
