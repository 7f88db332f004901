// The buxton tool: the menu through the real host in a device root, and the
// exported record and file steps in-process. Records are made with GLib and
// databases with SQLite, so that a round trip proves the stored bytes.
#include <sqlite3.h>
#include <sys/stat.h>
#include <unistd.h>

#include <glib.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <cstdlib>
#include <map>
#include <optional>

#include "harness.h"
#include "tavrin_debugmenu.h"

namespace {

using Strings = std::vector<std::string>;
using Records = std::map<std::string, std::string>;

const char kPub[] = "http://tizen.org/privilege/internal/default/public";
const char kPlat[] = "http://tizen.org/privilege/internal/default/platform";
const std::string kDb = "/tmp/test.db", kTemp = "/var/lib/buxton2/tmp.db";
const std::string kAskOpen = "Please enter db path (eg. /opt/var/lib/system.db) or 'exit'\nopen (";
const std::string kAskSet = "Please enter command fo set or 'exit' (eg. {keyname} {value}\n";
const std::string kAskGet = "Please enter key name to read or 'exit'\n";
const std::string kAskDel = "Please enter vconf key to delete 'exit'\n";

// FLOATING boxed once, as the store keeps a record.
std::string boxed(GVariant *floating)
{
    GVariant *box = g_variant_ref_sink(g_variant_new_variant(floating));
    std::string bytes(static_cast<const char *>(g_variant_get_data(box)), g_variant_get_size(box));
    g_variant_unref(box);
    return bytes;
}

// "(sssv)" with a setter, the older "(ssv)" without.
std::string record(GVariant *value, const char *setter = "System", const char *rp = kPub, const char *wp = kPlat)
{
    return boxed(setter ? g_variant_new("(sssv)", rp, wp, setter, value) : g_variant_new("(ssv)", rp, wp, value));
}

// A buxton table with the base64 of each record (no record: NULL), in a
// directory that exists.
void make_db(const harness::DeviceRoot &root, const std::string &path,
             const std::vector<std::pair<std::string, std::optional<std::string>>> &rows)
{
    sqlite3 *db = nullptr;
    sqlite3_open(root.host_path(path).c_str(), &db);
    EXPECT_EQ(sqlite3_exec(db, "create table buxton (key text, data text, PRIMARY KEY(key))", 0, 0, 0), 0);
    for (const auto &[key, bytes] : rows) {
        gchar *text = bytes ? g_base64_encode(reinterpret_cast<const guchar *>(bytes->data()), bytes->size()) : nullptr;
        char *sql = sqlite3_mprintf("insert into buxton values(%Q, %Q)", key.c_str(), text);
        EXPECT_EQ(sqlite3_exec(db, sql, nullptr, nullptr, nullptr), SQLITE_OK);
        sqlite3_free(sql);
        g_free(text);
    }
    sqlite3_close(db);
}

// Every key of the file with the bytes of its record ("" for none); or a
// PRAGMA's answer.
Records rows_of(const harness::DeviceRoot &root, const std::string &path, const char *sql = "select * from buxton")
{
    Records rows;
    sqlite3 *db = nullptr;
    sqlite3_open_v2(root.host_path(path).c_str(), &db, SQLITE_OPEN_READONLY, nullptr);
    sqlite3_exec(db, sql, [](void *out, int columns, char **row, char **) {
        gsize n = 0;
        guchar *bytes = columns > 1 && row[1] ? g_base64_decode(row[1], &n) : nullptr;
        (*static_cast<Records *>(out))[row[0]].assign(reinterpret_cast<char *>(bytes), n);
        g_free(bytes);
        return 0;
    }, &rows, nullptr);
    sqlite3_close(db);
    return rows;
}

std::string opened(const std::string &path, const std::string &closed = "", const std::string &ask = kAskOpen)
{
    return ask + path + ")\n" + (closed.empty() ? "" : "Close (" + closed + ")\n") + "succeed to open (" + path + ")\n";
}

TEST(BuxtonKeys, SetGetDeleteAndWhatReachesTheFile)
{
    harness::DeviceRoot root;
    make_db(root, kDb, {{"db/old", record(g_variant_new_string("en"), "User", kPlat)}});
    const std::string missing = "/tmp/missing.db", key(511, 'k'), value(4095, 'v');
    const auto run = harness::in_menu(root, "11",
        {"1\n" + missing + "\n" + kDb + "\n", "4\ndb/old -5\n", "5\ndb/b 1\n", "6\ndb/s ko_KR.UTF-8\n", "5\nb 2\n",
         "5\nb -1\n", "5\nb yes 1\n", "4\nn twelve 3\n", "4\nexit 1\n", "6\n" + key + " " + value + "\n",
         "4\n" + key + "x 7\n", "6\ndb/t caf\xC3\nexit x\n", "6\ndb/w two words\n", "", "8\ndb/old\n", "8\ndb/b\n",
         "8\ndb/none\n", "8\nexit\n", "9\ndb/s\n", "9\ndb/none\n", "9\nexit\n"},
        {{"NOSLEEP_LOG=/tmp/sleeps"}, {}, {}, 60});
    const std::string set = kAskSet + "succeeded to set buxton value ", del = kAskDel + "succeeded to delete (";
    const std::string privs = std::string(" rp(") + kPub + ") wp(" + kPub + ")\n";
    EXPECT_EQ(run.actions,
              (Strings{kAskOpen + missing + ")\nfailed to open (" + missing + ") due to error:(14)\n" + opened(kDb),
                       set + "(db/old)-(-5)\n", set + "(db/b)-(1)\n", set + "(db/s)-(ko_KR.UTF-8)\n",
                       kAskSet + "Invalid value (2)\n", kAskSet + "Invalid value (-1)\n", kAskSet, kAskSet, kAskSet,
                       set + "(" + key + ")-(" + value + ")\n", kAskSet,
                       kAskSet + "failed to serialize data\n" + kAskSet, set + "(db/w)-(two)\n",
                       "",  // the second word is no menu choice
                       kAskGet + "key(db/old) value(-5)" + privs, kAskGet + "key(db/b) value(1)" + privs,
                       kAskGet + "failed to get value (db/none) not exists\n", kAskGet, del + "db/s)\n",
                       del + "db/none)\n", kAskDel}));
    EXPECT_EQ(root.read("/tmp/sleeps"), "sleep 2\n");  // only the successful open waits
    auto pub = [](GVariant *v) { return record(v, "", kPub, kPub); };  // what a set writes
    EXPECT_EQ(rows_of(root, kDb),
              (Records{{"db/old", pub(g_variant_new_int32(-5))}, {"db/b", pub(g_variant_new_boolean(TRUE))},
                       {"db/w", pub(g_variant_new_string("two"))}, {key, pub(g_variant_new_string(value.c_str()))}}));
}

TEST(BuxtonList, EveryTypeBothLayoutsAndRecordsThatCannotBeRead)
{
    harness::DeviceRoot root;
    // Tuple offsets sit at the end, the first member's last: a read
    // privilege, then a setter, that GLib gives back as no text at all.
    std::string no_rp = record(g_variant_new_int32(1)), no_setter = no_rp;
    no_rp[no_rp.size() - 8] = no_setter[no_setter.size() - 10] = 0;
    make_db(root, kDb,
            {{"k00", record(g_variant_new_string("Asia/Seoul"), "User")}, {"k01", record(g_variant_new_int32(-5), 0)},
             {"k02", record(g_variant_new_uint32(UINT32_MAX))}, {"k03", record(g_variant_new_int64(INT64_MIN))},
             {"k04", record(g_variant_new_uint64(UINT64_MAX))}, {"k05", record(g_variant_new_double(0.5))},
             {"k06", record(g_variant_new_boolean(TRUE), "", kPlat)}, {"k07", record(g_variant_new_boolean(0), 0)},
             {"k08", record(g_variant_new_tuple(nullptr, 0))}, {"k09", record(g_variant_new_byte(7))},
             {"k10", std::nullopt}, {"k11", boxed(g_variant_new("(ss)", "r", "w"))}, {"k12", no_rp},
             {"k13", no_setter}, {"k14", record(g_variant_new_string(""))}});
    // nulls: the widest path word
    const std::string notes = "/tmp/notes.db", broken = "/tmp/bad.db", nulls = "/tmp/" + std::string(119, 'n') + ".db";
    root.write(notes, "notes" + std::string(100, '.'));
    make_db(root, nulls, {{"n1", std::nullopt}, {"n2", std::nullopt}});
    make_db(root, broken, {{"k", record(g_variant_new_int32(1))}});
    // The schema on the first page stays, the other two are garbage: the read is made, its step fails.
    root.write(broken, root.read(broken).substr(0, 4096) + std::string(8192, '\xA5'));
    const auto run = harness::in_menu(root, "11",
        {"1\n" + kDb + "\n", "3\n", "8\nk08\n", "8\nk10\nk05\n", "8\nk09\nexit\n", "1\n" + notes + "\n", "3\n",
         "4\nk 5\nexit 0\n", "8\nk\n", "9\nk\n", "1\n" + broken + "\n", "8\nk\n", "1\n" + nulls + "\n", "3\n"});
    auto line = [](int i, const std::string &key, const std::string &value, const std::string &type,
                   const std::string &setter = "System", const char *rp = kPub) {
        return "[" + std::to_string(i) + "] key(" + key + ") value(" + value + ") rp(" + rp + ") wp(" + kPlat +
               ") type(" + type + ") setter(" + setter + ")\n";
    };
    auto unread = [](auto key, auto why) { return why + " ******failed to deserialize (" + key + ") ****** \n"; };
    const std::string header = "\n\n=================[Vconf key list of ", rule = "]===============\n\n";
    const std::string null_data = "invalid parameter ((nil))-(0)\n", bad = "bad message (y)\nfailed to gv_to_val\n";
    const std::string no_values = "failed to gv to values\n";
    EXPECT_EQ(run.actions,
              (Strings{opened(kDb),
                       header + kDb + rule + line(0, "k00", "Asia/Seoul", "string", "User") +
                           line(1, "k01", "-5", "int32", "") + line(2, "k02", "4294967295", "uint32") +
                           line(3, "k03", "-9223372036854775808", "int64") + line(4, "k04", "-1", "uint64") +
                           line(5, "k05", "0.500000", "double") + line(6, "k06", "1", "bool", "", kPlat) +
                           line(7, "k07", "0", "bool", "") + "[8] key(k08) unknown data type\n" +
                           unread("k09", bad + no_values) + unread("k10", null_data) +
                           unread("k11", "Deserialize: Unsupported type: (ss)\n" + no_values) +
                           unread("k12", no_values) + unread("k13", no_values) + line(14, "k14", "", "string") +
                           "\n\nTotal [15] keys are in " + kDb + "\n\nSuccessful to get [10] keys out of [15] keys \n" +
                           std::string(95, '=') + "\n\n\n",
                       kAskGet + "key(k08) unknown data type\n",
                       kAskGet + null_data + "failed to deserialize (k10)\n" + kAskGet +
                           "key(k05) value(0.500000) rp(" + kPub + ") wp(" + kPlat + ")\n",
                       kAskGet + bad + no_values + "failed to deserialize (k09)\n" + kAskGet, opened(notes, kDb),
                       "Failed to list the keys... in database (" + notes + ") \n",
                       kAskSet + "prepare error, ret = 26, extended = 26\nfailed to set buxton value (k)-(5)\n" +
                           kAskSet,
                       kAskGet + "failed to get value (k) \n", kAskDel + "failed to delete (k)\n",
                       opened(broken, notes), kAskGet + "failed to get value (k) not exists\n", opened(nulls, broken),
                       // no key read: no totals
                       header + nulls + rule + unread("n1", null_data) + unread("n2", null_data)}));
    // An empty text is no record either, though it decodes to a buffer.
    make_db(root, "/tmp/e.db", {{"e", std::string()}});
    const std::string empty = root.run("11\n1\n/tmp/e.db\n8\ne\nexit\n99\n99\n").out;
    EXPECT_NE(empty.find(")-(0)\nfailed to deserialize (e)\n"), std::string::npos) << empty;

    // The device's own database decodes in full.
    const std::string sys = "/var/lib/buxton2_base/system.db", n = std::to_string(rows_of(root, sys).size());
    const std::string listed = harness::in_menu(root, "11", {"1\n" + sys + "\n", "3\n"}).actions.back();
    EXPECT_NE(listed.find("Successful to get [" + n + "] keys out of [" + n + "] keys"), std::string::npos) << listed;
}

TEST(BuxtonFiles, VerifyRestoreAndMakeWritable)
{
    if (geteuid() != 0)
        GTEST_SKIP() << "gives files to the buxton account";
    harness::DeviceRoot root;
    const std::string base = "/var/lib/buxton2_base/", sys = base + "system.db", mem = base + "memory.db";
    const std::string factory = base + "system_factory.db", w = "/tmp/w.db", none = "/tmp/none.db";
    const std::string wide = "/opt/usr/dbspace/" + std::string(105, 'l') + ".db", j = wide + "-j";  // cut at 127
    for (const auto &[path, content] : Records{{"/tmp/e.db", ""}, {"/tmp/t.db", "text" + std::string(100, '.')},
                                               {"/tmp/a.dbx", "old"}, {mem, "damaged"}, {mem + "-shm", "stale"},
                                               {mem + "-wal", "stale"}, {wide, "wide"},
                                               {"/etc/buxton2/system.db", "text" + std::string(100, '.')}})
        root.write(path, content);
    root.remove("/etc/buxton2/system_factory.db");
    make_db(root, w, {{"db/k", record(g_variant_new_int32(1))}});
    const std::string content = root.read(w), backup = root.read("/etc/buxton2/memory.db");
    root.write(w + "-journal", "journal");  // after the database: SQLite would take it for its own
    chmod(root.host_path(w).c_str(), 0600), chmod(root.host_path(w + "-journal").c_str(), 0600);
    const auto run = harness::in_menu(root, "11",
        {"1\n" + sys + "\n", "10\n" + none + "\n/tmp/e.db\n", "10\n/tmp/t.db\n", "10\n:memory:\n", "10\n" + sys + "\n",
         "3\n", "11\n/tmp/a.sql\n", "1\n" + sys + "\n", "11\n/tmp/m.db\n/tmp/a.dbx\n", "3\n", "4\ndb/new 7\n",
         "12\nSystem\nmemory\n", "12\nfactory\n", "12\nsystem\n", "13\n" + w + "\n", "13\n" + wide + "\n",
         "13\nexit\n"});
    const std::string ask = "Please enter db path (eg. /opt/var/lib/buxton2/system.db) or 'exit'\nopen (";
    const std::string ask_base =
        "Please enter base db or 'exit' (enter one of these, 'system', 'memory', 'factory', 'service')\nopen (";
    const std::string writable = "Please enter base db or 'exit' (eg. /etc/buxton2/memory.db)\nopen (";
    const std::string owner = "pw_name(buxton), pw_passwd(x), uid(375). gid(375)\n";
    auto copies = [](const std::string &file, size_t n) {  // to the temporary file and back
        const std::string size = ":" + std::to_string(n) + ") to (";
        return "copy (" + file + size + kTemp + ")\ncopy (" + kTemp + size + file + ")\n";
    };
    EXPECT_EQ(run.actions,
              (Strings{opened(sys),
                       ask + none + ")\nClose (" + sys + ")\nfailed to open (" + none + ") due to error:(14)\n" +
                           opened("/tmp/e.db", "", ask) + "Invalid db file(/tmp/e.db)\n",
                       opened("/tmp/t.db", "", ask) + "Invalid db file : integrity_check failed(/tmp/t.db)\n",
                       opened(":memory:", "", ask) + "stat error. file path(:memory:) errno(2)\n" +
                           "Invalid db file(:memory:)\n",
                       opened(sys, "", ask) + "Verify OK! (" + sys + ")\n", "There is no opened db\n",
                       ask + "/tmp/a.sql)\ninvalid db file (/tmp/a.sql)\n", opened(sys),
                       ask + "/tmp/m.db)\ncan't find (/tmp/m.db), enter valid path\n" + ask + "/tmp/a.dbx)\n" +
                           "remove (/tmp/a.dbx)\nClose (" + sys + ")\nsucceed to open (/tmp/a.dbx)\n" +
                           "Restored normal db (/tmp/a.dbx)\n",
                       // the listing's read transaction ends: the set after it reaches the file
                       "\n\n=================[Vconf key list of /tmp/a.dbx]===============\n\n",
                       kAskSet + "succeeded to set buxton value (db/new)-(7)\n",
                       ask_base + "System)\nUnknown base db (System)\ninvalid base_db (System)\n" + ask_base +
                           "memory)\nremoved (" + mem + ")\nremoved (" + mem + "-shm)\nremoved (" + mem + "-wal)\n" +
                           "copy (/etc/buxton2/memory.db:" + std::to_string(backup.size()) + ") to (" + mem + ")\n" +
                           owner + "Close (/tmp/a.dbx)\nsucceed to open (" + mem + ")\nVerify OK! (" + mem + ")\n",
                       ask_base + "factory)\nremoved (" + factory + ")\nstat error. file path(/etc/buxton2/" +
                           "system_factory.db) errno(2)\nfailed to change owner of (" + factory + ":2)\nfailed to " +
                           "open (" + factory + ") due to error:(14)\ncopied db file(" + factory + ") is invalid\n",
                       ask_base + "system)\nremoved (" + sys + ")\ncopy (/etc/buxton2/system.db:104) to (" + sys +
                           ")\n" + owner + "succeed to open (" + sys + ")\nInvalid db file : integrity_check failed(" +
                           sys + ")\ncopied db file(" + sys + ") is invalid\n",
                       writable + w + ")\n" + copies(w, content.size()) + copies(w + "-journal", 7) + owner + owner +
                           "writable db made (" + w + ")\n",
                       writable + wide + ")\n" + copies(wide, 4) + "stat error. file path(" + j + ") errno(2)\n" +
                           "failed to copy a file (" + j + ") > (" + kTemp + ")\n" + owner +
                           "failed to change owner of (" + j + ":2)\nwritable db made (" + wide + ")\n",
                       writable + "exit)\n"}));
    // A closed WAL database leaves no log behind.
    for (const std::string &gone : Strings{none, "/tmp/m.db", "/tmp/a.sql", factory, mem + "-wal", kTemp,
                                           "/tmp/a.dbx-wal"})
        EXPECT_FALSE(root.exists(gone)) << gone;
    EXPECT_EQ(rows_of(root, "/tmp/a.dbx", "PRAGMA journal_mode"), (Records{{"wal", ""}}));
    EXPECT_EQ(rows_of(root, "/tmp/a.dbx"), (Records{{"db/new", record(g_variant_new_int32(7), "", kPub, kPub)}}));
    EXPECT_TRUE(root.read(mem) + root.read(w) + root.read(w + "-journal") == backup + content + "journal");
    for (const std::string &file : {mem, w, w + "-journal"}) {
        struct stat st {};
        stat(root.host_path(file).c_str(), &st);
        EXPECT_TRUE(st.st_uid == 375 && st.st_gid == 375 && (st.st_mode & 0777) == 0644) << file;
    }

    // A temporary file left by a failed copy back may be the only copy of a
    // database: nothing overwrites it.
    root.write(kTemp, "only copy");
    EXPECT_EQ(harness::in_menu(root, "11", {"13\n" + w + "\n"}).actions,
              Strings{writable + w + ")\n(" + kTemp + ") is left from an earlier failure and may be the only copy of " +
                      "a db file: save it elsewhere and remove it\n"});
    EXPECT_TRUE(root.read(kTemp) + root.read(w) == "only copy" + content);
}

// GLib's record read by the plug-in and written again: GLib's own bytes.
TEST(BuxtonRecord, EveryTypeRoundTripsToGLibsOwnBytes)
{
    int n = 0;
    for (GVariant *value :
         {g_variant_new_string("Asia/Seoul"), g_variant_new_int32(INT32_MIN), g_variant_new_uint32(UINT32_MAX),
          g_variant_new_int64(INT64_MIN), g_variant_new_int64(INT64_MAX), g_variant_new_uint64(UINT64_MAX),
          g_variant_new_double(-1.0 / 3), g_variant_new_boolean(TRUE), g_variant_new_boolean(FALSE)}) {
        const std::string bytes = record(value, ++n % 2 ? "System::Privileged" : "");
        GVariant *box = g_variant_ref_sink(
            g_variant_new_from_data(G_VARIANT_TYPE_VARIANT, bytes.data(), bytes.size(), TRUE, nullptr, nullptr));
        char *rp = nullptr, *wp = nullptr;
        buxton_value v{};
        uint8_t *data = nullptr;
        int len = 0;
        ASSERT_EQ(gv_to_values(box, &rp, &wp, &v), 0);
        ASSERT_EQ(serialz_data(rp, wp, &v, &data, &len), 0);
        EXPECT_EQ(std::string(reinterpret_cast<char *>(data), len), bytes);  // ends in "\0(sssv)"
        for (void *p : std::initializer_list<void *>{rp, wp, v.setter, data, v.type == 1 ? v.value.s : nullptr})
            free(p);
        g_variant_unref(box);
    }
}

TEST(BuxtonRecord, BadArgumentsWriteNothing)
{
    auto fails = [](const char *rp, const char *wp, const buxton_value *v, bool data_out = true, bool len_out = true) {
        uint8_t *data = nullptr;
        int len = -7;
        errno = 0;
        testing::internal::CaptureStdout();
        EXPECT_EQ(serialz_data(rp, wp, v, data_out ? &data : nullptr, len_out ? &len : nullptr), -1);
        fflush(stdout);
        EXPECT_TRUE(errno == EINVAL && data == nullptr && len == -7);
        return testing::internal::GetCapturedStdout();
    };
    buxton_value v = {BUXTON_TYPE_INT32, {}, nullptr};
    const char *names[] = {"read priv", "write priv", "value", "data", "len"};
    for (int n = 0; n < 5; ++n)
        EXPECT_EQ(fails(n == 0 ? nullptr : kPub, n == 1 ? nullptr : kPub, n == 2 ? nullptr : &v, n != 3, n != 4),
                  "serialize data: invalid argument: " + std::string(names[n]) + "\n");
    EXPECT_EQ(fails("\xFE", kPub, &v) + fails(kPub, "\xFE", &v), "");  // no UTF-8: quietly
    auto with = [&](uint32_t type, const char *s, const char *setter = nullptr) {
        v = {static_cast<buxton_value_type>(type), {const_cast<char *>(s)}, const_cast<char *>(setter)};
        return fails(kPub, kPub, &v);
    };
    EXPECT_EQ(with(BUXTON_TYPE_UNKNOWN, nullptr) + with(8, nullptr) + with(BUXTON_TYPE_STRING, nullptr),
              "Serialize: Invalid value type: 0\nSerialize: Invalid value type: 8\nSerialize: value has NULL string\n");
    EXPECT_EQ(with(BUXTON_TYPE_STRING, "caf\xC3") + with(BUXTON_TYPE_INT32, nullptr, "\xFF"), "");
}

TEST(BuxtonCopy, TheWholeFileOrOneLineWhyNot)
{
    const harness::DeviceRoot scratch;  // only a directory of its own
    const std::string src = scratch.host_path("/src"), dst = scratch.host_path("/dst"), dir = scratch.host_path("/etc");
    const std::string empty = scratch.host_path("/empty"), content = std::string(8192, 'c') + "end";
    scratch.write("/src", content);
    scratch.write("/dst", content + content);  // a longer file keeps no tail
    scratch.write("/empty", "");
    testing::internal::CaptureStdout();
    const std::vector<int> results = {copy_file(src.c_str(), dst.c_str()), copy_file(src.c_str(), "/no/dst"),
                                      copy_file(dir.c_str(), empty.c_str()), copy_file(empty.c_str(), "x"),
                                      copy_file(nullptr, "x"), copy_file("x", nullptr)};
    fflush(stdout);
    EXPECT_EQ(results, (std::vector<int>{0, -1, -1, -1, -1, -1}));
    EXPECT_TRUE(scratch.read("/dst") == content);
    Strings out = harness::lines(testing::internal::GetCapturedStdout());
    out.erase(out.begin() + 3);  // the directory's size is the file system's
    EXPECT_EQ(out, (Strings{"copy (" + src + ":8195) to (" + dst + ")", "copy (" + src + ":8195) to (/no/dst)",
                            "failed to open(/no/dst):(2)", "failed to read src(" + dir + ") errno(21)",
                            "Invalid db file(" + empty + ")", "invalid input", "invalid input"}));
}

}  // namespace
