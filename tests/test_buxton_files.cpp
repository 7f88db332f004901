// Buxton database file maintenance: copy_file in-process, and verify,
// restore and make-writable through debugmenu in a device root, with the
// files checked on disk afterwards.
#include <sys/stat.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <map>

#include "buxton_helpers.h"
#include "harness.h"
#include "tavrin_debugmenu.h"

namespace {

namespace fs = std::filesystem;

const std::string kAskPath = "Please enter db path (eg. /opt/var/lib/buxton2/system.db) or 'exit'\n";
const std::string kAskBase =
    "Please enter base db or 'exit' (enter one of these, 'system', 'memory', 'factory', 'service')\n";
const std::string kAskWritable = "Please enter base db or 'exit' (eg. /etc/buxton2/memory.db)\n";
const std::string kTemp = "/var/lib/buxton2/tmp.db";
const std::string kOwner = "pw_name(buxton), pw_passwd(x), uid(375). gid(375)\n";
const std::string kTempLeft = "(/var/lib/buxton2/tmp.db) is left from an earlier failure and may be the only copy "
                              "of a db file: save it elsewhere and remove it\n";

std::string slurp(const std::string &path)
{
    std::ifstream in(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), {});
}

void spit(const std::string &path, const std::string &content)
{
    std::ofstream(path, std::ios::binary | std::ios::trunc) << content;
}

// copy_file runs anywhere: it is not gated and takes its paths as given.
class CopyFile : public ::testing::Test {
protected:
    std::string dir;
    void SetUp() override
    {
        char templ[] = "/tmp/copy-file-XXXXXX";
        ASSERT_NE(mkdtemp(templ), nullptr);
        dir = templ;
    }
    void TearDown() override { fs::remove_all(dir); }

    std::string copy(const std::string &src, const std::string &dst, int expected_result)
    {
        testing::internal::CaptureStdout();
        EXPECT_EQ(copy_file(src.c_str(), dst.c_str()), expected_result);
        fflush(stdout);
        return testing::internal::GetCapturedStdout();
    }
};

TEST_F(CopyFile, CopiesEveryByteAroundTheBufferSizeAndTruncates)
{
    const std::string src = dir + "/src", dst = dir + "/dst";
    for (size_t size : {size_t{1}, size_t{4095}, size_t{4096}, size_t{4097}, size_t{3 * 4096 + 17}}) {
        SCOPED_TRACE(size);
        std::string content(size, '\0');
        for (size_t i = 0; i < size; ++i)
            content[i] = static_cast<char>(i * 7 + size);
        spit(src, content);
        // A longer file at the destination must not keep its tail.
        spit(dst, std::string(size + 5000, 'z'));
        EXPECT_EQ(copy(src, dst, 0), "copy (" + src + ":" + std::to_string(size) + ") to (" + dst + ")\n");
        EXPECT_EQ(slurp(dst), content);
    }
    fs::remove(dst);
    spit(src, "x");
    umask(022);
    copy(src, dst, 0);
    EXPECT_EQ(fs::status(dst).permissions(), fs::perms(0644));
}

TEST_F(CopyFile, FailuresAreOneLineAndCopyNothing)
{
    const std::string src = dir + "/src", dst = dir + "/dst";
    testing::internal::CaptureStdout();
    EXPECT_EQ(copy_file(nullptr, dst.c_str()), -1);
    EXPECT_EQ(copy_file(src.c_str(), nullptr), -1);
    fflush(stdout);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "invalid input\ninvalid input\n");

    EXPECT_EQ(copy(src, dst, -1), "stat error. file path(" + src + ") errno(2)\n");
    spit(src, "");
    EXPECT_EQ(copy(src, dst, -1), "Invalid db file(" + src + ")\n");
    EXPECT_FALSE(fs::exists(dst));
    spit(src, "data");
    EXPECT_EQ(copy(src, dir + "/no/dst", -1),
              "copy (" + src + ":4) to (" + dir + "/no/dst)\nfailed to open(" + dir + "/no/dst):(2)\n");
}

