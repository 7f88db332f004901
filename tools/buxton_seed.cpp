// buxton-seed DB: adds keys to the buxton database file DB (created when
// missing, in write-ahead-log mode) from lines on standard input:
//
//   KEY|TYPE|VALUE|READ_PRIVILEGE|WRITE_PRIVILEGE|SETTER
//
// TYPE is string, int32, uint32, int64, uint64, double or bool (0 or 1).
// A line without the SETTER field is written in the store's older record
// layout, which has no setter. Blank lines and lines starting with # are
// skipped. Used to give the development device the store's base databases.
#include <sqlite3.h>

#include <glib.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

namespace {

int fail(int line, const char *what)
{
    fprintf(stderr, "buxton-seed: line %d: %s\n", line, what);
    return 1;
}

bool parse_signed(const char *text, gint64 min, gint64 max, gint64 *out)
{
    char *end = nullptr;
    errno = 0;
    gint64 v = g_ascii_strtoll(text, &end, 0);
    if (errno || end == text || *end || v < min || v > max)
        return false;
    *out = v;
    return true;
}

bool parse_unsigned(const char *text, guint64 max, guint64 *out)
{
    char *end = nullptr;
    errno = 0;
    if (*text == '-')
        return false;
    guint64 v = g_ascii_strtoull(text, &end, 0);
    if (errno || end == text || *end || v > max)
        return false;
    *out = v;
    return true;
}

// The typed value of a line, or null when VALUE does not fit TYPE.
GVariant *typed_value(const char *type, const char *value)
{
    gint64 s;
    guint64 u;
    if (!std::strcmp(type, "string"))
        return g_utf8_validate(value, -1, nullptr) ? g_variant_new_string(value) : nullptr;
    if (!std::strcmp(type, "int32"))
        return parse_signed(value, G_MININT32, G_MAXINT32, &s) ? g_variant_new_int32(static_cast<gint32>(s)) : nullptr;
    if (!std::strcmp(type, "uint32"))
        return parse_unsigned(value, G_MAXUINT32, &u) ? g_variant_new_uint32(static_cast<guint32>(u)) : nullptr;
    if (!std::strcmp(type, "int64"))
        return parse_signed(value, G_MININT64, G_MAXINT64, &s) ? g_variant_new_int64(s) : nullptr;
    if (!std::strcmp(type, "uint64"))
        return parse_unsigned(value, G_MAXUINT64, &u) ? g_variant_new_uint64(u) : nullptr;
    if (!std::strcmp(type, "bool"))
        return parse_unsigned(value, 1, &u) ? g_variant_new_boolean(u != 0) : nullptr;
    if (!std::strcmp(type, "double")) {
        char *end = nullptr;
        double d = g_ascii_strtod(value, &end);
        return end != value && !*end ? g_variant_new_double(d) : nullptr;
    }
    return nullptr;
}

}  // namespace

int main(int argc, char **argv)
{
    if (argc != 2) {
        fprintf(stderr, "usage: buxton-seed DB < KEYS\n");
        return 2;
    }
    sqlite3 *db = nullptr;
    if (sqlite3_open_v2(argv[1], &db, SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE, nullptr) != SQLITE_OK) {
        fprintf(stderr, "buxton-seed: cannot open %s: %s\n", argv[1], sqlite3_errmsg(db));
        sqlite3_close(db);
        return 1;
    }
    if (sqlite3_exec(db,
                     "PRAGMA journal_mode = WAL;"
                     "create table if not exists buxton (key text, data text, PRIMARY KEY(key));"
                     "begin;",
                     nullptr, nullptr, nullptr) != SQLITE_OK) {
        fprintf(stderr, "buxton-seed: %s: %s\n", argv[1], sqlite3_errmsg(db));
        sqlite3_close(db);
        return 1;
    }
    sqlite3_stmt *insert = nullptr;
    sqlite3_prepare_v2(db, "insert or replace into buxton(key, data) values(?,?)", -1, &insert, nullptr);

    int status = 0;
    char buf[8192];
    for (int line = 1; status == 0 && fgets(buf, sizeof buf, stdin); ++line) {
        buf[strcspn(buf, "\n")] = '\0';
        if (!buf[0] || buf[0] == '#')
            continue;
        gchar **f = g_strsplit(buf, "|", -1);
        const guint n = g_strv_length(f);
        GVariant *value = n == 5 || n == 6 ? typed_value(f[1], f[2]) : nullptr;
        if (!value) {
            status = fail(line, n == 5 || n == 6 ? "value does not fit its type" : "expected 5 or 6 fields");
        } else {
            GVariant *tuple = n == 6 ? g_variant_new("(sssv)", f[3], f[4], f[5], value)
                                     : g_variant_new("(ssv)", f[3], f[4], value);
            GVariant *box = g_variant_ref_sink(g_variant_new_variant(tuple));
            gchar *text = g_base64_encode(static_cast<const guchar *>(g_variant_get_data(box)),
                                          g_variant_get_size(box));
            sqlite3_bind_text(insert, 1, f[0], -1, SQLITE_TRANSIENT);
            sqlite3_bind_text(insert, 2, text, -1, SQLITE_TRANSIENT);
            if (sqlite3_step(insert) != SQLITE_DONE)
                status = fail(line, sqlite3_errmsg(db));
            sqlite3_reset(insert);
            g_free(text);
            g_variant_unref(box);
        }
        g_strfreev(f);
    }
    sqlite3_finalize(insert);
    if (sqlite3_exec(db, status == 0 ? "commit;" : "rollback;", nullptr, nullptr, nullptr) != SQLITE_OK && !status)
        status = fail(0, sqlite3_errmsg(db));
    sqlite3_close(db);
    return status;
}
