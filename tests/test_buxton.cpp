// The buxton database tool (main menu 11) through the real host, on the
// device's databases and on made-up ones, and its record and file copy
// in-process. Records are made and read with GLib, databases with SQLite,
// so that every comparison is against the stored byte form.
#include <sqlite3.h>
#include <sys/stat.h>
#include <unistd.h>

#include <glib.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <cstdlib>
#include <memory>

#include "harness.h"
#include "tavrin_debugmenu.h"

namespace {

using harness::DeviceRoot;
using Actions = std::vector<std::string>;

const std::string kPub = "http://tizen.org/privilege/internal/default/public";
const std::string kPlat = "http://tizen.org/privilege/internal/default/platform";
const std::string kNoDb = "There is no opened db\n";
const std::string kAskOpen = "Please enter db path (eg. /opt/var/lib/system.db) or 'exit'\n";
const std::string kAskSet = "Please enter command fo set or 'exit' (eg. {keyname} {value}\n";
const std::string kAskGet = "Please enter key name to read or 'exit'\n";
const std::string kAskDelete = "Please enter vconf key to delete 'exit'\n";
const std::string kAskPath = "Please enter db path (eg. /opt/var/lib/buxton2/system.db) or 'exit'\n";
const std::string kAskBase =
    "Please enter base db or 'exit' (enter one of these, 'system', 'memory', 'factory', 'service')\n";
const std::string kAskWritable = "Please enter base db or 'exit' (eg. /etc/buxton2/memory.db)\n";
const std::string kTemp = "/var/lib/buxton2/tmp.db";
const std::string kOwner = "pw_name(buxton), pw_passwd(x), uid(375). gid(375)\n";
const std::string kBase = "/var/lib/buxton2_base/";
const std::string kBadValue = "failed to gv_to_val\nfailed to gv to values\n";
const std::string kDb = "/var/lib/buxton2/" + std::string(107, 'p') + ".db";  // 127: the longest path word
const char kRows[] = "select key || ' ' || data from buxton order by key";

// The bytes of a floating variant boxed once, as the store keeps records.
std::string boxed(GVariant *inner)
{
    const std::unique_ptr<GVariant, decltype(&g_variant_unref)> box(g_variant_ref_sink(g_variant_new_variant(inner)),
                                                                    g_variant_unref);
    return std::string(static_cast<const char *>(g_variant_get_data(box.get())), g_variant_get_size(box.get()));
}

// A record: "(sssv)" with a setter, the older "(ssv)" without.
std::string record(GVariant *value, const char *setter = "System", std::string rp = kPub, std::string wp = kPlat)
{
    return boxed(setter ? g_variant_new("(sssv)", rp.c_str(), wp.c_str(), setter, value)
                        : g_variant_new("(ssv)", rp.c_str(), wp.c_str(), value));
}

std::string base64(const std::string &bytes)
{
    const std::unique_ptr<gchar, decltype(&g_free)> text(
        g_base64_encode(reinterpret_cast<const guchar *>(bytes.data()), bytes.size()), g_free);
    return text.get();
}

// The column "data" as the tool writes it: public privileges, no setter.
std::string written(GVariant *value) { return base64(record(value, "", kPub, kPub)); }

// Runs SQL on the database at PATH; the first column of each row, one line each.
std::string sql(const DeviceRoot &root, const std::string &path, const std::string &statements)
{
    sqlite3 *db = nullptr;
    std::string out;
    EXPECT_EQ(sqlite3_open(root.host_path(path).c_str(), &db), SQLITE_OK);
    const auto collect = [](void *rows, int, char **row, char **) {
        *static_cast<std::string *>(rows) += std::string(row[0] ? row[0] : "NULL") + "\n";
        return 0;
    };
    EXPECT_EQ(sqlite3_exec(db, statements.c_str(), collect, &out, nullptr), SQLITE_OK) << statements;
    sqlite3_close(db);
    return out;
}

// A database of the store's layout with ROWS, each made by row() or rec().
void make_db(const DeviceRoot &root, const std::string &path, const std::string &rows, const char *journal = "delete")
{
    sql(root, path, "PRAGMA journal_mode = " + std::string(journal) +
                        "; create table buxton (key text, data text, PRIMARY KEY(key));" +
                        (rows.empty() ? "" : "insert into buxton values " + rows.substr(1)));
}
std::string row(const std::string &k, const std::string &data) { return ",('" + k + "', '" + base64(data) + "')"; }
std::string rec(const char *key, GVariant *v, const char *setter = "System") { return row(key, record(v, setter)); }

Actions menu(const DeviceRoot &root, const Actions &actions, const harness::RunOptions &options = {})
{
    return harness::in_menu(root, "11", actions, options).actions;
}

// A prompt and the word the tool read after it.
std::string typed(std::string ask, std::string word) { return ask + "open (" + word + ")\n"; }
std::string opened(std::string p) { return typed(kAskOpen, p) + "succeed to open (" + p + ")\n"; }
std::string header(std::string p) { return "\n\n=================[Vconf key list of " + p + "]===============\n\n"; }
std::string failed(std::string k, std::string e) { return e + " ******failed to deserialize (" + k + ") ****** \n"; }
bool ends_with(std::string s, std::string e) { return s.size() >= e.size() && s.substr(s.size() - e.size()) == e; }

std::string totals(const std::string &path, int total, int read)
{
    const std::string n = std::to_string(total);
    return "\n\nTotal [" + n + "] keys are in " + path + "\n\nSuccessful to get [" + std::to_string(read) +
           "] keys out of [" + n + "] keys \n" + std::string(95, '=') + "\n\n\n";
}

std::string line(int i, std::string key, std::string value, std::string type, std::string setter, std::string rp = kPub)
{
    return "[" + std::to_string(i) + "] key(" + key + ") value(" + value + ") rp(" + rp + ") wp(" + kPlat +
           ") type(" + type + ") setter(" + setter + ")\n";
}

TEST(Buxton, OpenCloseEndOfInputAndAFileThatIsNoBuxtonDatabase)
{
    DeviceRoot root;
    const std::string memory = kBase + "memory.db", text = "/opt/usr/notes.db";
    const std::string notes = "notes, not an SQLite database, but long enough to have a header\n";
    root.write(text, notes);
    harness::RunOptions sleeps;
    sleeps.env = {"NOSLEEP_LOG=/tmp/sleeps"};
    const Actions a = menu(root, {"2\n", "1\n/opt/none.db\n" + memory + "\n", "3\n", "1\nexit\n", "2\n", "3\n",
                                  "1\n" + text + "\n", "3\n", "4\nk 5\nexit 0\n", "8\nk\n", "9\nk\n"}, sleeps);
    EXPECT_EQ(a, Actions({kNoDb, typed(kAskOpen, "/opt/none.db") + "failed to open (/opt/none.db) due to error:(14)\n" +
                                     opened(memory), a.at(2), typed(kAskOpen, "exit"), "Close (" + memory + ")\n",
                          kNoDb, opened(text), "Failed to list the keys... in database (" + text + ") \n",
                          kAskSet + "prepare error, ret = 26, extended = 26\nfailed to set buxton value (k)-(5)\n" +
                              kAskSet,
                          kAskGet + "failed to get value (k) \n", kAskDelete + "failed to delete (k)\n"}));
    // The device's database in key order, both layouts, all 16 keys read.
    EXPECT_EQ(a.at(2).rfind(header(memory) + line(0, "memory/bluetooth/btsco", "0", "bool", "System", kPlat), 0), 0u);
    EXPECT_TRUE(ends_with(a.at(2), line(15, "memory/wifi/state", "0", "int32", "") + totals(memory, 16, 16)));
    EXPECT_EQ(root.read("/tmp/sleeps") + root.read(text), "sleep 2\nsleep 2\n" + notes);
    EXPECT_FALSE(root.exists("/opt/none.db"));
    // End of input at a prompt ends the action, a key without its number too, and every menu.
    const std::string end = harness::menu_text("11") + harness::main_menu();
    EXPECT_TRUE(ends_with(root.run("11\n1\n").out, kAskOpen + end));
    EXPECT_TRUE(ends_with(root.run("11\n1\n" + memory + "\n5\nk").out, kAskSet + end));
}

TEST(Buxton, ListsAndReadsEveryValueTypeAndBothLayouts)
{
    DeviceRoot root;
    std::string broken = record(g_variant_new_int32(1), "");  // tuple offsets outside the record
    broken[broken.size() - 8] = broken[broken.size() - 9] = '\xff';
    make_db(root, kDb,
            rec("k01", g_variant_new_string("Asia/Seoul"), "User") + rec("k02", g_variant_new_int32(-5), nullptr) +
                rec("k03", g_variant_new_uint32(UINT32_MAX)) +
                row("k04", record(g_variant_new_int64(INT64_MIN), "System", kPlat)) +
                rec("k05", g_variant_new_uint64((uint64_t{1} << 63) + 1)) + rec("k06", g_variant_new_double(0.5)) +
                rec("k07", g_variant_new_boolean(TRUE)) + rec("k08", g_variant_new_tuple(nullptr, 0)) +
                rec("k09", g_variant_new_byte(7)) + row("k10", boxed(g_variant_new_int32(4))) + row("k11", broken) +
                ",('k12', NULL),(NULL, '" + base64(record(g_variant_new_int32(1))) + "')");
    const std::string bad = kBase + "bad.db";
    make_db(root, bad, ",('k', NULL)");
    const Actions a =
        menu(root, {"1\n" + kDb + "\n", "3\n", "8\nk08\n", "8\nk09\nk05\n", "8\nnone\n", "1\n" + bad + "\n", "3\n"});
    EXPECT_EQ(a, Actions({opened(kDb),
                          // A null key sorts first; both 64-bit types are shown signed.
                          header(kDb) + " ******failed to get value of ((null)) ******\n" +
                              line(1, "k01", "Asia/Seoul", "string", "User") + line(2, "k02", "-5", "int32", "") +
                              line(3, "k03", "4294967295", "uint32", "System") +
                              line(4, "k04", "-9223372036854775808", "int64", "System", kPlat) +
                              line(5, "k05", "-9223372036854775807", "uint64", "System") +
                              line(6, "k06", "0.500000", "double", "System") + line(7, "k07", "1", "bool", "System") +
                              "[8] key(k08) unknown data type\n" + failed("k09", "bad message (y)\n" + kBadValue) +
                              failed("k10", "Deserialize: Unsupported type: i\nfailed to gv to values\n") +
                              failed("k11", "failed to gv to values\n") +
                              failed("k12", "invalid parameter ((nil))-(0)\n") + totals(kDb, 13, 8),
                          kAskGet + "key(k08) unknown data type\n",
                          kAskGet + "bad message (y)\n" + kBadValue + "failed to deserialize (k09)\n" + kAskGet +
                              "key(k05) value(-9223372036854775807) rp(" + kPub + ") wp(" + kPlat + ")\n",
                          kAskGet + "failed to get value (none) not exists\n",
                          typed(kAskOpen, bad) + "Close (" + kDb + ")\nsucceed to open (" + bad + ")\n",
                          // not one key read: no totals
                          header(bad) + failed("k", "invalid parameter ((nil))-(0)\n")}));
}

TEST(Buxton, SetGetAndDeleteWriteTheStoredRecord)
{
    DeviceRoot root;
    make_db(root, kDb, rec("db/s", g_variant_new_string("en"), "User"), "wal");
    const std::string key(511, 'k'), value = "v" + std::string(4093, 'x') + "z";
    const std::string set = kAskSet + "succeeded to set buxton value (";
    const Actions a = menu(root, {"1\n" + kDb + "\n", "4\ndb/s 0\n", "4\ndb/i -5\n", "5\ndb/b 1\n", "5\ndb/b 2\n",
                                  "5\ndb/b -1\n", "4\ndb/i twelve 3\n", "6\n" + key + " " + value + "\n",
                                  "4\n" + key + "x 7\n", "6\ndb/t caf\xC3\nexit x\n", "4\nexit 1\n", "8\ndb/i\n",
                                  "8\nexit\n", "9\ndb/s\n", "9\nnone\n", "9\nexit\n", "2\n"});
    EXPECT_EQ(a, Actions({opened(kDb), set + "db/s)-(0)\n", set + "db/i)-(-5)\n", set + "db/b)-(1)\n",
                          kAskSet + "Invalid value (2)\n", kAskSet + "Invalid value (-1)\n",
                          // a word that is no number takes the rest of its line with it
                          kAskSet, set + key + ")-(" + value + ")\n", kAskSet,
                          kAskSet + "failed to serialize data\n" + kAskSet, kAskSet,
                          kAskGet + "key(db/i) value(-5) rp(" + kPub + ") wp(" + kPub + ")\n", kAskGet,
                          kAskDelete + "succeeded to delete (db/s)\n", kAskDelete + "succeeded to delete (none)\n",
                          kAskDelete, "Close (" + kDb + ")\n"}));
    EXPECT_FALSE(root.exists(kDb + "-wal"));  // closed: checkpointed and gone
    EXPECT_EQ(sql(root, kDb, kRows), "db/b " + written(g_variant_new_boolean(TRUE)) + "\ndb/i " +
                                         written(g_variant_new_int32(-5)) + "\n" + key + " " +
                                         written(g_variant_new_string(value.c_str())) + "\n");
}

// The owner changes are part of every outcome of the file maintenance.
class BuxtonFiles : public ::testing::Test {
protected:
    DeviceRoot root;
    void SetUp() override { if (geteuid() != 0) GTEST_SKIP() << "needs root to give files to the buxton account"; }
    std::string owner(const std::string &path)  // "uid mode"
    {
        struct stat st {};
        return stat(root.host_path(path).c_str(), &st) ? "" : std::to_string(st.st_uid) + " " +
                                                                  std::to_string(st.st_mode & 0777);
    }
};

TEST_F(BuxtonFiles, VerifyRestoreNormalAndRestoreBase)
{
    const std::string system = kBase + "system.db", memory = kBase + "memory.db", factory = kBase + "system_factory.db";
    const std::string backup = root.read("/etc/buxton2/memory.db"), empty = "/opt/usr/empty.db", text = "/opt/usr/t.db";
    root.write(empty, "");
    root.write(text, "settings=1\nnot an SQLite file, but long enough to have a header\n");
    root.write("/tmp/a.dbx", "old contents");
    for (const char *file : {"", "-shm", "-wal"})
        root.write(memory + file, "damaged");
    root.remove("/etc/buxton2/system_factory.db");
    const Actions a = menu(root, {"1\n" + system + "\n", "10\n/opt/none.db\n" + empty + "\n", "10\n" + text + "\n",
                                  "10\n" + system + "\n", "3\n", "10\nexit\n", "11\n/tmp/a.sqlite\n",
                                  "11\n/tmp/missing.db\n/tmp/a.dbx\n", "4\ndb/new 7\n", "12\nSystem\nmemory\n",
                                  "12\nfactory\n"});
    const auto verified = [](const std::string &path, const std::string &result) {
        return typed(kAskPath, path) + "succeed to open (" + path + ")\n" + result + "(" + path + ")\n";
    };
    EXPECT_EQ(a, Actions({
        opened(system),
        typed(kAskPath, "/opt/none.db") + "Close (" + system + ")\nfailed to open (/opt/none.db) due to error:(14)\n" +
            verified(empty, "Invalid db file"),
        verified(text, "Invalid db file : integrity_check failed"), verified(system, "Verify OK! "), kNoDb,
        typed(kAskPath, "exit"), typed(kAskPath, "/tmp/a.sqlite") + "invalid db file (/tmp/a.sqlite)\n",
        typed(kAskPath, "/tmp/missing.db") + "can't find (/tmp/missing.db), enter valid path\n" +
            typed(kAskPath, "/tmp/a.dbx") +
            "remove (/tmp/a.dbx)\nsucceed to open (/tmp/a.dbx)\nRestored normal db (/tmp/a.dbx)\n",
        kAskSet + "succeeded to set buxton value (db/new)-(7)\n",
        typed(kAskBase, "System") + "Unknown base db (System)\ninvalid base_db (System)\n" + typed(kAskBase, "memory") +
            "removed (" + memory + ")\nremoved (" + memory + "-shm)\nremoved (" + memory + "-wal)\n" +
            "copy (/etc/buxton2/memory.db:" + std::to_string(backup.size()) + ") to (" + memory + ")\n" + kOwner +
            "Close (/tmp/a.dbx)\nsucceed to open (" + memory + ")\nVerify OK! (" + memory + ")\n",
        typed(kAskBase, "factory") + "removed (" + factory + ")\nstat error. file path(/etc/buxton2/system_factory.db) "
            "errno(2)\nfailed to change owner of (" + factory + ":2)\nfailed to open (" + factory +
            ") due to error:(14)\ncopied db file(" + factory + ") is invalid\n"}));
    for (const std::string &gone : {factory, memory + "-shm", memory + "-wal", std::string("/tmp/missing.db")})
        EXPECT_FALSE(root.exists(gone)) << gone;
    EXPECT_EQ(root.read(memory) + owner(memory), backup + "375 420");
    EXPECT_EQ(sql(root, "/tmp/a.dbx", "PRAGMA journal_mode; " + std::string(kRows)),
              "wal\ndb/new " + written(g_variant_new_int32(7)) + "\n");
}

std::string copies(const std::string &path, size_t size)
{
    const std::string n = std::to_string(size);
    return "copy (" + path + ":" + n + ") to (" + kTemp + ")\ncopy (" + kTemp + ":" + n + ") to (" + path + ")\n";
}

TEST_F(BuxtonFiles, MakeWritableCopiesThroughTheTemporaryFileAndRefusesWhileOneIsLeft)
{
    const std::string path = "/var/lib/buxton2/w.db", bare = "/var/lib/buxton2/bare.db";
    make_db(root, path, rec("db/k", g_variant_new_int32(1)));
    const std::string content = root.read(path), journal = "journal of an interrupted transaction";
    root.write(path + "-journal", journal);
    root.write(bare, "bare");
    for (const std::string &file : {path, path + "-journal", bare})
        chmod(root.host_path(file).c_str(), 0600);
    EXPECT_EQ(menu(root, {"13\n" + path + "\n", "13\n" + bare + "\n"}),
              Actions({typed(kAskWritable, path) + copies(path, content.size()) +
                           copies(path + "-journal", journal.size()) + kOwner + kOwner + "writable db made (" + path +
                           ")\n",
                       typed(kAskWritable, bare) + copies(bare, 4) + "stat error. file path(" + bare +
                           "-journal) errno(2)\n" +
                           "failed to copy a file (" + bare + "-journal) > (" + kTemp + ")\n" + kOwner +
                           "failed to change owner of (" + bare + "-journal:2)\nwritable db made (" + bare + ")\n"}));
    EXPECT_EQ(root.read(path) + root.read(path + "-journal") + root.read(bare), content + journal + "bare");
    EXPECT_EQ(owner(path) + ", " + owner(path + "-journal") + ", " + owner(bare) + ", " + owner(kTemp),
              "375 420, 375 420, 375 420, ");  // fresh copies for the store, no temporary file

    // A temporary file left over may be a database's only copy.
    root.write(kTemp, "saved");
    EXPECT_EQ(menu(root, {"13\n" + path + "\n"}),
              Actions({typed(kAskWritable, path) + "(" + kTemp + ") is left from an earlier failure and may be the " +
                       "only copy of a db file: save it elsewhere and remove it\n"}));
    EXPECT_EQ(root.read(kTemp) + root.read(path), "saved" + content);
}

// What F prints on standard output.
template <typename F>
std::string printed(F f)
{
    testing::internal::CaptureStdout();
    f();
    fflush(stdout);
    return testing::internal::GetCapturedStdout();
}

// The host's file tools copy whole databases; here what they never meet: a
// file of one byte over a longer one, and bad arguments.
TEST(BuxtonCopy, CopiesEveryByteAndSaysWhyNot)
{
    DeviceRoot root;
    const std::string src = root.host_path("/tmp/src"), dst = root.host_path("/tmp/dst");
    root.write("/tmp/src", "d");
    root.write("/tmp/dst", "longer");
    EXPECT_EQ(printed([&] { EXPECT_EQ(copy_file(src.c_str(), dst.c_str()), 0); }),
              "copy (" + src + ":1) to (" + dst + ")\n");
    EXPECT_EQ(root.read("/tmp/dst"), "d");
    root.write("/tmp/src", "");
    EXPECT_EQ(printed([&] {
                  EXPECT_EQ(copy_file(nullptr, "") + copy_file("", nullptr) + copy_file(src.c_str(), dst.c_str()), -3);
              }),
              "invalid input\ninvalid input\nInvalid db file(" + src + ")\n");
}

// serialz_data writes every type, those the menu never sets too, as GLib
// itself would; the listing above reads such records back.
TEST(BuxtonRecord, EveryTypeIsStoredInGLibsByteForm)
{
    for (GVariant *value :
         {g_variant_new_string("Asia/Seoul"), g_variant_new_int32(INT32_MIN), g_variant_new_uint32(UINT32_MAX),
          g_variant_new_int64(INT64_MIN), g_variant_new_int64(INT64_MAX), g_variant_new_uint64(UINT64_MAX),
          g_variant_new_double(-1.0 / 3), g_variant_new_boolean(TRUE), g_variant_new_boolean(FALSE)}) {
        // The type codes follow GLib's type characters " siuxtdb"; the value and the setter come from GLib.
        const char *type = g_variant_get_type_string(g_variant_ref_sink(value));
        buxton_value v{static_cast<buxton_value_type>(std::string(" siuxtdb").find(type[0])), {},
                       const_cast<char *>(type)};
        g_variant_get(value, type[0] == 's' ? "&s" : type, &v.value);
        uint8_t *data = nullptr;
        int len = 0;
        EXPECT_EQ(serialz_data(kPub.c_str(), kPlat.c_str(), &v, &data, &len), 0) << type;
        const std::string bytes(reinterpret_cast<char *>(data), data ? static_cast<size_t>(len) : 0);
        free(data);
        EXPECT_EQ(bytes, record(value, type)) << type;
        EXPECT_EQ(bytes.substr(bytes.size() - 7), std::string("\0(sssv)", 7));
        g_variant_unref(value);
    }
}

}  // namespace