// The device root's files, by path, for before-and-after comparisons.
std::map<std::string, std::string> snapshot(const harness::DeviceRoot &root)
{
    std::map<std::string, std::string> files;
    for (const char *top : {"/etc", "/var", "/opt", "/tmp", "/mnt"}) {
        if (!fs::exists(root.host_path(top)))
            continue;
        for (const auto &entry : fs::recursive_directory_iterator(root.host_path(top))) {
            const std::string path = entry.path().string();
            if (entry.is_regular_file() && path.find("/tv-emulator/") == std::string::npos)
                files[path] = slurp(path);
        }
    }
    return files;
}

class Maintenance : public ::testing::Test {
protected:
    harness::DeviceRoot root;

    void SetUp() override
    {
        // The owner changes are part of every outcome.
        if (geteuid() != 0)
            GTEST_SKIP() << "needs root to give files to the buxton account";
    }

    harness::RunResult run(const std::string &input) { return bx::run(root, "11\n" + input + "99\n99\n"); }

    void expect(const std::string &input, const std::vector<std::string> &actions)
    {
        bx::expect_output(run(input), bx::transcript(actions));
    }

    struct stat info(const std::string &path) const
    {
        struct stat st {};
        EXPECT_EQ(stat(root.host_path(path).c_str(), &st), 0) << path;
        return st;
    }

    // A small buxton database at PATH; returns its bytes.
    std::string database(const std::string &path)
    {
        bx::make_db(root.host_path(path), {{"db/k", bx::base64(bx::record(bx::kPublic, bx::kPublic, "", g_variant_new_int32(1)))}});
        return root.read(path);
    }
};

TEST_F(Maintenance, WithoutTheDebugMarkerNothingIsPrintedOrChanged)
{
    root.write(kTemp, "left over");
    root.remove("/etc/debug");
    const auto before = snapshot(root);
    expect("10\n11\n12\n13\n", {"", "", "", ""});
    EXPECT_EQ(snapshot(root), before);
}

TEST_F(Maintenance, EndOfInputAtAPromptEndsTheOperation)
{
    for (const auto &[choice, ask] : std::vector<std::pair<std::string, std::string>>{
             {"10", kAskPath}, {"11", kAskPath}, {"12", kAskBase}, {"13", kAskWritable}}) {
        SCOPED_TRACE(choice);
        bx::expect_output(bx::run(root, "11\n" + choice + "\n"),
                          harness::main_menu() + bx::menu() + ask + bx::menu() + harness::main_menu());
    }
}

TEST_F(Maintenance, VerifyChecksEachKindOfFileAndLeavesNothingOpen)
{
    const std::string system = "/var/lib/buxton2_base/system.db";
    root.write("/opt/usr/empty.db", "");
    root.write("/opt/usr/text.db", "settings=1\nnot an SQLite file, but long enough to have a header\n");
    expect("1\n" + system + "\n10\n/opt/usr/none.db\n/opt/usr/empty.db\n10\n/opt/usr/text.db\n10\n" + system +
               "\n3\n10\nexit\n",
           {bx::open_text(system),
            kAskPath + "open (/opt/usr/none.db)\nClose (" + system +
                ")\nfailed to open (/opt/usr/none.db) due to error:(14)\n" + kAskPath +
                "open (/opt/usr/empty.db)\nsucceed to open (/opt/usr/empty.db)\nInvalid db file(/opt/usr/empty.db)\n",
            kAskPath + "open (/opt/usr/text.db)\nsucceed to open (/opt/usr/text.db)\n"
                       "Invalid db file : integrity_check failed(/opt/usr/text.db)\n",
            kAskPath + "open (" + system + ")\nsucceed to open (" + system + ")\nVerify OK! (" + system + ")\n",
            "There is no opened db\n", kAskPath + "open (exit)\n"});
    EXPECT_FALSE(root.exists("/opt/usr/none.db"));
    EXPECT_EQ(root.read("/opt/usr/empty.db"), "");
}

