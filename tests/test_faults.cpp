// Faults that a device meets while the tools change its files: a power cut
// between two steps, a file removed by another process between two steps, a
// full file system, a read-only directory, a database locked by another
// process. After each, every byte of the data that was there before must
// still be somewhere: in its file, or in the copy the tool made.
#include <signal.h>
#include <sqlite3.h>

#include <glib.h>
#include <gtest/gtest.h>

#include <random>
#include <string>
#include <vector>

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
const std::string kMakeWritable = "11\n13\n" + kDb + "\n99\n99\n";
const std::string kInterval = "15\n7\n600\n99\n99\n";

std::string random_bytes(size_t size, unsigned seed)
{
    std::mt19937 gen(seed);
    std::string s(size, '\0');
    for (char &c : s)
        c = static_cast<char>(gen());
    return s;
}

// ORIGINAL must be found whole in one of the files WHERE.
void expect_kept(const DeviceRoot &root, const std::string &original, const std::vector<std::string> &where)
{
    for (const std::string &path : where) {
        if (root.exists(path) && root.read(path) == original)
            return;
    }
    ADD_FAILURE() << original.size() << " bytes lost; looked in " << ::testing::PrintToString(where);
}

bool has(const RunResult &r, const std::string &text)
{
    return r.out.find(text) != std::string::npos;
}

void expect_printed(const RunResult &r, const std::vector<std::string> &texts)
{
    for (const std::string &text : texts)
        EXPECT_TRUE(has(r, text)) << text << "\nis not in:\n" << r.out;
}

// File steps below PATHS are counted; with AT, ACTION happens before that one.
RunOptions fault_options(const std::string &paths, size_t at = 0, const std::string &action = "kill")
{
    RunOptions o;
    o.env = {"FAULT_PATHS=" + paths, "FAULT_LOG=" + kFaultLog, "FAULT_AT=" + std::to_string(at),
             "FAULT_ACTION=" + action};
    return o;
}

// The counted file steps of a fault-free run of INPUT.
std::vector<std::string> steps_of(const DeviceRoot &root, const std::string &input, const std::string &paths)
{
    root.write(kFaultLog, "");
    EXPECT_EQ(root.run(input, fault_options(paths)).status, 0);
    return harness::lines(root.read(kFaultLog));
}

// debugmenu started by a shell of the device, which prepares the device
// first (SETUP) and looks at it afterwards (AFTER), for what lives only in
// the run's mount namespace.
RunResult run_in_shell(const DeviceRoot &root, const std::string &setup, const std::string &input,
                       const std::string &after = "", const RunOptions &options = {})
{
    const std::string script = setup + "\n" + harness::launcher_command("debugmenu") + "\nstatus=$?\n" + after +
                               "\nexit $status\n";
    return root.run_command({"sh", "-c", script}, input, options);
}

// A file system of SIZE on DIR, filled up once FILES are copied in.
RunOptions small_file_system(const std::string &dir, const std::string &size)
{
    RunOptions o;
    o.devroot_args = {"--tmpfs", dir, size};
    return o;
}
std::string fill(const std::string &dir)
{
    return "{ dd if=/dev/zero of=" + dir + "/fill bs=1k 2>/dev/null; true; }";
}

// A buxton database with one key, made with SQLite and GLib themselves.
std::string make_db(const DeviceRoot &root, const std::string &path)
{
    GVariant *box = g_variant_ref_sink(
        g_variant_new_variant(g_variant_new("(sssv)", "rp", "wp", "", g_variant_new_int32(1))));
    gchar *data = g_base64_encode(static_cast<const guchar *>(g_variant_get_data(box)), g_variant_get_size(box));
    root.write(path, "");
    sqlite3 *db = nullptr;
    sqlite3_open(root.host_path(path).c_str(), &db);
    const std::string sql = "create table buxton (key text, data text, PRIMARY KEY(key));"
                            "insert into buxton values('db/k', '" + std::string(data) + "')";
    EXPECT_EQ(sqlite3_exec(db, sql.c_str(), nullptr, nullptr, nullptr), SQLITE_OK);
    sqlite3_close(db);
    g_free(data);
    g_variant_unref(box);
    return root.read(path);
}

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
    ASSERT_EQ(steps[5], "remove " + kDb);
    for (size_t n = 1; n <= steps.size(); ++n) {
        SCOPED_TRACE("killed before step " + std::to_string(n) + ": " + steps[n - 1]);
        reset();
        EXPECT_EQ(root.run(kMakeWritable, fault_options(paths, n)).status, 128 + SIGKILL);
        expect_kept(root, db, {kDb, kTemp});
        expect_kept(root, journal, {kJournal, kTemp});
        // After the restart the tool will not touch the only copy.
        if (!root.exists(kTemp))
            continue;
        const std::string hash = root.tree_hash();
        EXPECT_TRUE(has(root.run(kMakeWritable), kTempLeft));
        EXPECT_EQ(root.tree_hash(), hash);
    }
    // Another process removes the file just before the tool does.
    reset();
    const RunResult r = root.run(kMakeWritable, fault_options(paths, 6, "remove:" + kDb));
    EXPECT_TRUE(has(r, "failed to remove a file (" + kDb + ")-(2)\n" + kTempLeft)) << r.out;
    expect_kept(root, db, {kTemp});
}

