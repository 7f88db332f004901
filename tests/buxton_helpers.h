// Shared pieces of the buxton tests: records made with GLib itself, database
// files made and read with SQLite itself, and the menu's expected text.
#ifndef TAVRIN_TEST_BUXTON_HELPERS_H
#define TAVRIN_TEST_BUXTON_HELPERS_H

#include <sqlite3.h>

#include <glib.h>
#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "harness.h"

namespace bx {

inline const char kPublic[] = "http://tizen.org/privilege/internal/default/public";
inline const char kPlatform[] = "http://tizen.org/privilege/internal/default/platform";

// The record bytes of a value, boxed as the store keeps it: "(sssv)" with a
// setter, the older "(ssv)" without. VALUE may be floating.
inline std::string record(const char *rp, const char *wp, const char *setter, GVariant *value)
{
    GVariant *tuple = setter ? g_variant_new("(sssv)", rp, wp, setter, value) : g_variant_new("(ssv)", rp, wp, value);
    GVariant *box = g_variant_ref_sink(g_variant_new_variant(tuple));
    std::string bytes(static_cast<const char *>(g_variant_get_data(box)), g_variant_get_size(box));
    g_variant_unref(box);
    return bytes;
}

// The bytes of any variant boxed once, whatever it holds.
inline std::string boxed(GVariant *inner)
{
    GVariant *box = g_variant_ref_sink(g_variant_new_variant(inner));
    std::string bytes(static_cast<const char *>(g_variant_get_data(box)), g_variant_get_size(box));
    g_variant_unref(box);
    return bytes;
}

inline std::string base64(const std::string &bytes)
{
    gchar *text = g_base64_encode(reinterpret_cast<const guchar *>(bytes.data()), bytes.size());
    std::string s(text);
    g_free(text);
    return s;
}

// GLib's own text form of stored bytes, e.g. <('rp', 'wp', '', <-5>)>.
inline std::string print_record(const std::string &bytes)
{
    gpointer copy = g_memdup2(bytes.data(), bytes.size());
    GVariant *v = g_variant_ref_sink(
        g_variant_new_from_data(G_VARIANT_TYPE_VARIANT, copy, bytes.size(), FALSE, g_free, copy));
    gchar *text = g_variant_print(v, FALSE);
    std::string s(text);
    g_free(text);
    g_variant_unref(v);
    return s;
}

struct Row {
    std::string key;
    std::optional<std::string> data;  // the column's text; nullopt for SQL NULL
};

inline void exec(sqlite3 *db, const std::string &sql)
{
    char *err = nullptr;
    ASSERT_EQ(sqlite3_exec(db, sql.c_str(), nullptr, nullptr, &err), SQLITE_OK) << (err ? err : "") << ": " << sql;
}

// A database file with the store's table and ROWS in it.
inline void make_db(const std::string &host_path, const std::vector<Row> &rows, bool wal = false)
{
    gchar *dir = g_path_get_dirname(host_path.c_str());
    g_mkdir_with_parents(dir, 0755);
    g_free(dir);
    sqlite3 *db = nullptr;
    ASSERT_EQ(sqlite3_open(host_path.c_str(), &db), SQLITE_OK) << host_path;
    if (wal)
        exec(db, "PRAGMA journal_mode = WAL");
    exec(db, "create table if not exists buxton (key text, data text, PRIMARY KEY(key))");
    sqlite3_stmt *stmt = nullptr;
    ASSERT_EQ(sqlite3_prepare_v2(db, "insert or replace into buxton(key, data) values(?,?)", -1, &stmt, nullptr),
              SQLITE_OK);
    for (const Row &row : rows) {
        sqlite3_bind_text(stmt, 1, row.key.c_str(), -1, SQLITE_TRANSIENT);
        if (row.data)
            sqlite3_bind_text(stmt, 2, row.data->c_str(), -1, SQLITE_TRANSIENT);
        else
            sqlite3_bind_null(stmt, 2);
        EXPECT_EQ(sqlite3_step(stmt), SQLITE_DONE);
        sqlite3_reset(stmt);
    }
    sqlite3_finalize(stmt);
    sqlite3_close(db);
}

// Every row, by key. Empty when the file has no table.
inline std::vector<Row> read_rows(const std::string &host_path)
{
    std::vector<Row> rows;
    sqlite3 *db = nullptr;
    if (sqlite3_open_v2(host_path.c_str(), &db, SQLITE_OPEN_READONLY, nullptr) == SQLITE_OK) {
        sqlite3_stmt *stmt = nullptr;
        if (sqlite3_prepare_v2(db, "select key, data from buxton order by key", -1, &stmt, nullptr) == SQLITE_OK) {
            while (sqlite3_step(stmt) == SQLITE_ROW) {
                Row row{reinterpret_cast<const char *>(sqlite3_column_text(stmt, 0)), std::nullopt};
                if (sqlite3_column_type(stmt, 1) != SQLITE_NULL)
                    row.data = reinterpret_cast<const char *>(sqlite3_column_text(stmt, 1));
                rows.push_back(row);
            }
        }
        sqlite3_finalize(stmt);
    }
    sqlite3_close(db);
    return rows;
}

// GLib's text form of the record stored under KEY, "" when there is none.
inline std::string stored(const std::string &host_path, const std::string &key)
{
    for (const Row &row : read_rows(host_path)) {
        if (row.key == key && row.data) {
            gsize n = 0;
            guchar *bytes = g_base64_decode(row.data->c_str(), &n);
            std::string s = print_record(std::string(reinterpret_cast<char *>(bytes), n));
            g_free(bytes);
            return s;
        }
    }
    return "";
}

inline harness::RunOptions options()
{
    harness::RunOptions o;
    o.env.push_back("LD_PRELOAD=" + harness::binary_dir() + "/tests/libpreload_nosleep.so");
    return o;
}

inline harness::RunResult run(const harness::DeviceRoot &root, const std::string &input,
                              harness::RunOptions o = options())
{
    return root.run(input, o);
}

inline const std::vector<std::string> &labels()
{
    static const std::vector<std::string> l = {
        "Open buxton db file ",   "Close buxton db file ",   "Print all keys in db file ",
        "Set vconf key (int) ",   "Set vconf key (bool) ",   "Set vconf key (string) ",
        "Set vconf key (double) ", "Get vconf key",          "Delete vconf key",
        "Verify db",              "Restore db (normal)",     "Restore db (base)",
        "make writable db file"};
    return l;
}

inline std::string menu()
{
    return harness::menu("buxton debug menu", labels());
}

// Expected output of a whole run: the main menu, the buxton menu, then each
// action's text followed by the buxton menu again, and the main menu last.
inline std::string transcript(const std::vector<std::string> &actions)
{
    std::string s = harness::main_menu() + menu();
    for (const auto &a : actions)
        s += a + menu();
    return s + harness::main_menu();
}

inline std::string open_text(const std::string &path)
{
    return "Please enter db path (eg. /opt/var/lib/system.db) or 'exit'\nopen (" + path + ")\nsucceed to open (" + path +
           ")\n";
}

inline std::string list_header(const std::string &path)
{
    return "\n\n=================[Vconf key list of " + path + "]===============\n\n";
}

inline std::string list_totals(const std::string &path, int total, int read)
{
    return "\n\nTotal [" + std::to_string(total) + "] keys are in " + path + "\n\nSuccessful to get [" +
           std::to_string(read) + "] keys out of [" + std::to_string(total) + "] keys \n" + std::string(95, '=') +
           "\n\n\n";
}

inline void expect_output(const harness::RunResult &r, const std::string &expected)
{
    EXPECT_EQ(r.status, 0);
    EXPECT_EQ(r.out, expected) << harness::diff(expected, r.out);
}

}  // namespace bx

#endif