TEST_F(Maintenance, RestoreNormalRecreatesAnEmptyWalDatabaseAndKeepsItOpen)
{
    const std::string memory = "/var/lib/buxton2_base/memory.db";
    root.write("/tmp/a.dbx", "old contents");
    expect("1\n" + memory + "\n11\n/tmp/a.sqlite\n11\n/tmp/missing.db\n/tmp/a.dbx\n3\n4\ndb/new 7\n",
           {bx::open_text(memory), kAskPath + "open (/tmp/a.sqlite)\ninvalid db file (/tmp/a.sqlite)\n",
            kAskPath + "open (/tmp/missing.db)\ncan't find (/tmp/missing.db), enter valid path\n" + kAskPath +
                "open (/tmp/a.dbx)\nremove (/tmp/a.dbx)\nClose (" + memory +
                ")\nsucceed to open (/tmp/a.dbx)\nRestored normal db (/tmp/a.dbx)\n",
            bx::list_header("/tmp/a.dbx"),
            "Please enter command fo set or 'exit' (eg. {keyname} {value}\nsucceeded to set buxton value "
            "(db/new)-(7)\n"});
    EXPECT_FALSE(root.exists("/tmp/missing.db"));
    EXPECT_FALSE(root.exists("/tmp/a.sqlite"));

    sqlite3 *db = nullptr;
    ASSERT_EQ(sqlite3_open(root.host_path("/tmp/a.dbx").c_str(), &db), SQLITE_OK);
    sqlite3_stmt *stmt = nullptr;
    ASSERT_EQ(sqlite3_prepare_v2(db, "PRAGMA journal_mode", -1, &stmt, nullptr), SQLITE_OK);
    ASSERT_EQ(sqlite3_step(stmt), SQLITE_ROW);
    EXPECT_STREQ(reinterpret_cast<const char *>(sqlite3_column_text(stmt, 0)), "wal");
    sqlite3_finalize(stmt);
    sqlite3_close(db);
    const auto rows = bx::read_rows(root.host_path("/tmp/a.dbx"));
    ASSERT_EQ(rows.size(), 1u);
    EXPECT_EQ(rows[0].key, "db/new");
}

TEST_F(Maintenance, RestoreBaseCopiesTheBackupAndGivesItToTheStore)
{
    const std::string base = "/var/lib/buxton2_base/memory.db";
    const std::string backup = root.read("/etc/buxton2/memory.db");
    root.write(base, "damaged");
    root.write(base + "-shm", "stale");
    root.write(base + "-wal", "stale");
    const std::string other = "/var/lib/buxton2_base/system.db";
    expect("1\n" + other + "\n12\nSystem\nsystemx\nmemory\n3\n",
           {bx::open_text(other),
            kAskBase + "open (System)\nUnknown base db (System)\ninvalid base_db (System)\n" + kAskBase +
                "open (systemx)\nUnknown base db (systemx)\ninvalid base_db (systemx)\n" + kAskBase +
                "open (memory)\nremoved (" + base + ")\nremoved (" + base + "-shm)\nremoved (" + base +
                "-wal)\ncopy (/etc/buxton2/memory.db:" + std::to_string(backup.size()) + ") to (" + base + ")\n" +
                kOwner + "Close (" + other + ")\nsucceed to open (" + base + ")\nVerify OK! (" + base + ")\n",
            "There is no opened db\n"});
    EXPECT_EQ(root.read(base), backup);
    EXPECT_FALSE(root.exists(base + "-shm"));
    EXPECT_FALSE(root.exists(base + "-wal"));
    EXPECT_EQ(info(base).st_uid, 375u);
    EXPECT_EQ(info(base).st_gid, 375u);
}