TEST(PowerCut, IntervalChangeLeavesTheOldOrTheNewConfiguration)
{
    DeviceRoot root;
    const std::string original = root.read(kConf);
    const std::vector<std::string> steps = steps_of(root, kInterval, "/etc/storaged/");
    ASSERT_EQ(steps, (std::vector<std::string>{"open " + kConfTemp, "rename " + kConfTemp + " " + kConf}));
    const std::string changed = root.read(kConf);
    for (size_t n = 1; n <= steps.size(); ++n) {
        root.write(kConf, original);
        EXPECT_EQ(root.run(kInterval, fault_options("/etc/storaged/", n)).status, 128 + SIGKILL);
        expect_kept(root, original, {kConf});
        // The next change goes through, over whatever was left behind.
        root.run(kInterval);
        EXPECT_EQ(root.read(kConf), changed);
        EXPECT_FALSE(root.exists(kConfTemp));
    }
    // Removed by another process before the rename: the whole rewrite is put
    // in place all the same.
    root.write(kConf, original);
    root.run(kInterval, fault_options("/etc/storaged/", 2, "remove:" + kConf));
    EXPECT_EQ(root.read(kConf), changed);
}

TEST(FullFileSystem, StorageFilesAreKeptOrNotReportedAsWritten)
{
    DeviceRoot root;
    const std::string original = root.read(kConf);
    root.write("/tmp/save/storage.conf", original);
    RunResult r = run_in_shell(root, "cp /tmp/save/storage.conf /etc/storaged/ && " + fill("/etc/storaged"),
                               kInterval, "cp " + kConf + " /tmp/after.conf; ls -A /etc/storaged > /tmp/after.list",
                               small_file_system("/etc/storaged", "16k"));
    EXPECT_TRUE(has(r, "[input] notify interval time : 600 sec \nError in creating new file (28)\n")) << r.out;
    expect_kept(root, original, {"/tmp/after.conf"});
    EXPECT_EQ(root.read("/tmp/after.list"), "fill\nstorage.conf\n");

    r = run_in_shell(root, fill("/mnt/systemrw"), "15\n8\n00:10:00\n",
                     "wc -c < /mnt/systemrw/storaged_notify > /tmp/size", small_file_system("/mnt/systemrw", "16k"));
    EXPECT_TRUE(has(r, "Sec \ndata not written to file\nPlease enter last notify time")) << r.out;
    EXPECT_FALSE(has(r, "written successfully")) << r.out;
    EXPECT_EQ(root.read("/tmp/size"), "0\n");
}

TEST(FullFileSystem, BuxtonFilesKeepTheirContents)
{
    DeviceRoot root;
    const std::string original = make_db(root, "/opt/usr/src/f.db");
    root.write("/opt/usr/full/.keep", "");
    const std::string big(4000, 'x');
    RunResult r = run_in_shell(root, "cp /opt/usr/src/f.db /opt/usr/full/ && " + fill("/opt/usr/full"),
                               "11\n1\n/opt/usr/full/f.db\n6\ndb/big " + big + "\nexit now\n3\n99\n99\n",
                               "cp /opt/usr/full/f.db /tmp/after.db", small_file_system("/opt/usr/full", "64k"));
    expect_printed(r, {"Sqlite3 error [13] : <database or disk is full> executing statement\nSqlite3 error [13] : "
                       "<database or disk is full> finalizing statement\nfailed to set buxton value (db/big)-(" +
                            big + ")\n",
                       "[0] key(db/k) value(1) rp(rp) wp(wp) type(int32) setter()\n"});
    expect_kept(root, original, {"/tmp/after.db"});

    // The copy back finds no room: the contents survive in the temporary
    // file, which nothing may overwrite afterwards. A second name keeps the
    // file's blocks when the tool removes it.
    const std::string path = "/opt/usr/small/f.db";
    root.write("/opt/usr/small/.keep", "");
    r = run_in_shell(root, "cp /opt/usr/src/f.db " + path + " && ln " + path + " /opt/usr/small/link.db && " +
                               fill("/opt/usr/small"),
                     "11\n13\n" + path + "\n13\n/opt/usr/src/f.db\n99\n99\n", "",
                     small_file_system("/opt/usr/small", "64k"));
    expect_printed(r, {"write failed written(-1)/count(4096)/errno(28)\nfailed to copy a file (" + kTemp + ") > (" +
                            path + ")\n" + kTempLeft,
                       "open (/opt/usr/src/f.db)\n" + kTempLeft});
    expect_kept(root, original, {kTemp});
    expect_kept(root, original, {"/opt/usr/src/f.db"});
}

