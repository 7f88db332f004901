// The buxton menu through debugmenu in a device root: opening and listing
// databases, the key operations, and what lands in the file, read back with
// SQLite itself.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <limits>

#include "buxton_helpers.h"
#include "harness.h"

namespace {

using bx::kPlatform;
using bx::kPublic;
using bx::Row;

const std::string kAskOpen = "Please enter db path (eg. /opt/var/lib/system.db) or 'exit'\n";
const std::string kAskSet = "Please enter command fo set or 'exit' (eg. {keyname} {value}\n";
const std::string kAskGet = "Please enter key name to read or 'exit'\n";
const std::string kAskDelete = "Please enter vconf key to delete 'exit'\n";
const std::string kNoDb = "There is no opened db\n";

std::string public_record(const std::string &value)
{
    return "<('" + std::string(kPublic) + "', '" + kPublic + "', '', <" + value + ">)>";
}

std::optional<std::string> rec(GVariant *value, const char *rp = kPublic, const char *setter = "System")
{
    return bx::base64(bx::record(rp, kPlatform, setter, value));
}

class BuxtonMenu : public ::testing::Test {
protected:
    harness::DeviceRoot root;
    const std::string path = "/opt/usr/dbspace/test.db";

    std::string db() const { return root.host_path(path); }

    harness::RunResult run(const std::string &input) { return bx::run(root, "11\n" + input + "99\n99\n"); }