TEST_F(Maintenance, RestoreBaseFromAMissingEmptyOrDamagedBackup)
{
    const std::string factory = "/var/lib/buxton2_base/system_factory.db";
    const std::string service = "/var/lib/buxton2_base/system_service.db";
    const std::string system = "/var/lib/buxton2_base/system.db";
    const std::string damaged = "not a database, only text standing where the backup copy should be\n";
    root.remove("/etc/buxton2/system_factory.db");
    root.write("/etc/buxton2/system_service.db", "");
    root.write("/etc/buxton2/system.db", damaged);
    expect("12\nfactory\n12\nservice\n12\nsystem\n",
           {kAskBase + "open (factory)\nremoved (" + factory +
                ")\nstat error. file path(/etc/buxton2/system_factory.db) errno(2)\n"
                "failed to change owner of (" + factory + ":2)\nfailed to open (" + factory +
                ") due to error:(14)\ncopied db file(" + factory + ") is invalid\n",
            kAskBase + "open (service)\nremoved (" + service + ")\nInvalid db file(/etc/buxton2/system_service.db)\n" +
                "failed to change owner of (" + service + ":2)\nfailed to open (" + service +
                ") due to error:(14)\ncopied db file(" + service + ") is invalid\n",
            kAskBase + "open (system)\nremoved (" + system + ")\ncopy (/etc/buxton2/system.db:" +
                std::to_string(damaged.size()) + ") to (" + system + ")\n" + kOwner + "succeed to open (" + system +
                ")\nInvalid db file : integrity_check failed(" + system + ")\ncopied db file(" + system +
                ") is invalid\n"});
    EXPECT_FALSE(root.exists(factory));
    EXPECT_FALSE(root.exists(service));
    EXPECT_EQ(root.read(system), damaged);  // the restored file stays
}

std::string writable_text(const std::string &path, size_t size, const std::string &journal_text)
{
    const std::string n = std::to_string(size);
    return kAskWritable + "open (" + path + ")\ncopy (" + path + ":" + n + ") to (" + kTemp + ")\ncopy (" + kTemp +
           ":" + n + ") to (" + path + ")\n" + journal_text;
}

TEST_F(Maintenance, MakeWritableReplacesFileAndJournalByCopiesOwnedByTheStore)
{
    const std::string path = "/opt/usr/dbspace/w.db";
    const std::string content = database(path);
    const std::string journal = "journal bytes of an interrupted transaction";
    root.write(path + "-journal", journal);
    // Fresh copies get mode 0644; the old files had another.
    chmod(root.host_path(path).c_str(), 0600);
    chmod(root.host_path(path + "-journal").c_str(), 0600);
    expect("13\n" + path + "\n",
           {writable_text(path, content.size(),
                          "copy (" + path + "-journal:" + std::to_string(journal.size()) + ") to (" + kTemp +
                              ")\ncopy (" + kTemp + ":" + std::to_string(journal.size()) + ") to (" + path +
                              "-journal)\n" + kOwner + kOwner + "writable db made (" + path + ")\n")});
    EXPECT_EQ(root.read(path), content);
    EXPECT_EQ(root.read(path + "-journal"), journal);
    for (const std::string &file : {path, path + "-journal"}) {
        EXPECT_EQ(info(file).st_uid, 375u) << file;
        EXPECT_EQ(info(file).st_mode & 0777, 0644u) << file;
    }
    EXPECT_FALSE(root.exists(kTemp));
}