// A directory mounted read-only, or a configuration that is a mount point.
TEST(ReadOnly, FilesStayAsTheyWere)
{
    DeviceRoot root;
    const std::string conf = root.read(kConf), notify = root.read("/mnt/systemrw/storaged_notify");
    const std::string base = "/var/lib/buxton2_base/system.db", base_db = root.read(base);
    const std::string db = make_db(root, "/opt/usr/ro/r.db");
    auto read_only = [](const std::string &dir) { return "mount --bind -o ro " + dir + " " + dir + " || exit 99"; };
    RunResult r = run_in_shell(root, read_only("/etc/storaged") + "; " + read_only("/mnt/systemrw") + "; " +
                                         read_only("/var/lib/buxton2_base") + "; " + read_only("/opt/usr/ro"),
                               "15\n7\n600\n4\n5\n8\n00:10:00\nexit\n99\n"
                               "11\n12\nsystem\n13\n/opt/usr/ro/r.db\n99\n99\n");
    expect_printed(r, {"Error in creating new file (30)\n", "failed to remove /etc/storaged/storage.conf(30)\n",
                       "File(/mnt/systemrw/storaged_notify) open error(30)\n", "failed to remove (" + base + ")\n",
                       "failed to open(" + base + "):(30)\n", "failed to remove a file (/opt/usr/ro/r.db)-(30)\n"});
    expect_kept(root, conf, {kConf});
    expect_kept(root, notify, {"/mnt/systemrw/storaged_notify"});
    expect_kept(root, base_db, {base});
    expect_kept(root, db, {"/opt/usr/ro/r.db"});
    EXPECT_FALSE(root.exists(kConfTemp));
    EXPECT_FALSE(root.exists(kTemp));

    root.write("/tmp/conf", conf);
    r = run_in_shell(root, "mount --bind /tmp/conf " + kConf + " || exit 99", kInterval,
                     "cp " + kConfTemp + " /tmp/rewrite");
    EXPECT_TRUE(has(r, "rename failed (16)\n")) << r.out;
    expect_kept(root, conf, {kConf});
    EXPECT_NE(root.read("/tmp/rewrite").find("NOTIFY_INTERVAL=600\n"), std::string::npos);
}

// Another process holds the database's write lock for the whole run.
TEST(LockedDatabase, EveryOperationFailsAtOnceAndChangesNothing)
{
    DeviceRoot root;
    const std::string path = "/opt/usr/dbspace/locked.db";
    const std::string original = make_db(root, path);
    sqlite3 *holder = nullptr;
    ASSERT_EQ(sqlite3_open(root.host_path(path).c_str(), &holder), SQLITE_OK);
    ASSERT_EQ(sqlite3_exec(holder, "BEGIN EXCLUSIVE", nullptr, nullptr, nullptr), SQLITE_OK);
    // A setter reads a key and a value, so its exit word takes a second word.
    const RunResult r = root.run("11\n1\n" + path + "\n4\ndb/k 5\nexit now\n6\ndb/s text\nexit now\n9\ndb/k\n8\n"
                                 "db/k\n3\n10\n" + path + "\n99\n99\n");
    // The schema cannot even be read under another's exclusive lock.
    const std::string locked = "prepare error, ret = 5, extended = 5\n";
    expect_printed(r, {locked + "failed to set buxton value (db/k)-(5)\n",
                       locked + "failed to set buxton value (db/s)-(text)\n",
                       "failed to delete (db/k)\n", "failed to get value (db/k) \n",
                       "Failed to list the keys... in database (" + path + ") \n",
                       "Invalid db file : integrity_check failed(" + path + ")\n"});
    EXPECT_FALSE(has(r, "succeeded")) << r.out;
    EXPECT_EQ(sqlite3_exec(holder, "COMMIT", nullptr, nullptr, nullptr), SQLITE_OK);
    sqlite3_close(holder);
    expect_kept(root, original, {path});
}

}  // namespace