    void expect(const std::string &input, const std::vector<std::string> &actions)
    {
        bx::expect_output(run(input), bx::transcript(actions));
    }
};

TEST_F(BuxtonMenu, UnknownChoicesAndTheDoubleEntryShowTheMenuAgain)
{
    expect("0\n7\n14\n98\n-1\n100\n", {"", "", "", "", "", ""});
}

TEST_F(BuxtonMenu, KeyOperationsNeedAnOpenDatabase)
{
    expect("2\n3\n4\n5\n6\n8\n9\n", {kNoDb, kNoDb, kNoDb, kNoDb, kNoDb, kNoDb, kNoDb});
}

TEST_F(BuxtonMenu, WithoutTheDebugMarkerNothingIsPrintedOrAsked)
{
    bx::make_db(db(), {{"k", rec(g_variant_new_int32(1))}});
    const std::string before = root.read(path);
    root.remove("/etc/debug");
    expect("1\n2\n3\n4\n5\n6\n8\n9\n", {"", "", "", "", "", "", "", ""});
    EXPECT_EQ(root.read(path), before);
}

TEST_F(BuxtonMenu, OpeningAMissingPathAsksAgainAndCreatesNothing)
{
    bx::make_db(db(), {});
    harness::RunOptions o = bx::options();
    o.env.push_back("NOSLEEP_LOG=/tmp/sleeps");
    harness::RunResult r = bx::run(root, "11\n1\n/opt/usr/dbspace/missing.db\n" + path + "\n99\n99\n", o);
    bx::expect_output(r, bx::transcript({kAskOpen + "open (/opt/usr/dbspace/missing.db)\n"
                                                    "failed to open (/opt/usr/dbspace/missing.db) due to error:(14)\n" +
                                         bx::open_text(path)}));
    EXPECT_FALSE(root.exists("/opt/usr/dbspace/missing.db"));
    // Only the successful open waits.
    EXPECT_EQ(root.read("/tmp/sleeps"), "sleep 2\n");
}

TEST_F(BuxtonMenu, OpenCloseAndTheExitWord)
{
    const std::string other = "/var/lib/buxton2_base/memory.db";
    bx::make_db(db(), {});
    expect("1\n" + path + "\n1\nexit\n3\n1\n" + other + "\n2\n2\n3\n",
           {bx::open_text(path),
            // the exit word leaves the open database open
            kAskOpen + "open (exit)\n", bx::list_header(path),
            kAskOpen + "open (" + other + ")\nClose (" + path + ")\nsucceed to open (" + other + ")\n",
            "Close (" + other + ")\n", kNoDb, kNoDb});
}

TEST_F(BuxtonMenu, EndOfInputAtAnyPromptEndsTheOperation)
{
    bx::make_db(db(), {{"k", rec(g_variant_new_int32(1))}});
    const std::string open = "11\n1\n" + path + "\n";
    const std::string start = harness::main_menu() + bx::menu() + bx::open_text(path) + bx::menu();
    bx::expect_output(bx::run(root, "11\n1\n"), harness::main_menu() + bx::menu() + kAskOpen + bx::menu() +
                                                    harness::main_menu());
    bx::expect_output(bx::run(root, open + "4\n"), start + kAskSet + bx::menu() + harness::main_menu());
    // A key and then nothing: no number was typed, nothing is stored.
    bx::expect_output(bx::run(root, open + "5\nk2"), start + kAskSet + bx::menu() + harness::main_menu());
    bx::expect_output(bx::run(root, open + "6\nk2 "), start + kAskSet + bx::menu() + harness::main_menu());
    bx::expect_output(bx::run(root, open + "8\n"), start + kAskGet + bx::menu() + harness::main_menu());
    bx::expect_output(bx::run(root, open + "9\n"), start + kAskDelete + bx::menu() + harness::main_menu());
    EXPECT_EQ(bx::read_rows(db()).size(), 1u);
}

TEST_F(BuxtonMenu, APathOf127CharactersOpens)
{
    std::string long_path = "/opt/usr/dbspace/";
    long_path += std::string(127 - long_path.size() - 3, 'p') + ".db";
    ASSERT_EQ(long_path.size(), 127u);
    bx::make_db(root.host_path(long_path), {{"k", rec(g_variant_new_int32(3))}});
    expect("1\n" + long_path + "\n3\n",
           {bx::open_text(long_path), bx::list_header(long_path) +
                                          "[0] key(k) value(3) rp(" + kPublic + ") wp(" + kPlatform +
                                          ") type(int32) setter(System)\n" + bx::list_totals(long_path, 1, 1)});
}

TEST_F(BuxtonMenu, ListingsOfAnEmptyTableAndOfAnUndecodableKey)
{
    bx::make_db(db(), {});
    expect("1\n" + path + "\n3\n", {bx::open_text(path), bx::list_header(path)});

    bx::make_db(db(), {{"db/a", rec(g_variant_new_int64(-1234567890123LL))},
                       {"db/b", std::string("bm90IGEgcmVjb3Jk")},
                       {"db/c", rec(g_variant_new_string("en_US.UTF-8"), kPlatform, "User")}});
    expect("1\n" + path + "\n3\n",
           {bx::open_text(path),
            bx::list_header(path) + "[0] key(db/a) value(-1234567890123) rp(" + kPublic + ") wp(" + kPlatform +
                ") type(int64) setter(System)\n" + "Deserialize: Unsupported type: ()\nfailed to gv to values\n" +
                " ******failed to deserialize (db/b) ****** \n" + "[2] key(db/c) value(en_US.UTF-8) rp(" +
                kPlatform + ") wp(" + kPlatform + ") type(string) setter(User)\n" + bx::list_totals(path, 3, 2)});

    // No key could be read: the totals are left out.
    bx::make_db(db(), {{"db/a", std::nullopt}, {"db/b", std::nullopt}, {"db/c", std::nullopt}});
    const std::string failed = "invalid parameter ((nil))-(0)\n ******failed to deserialize (db/";
    expect("1\n" + path + "\n3\n", {bx::open_text(path), bx::list_header(path) + failed + "a) ****** \n" + failed +
                                                             "b) ****** \n" + failed + "c) ****** \n"});
}

// The listing reads in one transaction; a key set after it must still reach
// the file, with either journal.
TEST_F(BuxtonMenu, AKeySetAfterAListingIsStored)
{
    for (bool wal : {true, false}) {
        SCOPED_TRACE(wal ? "write-ahead log" : "rollback journal");
        const std::string file = wal ? "/opt/usr/dbspace/wal.db" : "/opt/usr/dbspace/journal.db";
        bx::make_db(root.host_path(file), {{"db/a", rec(g_variant_new_int32(1))}}, wal);
        harness::RunResult r = run("1\n" + file + "\n3\n4\ndb/b 2\nexit 0\n");
        EXPECT_NE(r.out.find("Successful to get [1] keys out of [1] keys \n"), std::string::npos) << r.out;
        const std::vector<Row> rows = bx::read_rows(root.host_path(file));
        ASSERT_EQ(rows.size(), 2u);
        EXPECT_EQ(rows[1].key, "db/b");
    }
}

TEST_F(BuxtonMenu, FilesThatAreNoBuxtonDatabase)
{
    const std::string text = "/opt/usr/dbspace/notes.db";
    root.write(text, "this file holds notes, not an SQLite database; it is long enough for a header\n");
    const std::string other = "/opt/usr/dbspace/other.db";
    sqlite3 *h = nullptr;
    ASSERT_EQ(sqlite3_open(root.host_path(other).c_str(), &h), SQLITE_OK);
    bx::exec(h, "create table settings (name text)");
    sqlite3_close(h);

    expect("1\n" + text + "\n3\n4\nk 5\nexit 0\n8\nk\n9\nk\n1\n" + other + "\n3\n8\nk\n",
           {bx::open_text(text), "Failed to list the keys... in database (" + text + ") \n",
            kAskSet + "prepare error, ret = 26, extended = 26\nfailed to set buxton value (k)-(5)\n" + kAskSet,
            kAskGet + "failed to get value (k) \n", kAskDelete + "failed to delete (k)\n",
            kAskOpen + "open (" + other + ")\nClose (" + text + ")\nsucceed to open (" + other + ")\n",
            "Failed to list the keys... in database (" + other + ") \n", kAskGet + "failed to get value (k) \n"});
    EXPECT_EQ(root.read(text), "this file holds notes, not an SQLite database; it is long enough for a header\n");
}

// The schema on the first page is sound, every other page is garbage: the
// read statement is made, and only its step fails, which reads as a key
// that is not there.
TEST_F(BuxtonMenu, AReadWhoseStepFailsSaysTheKeyDoesNotExist)
{
    bx::make_db(db(), {{"k", rec(g_variant_new_int32(1))}});
    std::string bytes = root.read(path);
    const size_t page = (static_cast<unsigned char>(bytes[16]) << 8) | static_cast<unsigned char>(bytes[17]);
    ASSERT_GT(bytes.size(), page);
    std::fill(bytes.begin() + static_cast<std::ptrdiff_t>(page), bytes.end(), '\xA5');
    root.write(path, bytes);
    expect("1\n" + path + "\n8\nk\n", {bx::open_text(path), kAskGet + "failed to get value (k) not exists\n"});
}

TEST_F(BuxtonMenu, SetGetAndDeleteEveryKind)
{
    bx::make_db(db(), {});
    const std::string pub = std::string(" rp(") + kPublic + ") wp(" + kPublic + ")\n";
    expect("1\n" + path +
               "\n4\ndb/menu/volume -5\n5\nmemory/pm/dimmed 1\n6\ndb/menu/lang ko_KR.UTF-8\n"
               "8\ndb/menu/volume\n8\nmemory/pm/dimmed\n8\ndb/menu/lang\n8\ndb/none\n9\ndb/menu/lang\n9\ndb/none\n",
           {bx::open_text(path), kAskSet + "succeeded to set buxton value (db/menu/volume)-(-5)\n",
            kAskSet + "succeeded to set buxton value (memory/pm/dimmed)-(1)\n",
            kAskSet + "succeeded to set buxton value (db/menu/lang)-(ko_KR.UTF-8)\n",
            kAskGet + "key(db/menu/volume) value(-5)" + pub, kAskGet + "key(memory/pm/dimmed) value(1)" + pub,
            kAskGet + "key(db/menu/lang) value(ko_KR.UTF-8)" + pub,
            kAskGet + "failed to get value (db/none) not exists\n",
            kAskDelete + "succeeded to delete (db/menu/lang)\n",
            // deleting what is not there is no failure
            kAskDelete + "succeeded to delete (db/none)\n"});

    const std::vector<Row> rows = bx::read_rows(db());
    ASSERT_EQ(rows.size(), 2u);
    EXPECT_EQ(bx::stored(db(), "db/menu/volume"), public_record("-5"));
    EXPECT_EQ(bx::stored(db(), "memory/pm/dimmed"), public_record("true"));
}

TEST_F(BuxtonMenu, SettingAnExistingKeyReplacesTypeValueAndPrivileges)
{
    bx::make_db(db(), {{"db/setting/lang", rec(g_variant_new_string("en"), kPlatform, "User")},
                       {"db/setting/other", rec(g_variant_new_int32(1))}});
    expect("1\n" + path + "\n4\ndb/setting/lang 3\n5\ndb/setting/other 0\n",
           {bx::open_text(path), kAskSet + "succeeded to set buxton value (db/setting/lang)-(3)\n",
            kAskSet + "succeeded to set buxton value (db/setting/other)-(0)\n"});
    EXPECT_EQ(bx::read_rows(db()).size(), 2u);
    EXPECT_EQ(bx::stored(db(), "db/setting/lang"), public_record("3"));
    EXPECT_EQ(bx::stored(db(), "db/setting/other"), public_record("false"));
}

TEST_F(BuxtonMenu, RejectedNumbersStoreNothing)
{
    bx::make_db(db(), {});
    // A word where the number belongs ends the action without output, the
    // rest of its line with it; n keeps 12, no stale 0 is stored over it.
    expect("1\n" + path + "\n5\nb 2\n5\nb -1\n5\nb yes please\n4\nn 12\n4\nn twelve 3\n4\nm\nx\n4\nm 3\n",
           {bx::open_text(path), kAskSet + "Invalid value (2)\n", kAskSet + "Invalid value (-1)\n", kAskSet,
            kAskSet + "succeeded to set buxton value (n)-(12)\n", kAskSet, kAskSet,
            kAskSet + "succeeded to set buxton value (m)-(3)\n"});
    const std::vector<Row> rows = bx::read_rows(db());
    ASSERT_EQ(rows.size(), 2u);
    EXPECT_EQ(bx::stored(db(), "n"), public_record("12"));
    EXPECT_EQ(bx::stored(db(), "m"), public_record("3"));
}

TEST_F(BuxtonMenu, KeysAndValuesAtTheirWidthLimits)
{
    bx::make_db(db(), {});
    const std::string key(511, 'k');
    const std::string key2(511, 'q');
    const std::string value = "v" + std::string(4093, 'x') + "z";
    expect("1\n" + path + "\n6\n" + key + "\n" + value + "\n4\n" + key2 + "x 7\n4\n" + key2 + " 7\n" +
               "6\ndb/words first second\n",
           {bx::open_text(path), kAskSet + "succeeded to set buxton value (" + key + ")-(" + value + ")\n",
            // a key one character longer is cut after 511; the rest is no number
            kAskSet, kAskSet + "succeeded to set buxton value (" + key2 + ")-(7)\n",
            kAskSet + "succeeded to set buxton value (db/words)-(first)\n",
            // the second word stays in the input and is no menu choice
            ""});
    EXPECT_EQ(bx::stored(db(), key), public_record("'" + value + "'"));
    EXPECT_EQ(bx::stored(db(), key2), public_record("7"));
    EXPECT_EQ(bx::stored(db(), "db/words"), public_record("'first'"));
}

TEST_F(BuxtonMenu, ExitWordAndTextsTheStoreCannotHold)
{
    bx::make_db(db(), {});
    expect("1\n" + path + "\n4\nexit 1\n6\nexit x\n8\nexit\n9\nexit\n6\ndb/t caf\xC3\nexit x\n",
           {bx::open_text(path), kAskSet, kAskSet, kAskGet, kAskDelete,
            kAskSet + "failed to serialize data\n" + kAskSet});
    EXPECT_TRUE(bx::read_rows(db()).empty());
}

TEST_F(BuxtonMenu, ReadingAnUndecodableKeyAsksAgain)
{
    bx::make_db(db(), {{"db/null", std::nullopt}, {"db/ok", rec(g_variant_new_boolean(TRUE), kPublic)}});
    expect("1\n" + path + "\n8\ndb/null\ndb/ok\n",
           {bx::open_text(path), kAskGet + "invalid parameter ((nil))-(0)\nfailed to deserialize (db/null)\n" +
                                     kAskGet + "key(db/ok) value(1) rp(" + kPublic + ") wp(" + kPlatform + ")\n"});
}

// Another process holds the database: a set fails at once with SQLite's
// reason, asks again, and leaves the row as it was.
TEST_F(BuxtonMenu, ALockedDatabaseFailsTheSetAndKeepsTheRow)
{
    for (bool wal : {true, false}) {
        SCOPED_TRACE(wal ? "write-ahead log" : "rollback journal");
        const std::string file = wal ? "/opt/usr/dbspace/wal.db" : "/opt/usr/dbspace/journal.db";
        bx::make_db(root.host_path(file), {{"db/k", rec(g_variant_new_int32(1))}}, wal);
        const std::vector<Row> before = bx::read_rows(root.host_path(file));

        sqlite3 *holder = nullptr;
        ASSERT_EQ(sqlite3_open(root.host_path(file).c_str(), &holder), SQLITE_OK);
        bx::exec(holder, "BEGIN EXCLUSIVE");
        bx::exec(holder, "insert into buxton values('db/holder', 'x')");
        // With a rollback journal the exclusive lock keeps out even the
        // reading of the schema, so the statement cannot be prepared.
        const std::string why =
            wal ? "Sqlite3 error [5] : <database is locked> executing statement\n"
                  "Sqlite3 error [5] : <database is locked> finalizing statement\n"
                : "prepare error, ret = 5, extended = 5\n";
        bx::expect_output(
            bx::run(root, "11\n1\n" + file + "\n4\ndb/k 2\nexit 0\n99\n99\n"),
            bx::transcript({bx::open_text(file), kAskSet + why + "failed to set buxton value (db/k)-(2)\n" + kAskSet}));
        bx::exec(holder, "ROLLBACK");
        sqlite3_close(holder);
        const std::vector<Row> after = bx::read_rows(root.host_path(file));
        ASSERT_EQ(after.size(), 1u);
        EXPECT_EQ(after[0].data, before[0].data);
    }
}

TEST_F(BuxtonMenu, TheDeviceDatabasesListAsTheyAre)
{
    const std::string memory = "/var/lib/buxton2_base/memory.db";
    harness::RunResult r = run("1\n" + memory + "\n3\n");
    EXPECT_NE(r.out.find("] key(memory/pm/current_brt) value(60) rp(" + std::string(kPublic) + ") wp(" + kPlatform +
                         ") type(int32) setter(System)\n"),
              std::string::npos)
        << r.out;
    EXPECT_NE(r.out.find("Successful to get [16] keys out of [16] keys \n"), std::string::npos) << r.out;
}

}  // namespace