TEST_F(Maintenance, MakeWritableWithoutJournalAndOnAnEmptyFile)
{
    const std::string path = "/opt/usr/dbspace/w.db";
    const std::string content = database(path);
    const std::string empty = "/opt/usr/dbspace/empty.db";
    root.write(empty, "");
    chmod(root.host_path(empty).c_str(), 0600);
    auto no_journal = [](const std::string &p) {
        return "stat error. file path(" + p + "-journal) errno(2)\nfailed to copy a file (" + p + "-journal) > (" +
               kTemp + ")\n";
    };
    expect("13\n" + path + "\n13\n" + empty + "\n",
           {writable_text(path, content.size(), no_journal(path)) + kOwner + "failed to change owner of (" + path +
                "-journal:2)\nwritable db made (" + path + ")\n",
            kAskWritable + "open (" + empty + ")\nInvalid db file(" + empty + ")\nfailed to copy a file (" + empty +
                ") > (" + kTemp + ")\n" + no_journal(empty) + kOwner + "failed to change owner of (" + empty +
                "-journal:2)\nwritable db made (" + empty + ")\n"});
    EXPECT_EQ(root.read(path), content);
    EXPECT_EQ(root.read(empty), "");
    EXPECT_EQ(info(empty).st_mode & 0777, 0600u);  // not replaced
    EXPECT_FALSE(root.exists(kTemp));
}

// debugmenu started by a shell of the device: through the build's launcher,
// as a cross build's programs run emulated.
std::string debugmenu()
{
    return harness::binary_dir() + "/launcher " + harness::binary_dir() + "/debugmenu";
}

TEST_F(Maintenance, MakeWritableInAReadOnlyDirectoryKeepsTheFile)
{
    const std::string path = "/opt/usr/ro/r.db";
    const std::string content = database(path);
    harness::RunResult r = root.run_command(
        {"sh", "-c", "mount --bind -o ro /opt/usr/ro /opt/usr/ro && exec " + debugmenu()},
        "11\n13\n" + path + "\n99\n99\n", bx::options());
    bx::expect_output(r, bx::transcript({kAskWritable + "open (" + path + ")\ncopy (" + path + ":" +
                                         std::to_string(content.size()) + ") to (" + kTemp +
                                         ")\nfailed to remove a file (" + path + ")-(30)\nstat error. file path(" +
                                         path + "-journal) errno(2)\nfailed to copy a file (" + path +
                                         "-journal) > (" + kTemp + ")\nfailed to change owner of (" + path +
                                         ":30)\nfailed to change owner of (" + path +
                                         "-journal:2)\nwritable db made (" + path + ")\n"}));
    EXPECT_EQ(root.read(path), content);
    EXPECT_FALSE(root.exists(kTemp));
}

// The copy back finds no space: the file's contents must survive in the
// temporary file, and nothing may overwrite that copy afterwards.
TEST_F(Maintenance, MakeWritableOnAFullFileSystemKeepsTheContents)
{
    const std::string path = "/opt/usr/small/f.db";
    const std::string content = database("/opt/usr/original.db");
    fs::create_directories(root.host_path("/opt/usr/small"));
    harness::RunOptions o = bx::options();
    o.devroot_args = {"--tmpfs", "/opt/usr/small", "64k"};
    // A second name keeps the file's blocks when the tool removes it, so the
    // full file system has no room for the copy back.
    const std::string fill = "cp /opt/usr/original.db " + path + " && ln " + path +
                             " /opt/usr/small/link.db && { dd if=/dev/zero of=/opt/usr/small/fill bs=4k 2>/dev/null "
                             "|| true; } && exec " + debugmenu();
    harness::RunResult r = root.run_command({"sh", "-c", fill}, "11\n13\n" + path + "\n13\n/opt/usr/original.db\n99\n99\n", o);
    bx::expect_output(
        r, bx::transcript({writable_text(path, content.size(),
                                         "write failed written(-1)/count(4096)/errno(28)\nfailed to copy a file (" +
                                             kTemp + ") > (" + path + ")\n" + kTempLeft) +
                               kOwner + "failed to change owner of (" + path + "-journal:2)\nwritable db made (" +
                               path + ")\n",
                           kAskWritable + "open (/opt/usr/original.db)\n" + kTempLeft}));
    EXPECT_EQ(root.read(kTemp), content);
    EXPECT_EQ(root.read("/opt/usr/original.db"), content);
}

}  // namespace
