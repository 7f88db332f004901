// Buxton database tool and vconf key tool.
#include <fcntl.h>
#include <pwd.h>
#include <sqlite3.h>
#include <sys/stat.h>
#include <unistd.h>

#include <glib.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <initializer_list>
#include <memory>
#include <string>

#include "common.h"
#include "debugmenu_host.h"
#include "menu_table.h"
#include "tavrin_debugmenu.h"
#include "vconf.h"

using tavrin::debug_only;

// Console words: a key name and a value word, read with these widths.
#define KEY_WIDTH 511
#define VALUE_WIDTH 4095
#define WIDTH_TEXT(width) #width
#define WORD(width) "%" WIDTH_TEXT(width) "s"

namespace {

using KeyWord = char[KEY_WIDTH + 1];
using ValueWord = char[VALUE_WIDTH + 1];
// A path or a base database name.
using PathWord = char[128];

constexpr char kDefaultPublicPrivilege[] = "http://tizen.org/privilege/internal/default/public";
constexpr char kNoOpenDb[] = "There is no opened db\n";

constexpr char kStoreSql[] = "insert or replace into buxton(key, data) values(?,?)";
constexpr char kReadSql[] = "select data from buxton where key = ?";
constexpr char kListSql[] = "select key from buxton";
constexpr char kDeleteSql[] = "delete from buxton where key = ?;";

// The one open database of the tool. The path outlives the connection: it
// still names the last database after a close.
struct DbInfo {
    sqlite3 *handle;
    char path[1024];
};
DbInfo db_info;

struct VariantUnref {
    void operator()(GVariant *v) const { g_variant_unref(v); }
};
using VariantPtr = std::unique_ptr<GVariant, VariantUnref>;

struct GFree {
    void operator()(void *p) const { g_free(p); }
};
template <typename T>
using GOwned = std::unique_ptr<T, GFree>;

struct Finalize {
    void operator()(sqlite3_stmt *stmt) const { sqlite3_finalize(stmt); }
};
using Statement = std::unique_ptr<sqlite3_stmt, Finalize>;

// SQL prepared on DB; null when it cannot be, with the result in *rc.
Statement prepare(sqlite3 *db, const char *sql, int *rc = nullptr)
{
    sqlite3_stmt *stmt = nullptr;
    const int result = sqlite3_prepare_v2(db, sql, -1, &stmt, nullptr);
    if (rc)
        *rc = result;
    return Statement(result == SQLITE_OK ? stmt : nullptr);
}

// Finalizes at once, for the callers that look at the result.
int finalize(Statement &stmt)
{
    return sqlite3_finalize(stmt.release());
}

int bind_text(sqlite3_stmt *stmt, int index, const char *text)
{
    return sqlite3_bind_text(stmt, index, text, -1, SQLITE_TRANSIENT);
}

// A read transaction, ended (committed, else rolled back) by its owner.
struct TransactionEnd {
    void operator()(sqlite3 *db) const
    {
        if (sqlite3_exec(db, "COMMIT", nullptr, nullptr, nullptr) != SQLITE_OK)
            sqlite3_exec(db, "ROLLBACK", nullptr, nullptr, nullptr);
    }
};
using ReadTransaction = std::unique_ptr<sqlite3, TransactionEnd>;

// Null when none can be begun; the reads then go on without one.
ReadTransaction begin_read(sqlite3 *db)
{
    return ReadTransaction(sqlite3_exec(db, "BEGIN", nullptr, nullptr, nullptr) == SQLITE_OK ? db : nullptr);
}

// Releases what a record owns, then leaves it zero-filled.
void clear_value(buxton_value *value)
{
    if (value->type == BUXTON_TYPE_STRING)
        free(value->value.s);
    free(value->setter);
    *value = buxton_value{};
}

// A decoded record with its privileges, released as a whole.
struct Decoded {
    char *read_priv;
    char *write_priv;
    buxton_value value;
};
struct DecodedFree {
    void operator()(Decoded *record) const
    {
        clear_value(&record->value);
        free(record->read_priv);
        free(record->write_priv);
        free(record);
    }
};
using Record = std::unique_ptr<Decoded, DecodedFree>;

// Skips the rest of the current input line.
void discard_line()
{
    int c;
    while ((c = getchar()) != EOF && c != '\n') {
    }
}

// Reads one path or name; false for the exit word and at end of input.
bool read_path(PathWord &word)
{
    if (scanf("%127s", word) != 1)
        return false;
    menu_print(1, "open (%s)\n", word);
    return !is_exit(word);
}

// Opens PATH into db_info with FLAGS, or prints why it could not. A failed
// connection is released at once.
bool open_into_db_info(const char *path, int flags)
{
    sqlite3 *db = nullptr;
    if (sqlite3_open_v2(path, &db, flags, nullptr) != SQLITE_OK) {
        menu_print(1, "failed to open (%s) due to error:(%d)\n", path, sqlite3_extended_errcode(db));
        sqlite3_close(db);
        return false;
    }
    menu_print(1, "succeed to open (%s)\n", path);
    db_info.handle = db;
    snprintf(db_info.path, sizeof db_info.path, "%s", path);
    sleep(2);
    return true;
}

}  // namespace

// Typed value to buxton_value. Prints only for a type it cannot hold.
int gv_to_val(GVariant *variant, buxton_value *out)
{
    buxton_value value{};
    const char *type = g_variant_get_type_string(variant);
    if (std::strcmp(type, "()") == 0) {
        *out = value;
        return 0;
    }
    switch (type[0]) {
    case 'b':
        value.type = BUXTON_TYPE_BOOLEAN;
        value.value.b = g_variant_get_boolean(variant) ? 1 : 0;
        break;
    case 'd':
        value.type = BUXTON_TYPE_DOUBLE;
        value.value.d = g_variant_get_double(variant);
        break;
    case 'i':
        value.type = BUXTON_TYPE_INT32;
        value.value.i = g_variant_get_int32(variant);
        break;
    case 's': {
        // A malformed record still marked trusted yields no text at all.
        const char *text = g_variant_get_string(variant, nullptr);
        if (!text) {
            errno = EBADMSG;
            return -1;
        }
        value.type = BUXTON_TYPE_STRING;
        value.value.s = strdup(text);
        if (!value.value.s)
            return -1;
        break;
    }
    case 't':
        value.type = BUXTON_TYPE_UINT64;
        value.value.u64 = g_variant_get_uint64(variant);
        break;
    case 'u':
        value.type = BUXTON_TYPE_UINT32;
        value.value.u = g_variant_get_uint32(variant);
        break;
    case 'x':
        value.type = BUXTON_TYPE_INT64;
        value.value.i64 = g_variant_get_int64(variant);
        break;
    default:
        menu_print(1, "bad message (%c)\n", type[0]);
        errno = EBADMSG;
        return -1;
    }
    *out = value;
    return 0;
}

// Boxed tuple to privileges, setter and value; outputs are set only on
// success.
int gv_to_values(GVariant *box, char **read_priv, char **write_priv, buxton_value *out)
{
    GVariant *unboxed = nullptr;
    g_variant_get(box, "v", &unboxed);
    VariantPtr tuple(unboxed);

    const char *type = g_variant_get_type_string(tuple.get());
    const char *rp = nullptr, *wp = nullptr, *setter = nullptr;
    GVariant *boxed_value = nullptr;
    bool has_setter;
    if (std::strcmp(type, "(ssv)") == 0) {
        g_variant_get(tuple.get(), "(&s&sv)", &rp, &wp, &boxed_value);
        has_setter = false;
    } else if (std::strcmp(type, "(sssv)") == 0) {
        g_variant_get(tuple.get(), "(&s&s&sv)", &rp, &wp, &setter, &boxed_value);
        has_setter = true;
    } else {
        menu_print(1, "Deserialize: Unsupported type: %s\n", type);
        errno = EBADMSG;
        return -1;
    }
    VariantPtr typed(boxed_value);
    // Texts come back null only from a malformed record marked trusted.
    if (!rp || !wp || (has_setter && !setter)) {
        errno = EBADMSG;
        return -1;
    }

    tavrin::Owned<char> rp_copy(strdup(rp)), wp_copy(strdup(wp));
    if (!rp_copy || !wp_copy)
        return -1;
    buxton_value value{};
    if (gv_to_val(typed.get(), &value) != 0) {
        menu_print(1, "failed to gv_to_val\n");
        return -1;
    }
    value.setter = strdup(setter ? setter : "");
    if (!value.setter) {
        clear_value(&value);
        return -1;
    }
    *read_priv = rp_copy.release();
    *write_priv = wp_copy.release();
    *out = value;
    return 0;
}

// Box to a newly allocated byte buffer.
int gv_to_data(GVariant *box, uint8_t **data, int *len)
{
    const gsize size = g_variant_get_size(box);
    auto *buf = static_cast<uint8_t *>(malloc(size));
    if (!buf)
        return -1;
    g_variant_store(box, buf);
    *data = buf;
    *len = static_cast<int>(size);
    return 0;
}

namespace {

// The bytes stay the caller's; they are read in place, so they must outlive
// every variant made from them here.
int deserialz_data(uint8_t *data, int len, char **read_priv, char **write_priv, buxton_value *value)
{
    if (!data || len < 1) {
        errno = EINVAL;
        menu_print(1, "invalid parameter (%p)-(%d)\n", static_cast<void *>(data), len);
        return -1;
    }
    VariantPtr box(g_variant_ref_sink(g_variant_new_from_data(G_VARIANT_TYPE_VARIANT, data,
                                                              static_cast<gsize>(len), TRUE, nullptr, nullptr)));
    if (gv_to_values(box.get(), read_priv, write_priv, value) != 0) {
        menu_print(1, "failed to gv to values\n");
        return -1;
    }
    return 0;
}

// Stored bytes to a record; null when they cannot be decoded (the decoder
// has said why).
Record decode(void *data, int len)
{
    Record record(static_cast<Decoded *>(calloc(1, sizeof(Decoded))));
    if (!record ||
        deserialz_data(static_cast<uint8_t *>(data), len, &record->read_priv, &record->write_priv, &record->value) != 0)
        return nullptr;
    return record;
}

const char *const kTypeLabels[] = {"unknown", "string", "int32", "uint32", "int64", "uint64", "double", "bool"};

// A record's value as the listing and the read show it; the unknown type
// has none.
GOwned<gchar> value_text(const buxton_value &v)
{
    switch (v.type) {
    case BUXTON_TYPE_STRING:
        return GOwned<gchar>(g_strdup(v.value.s));
    case BUXTON_TYPE_INT32:
        return GOwned<gchar>(g_strdup_printf("%d", v.value.i));
    case BUXTON_TYPE_UINT32:
        return GOwned<gchar>(g_strdup_printf("%u", v.value.u));
    // Both 64-bit types in signed decimal.
    case BUXTON_TYPE_INT64:
        return GOwned<gchar>(g_strdup_printf("%lld", static_cast<long long>(v.value.i64)));
    case BUXTON_TYPE_UINT64:
        return GOwned<gchar>(g_strdup_printf("%lld", static_cast<long long>(v.value.u64)));
    case BUXTON_TYPE_DOUBLE:
        return GOwned<gchar>(g_strdup_printf("%f", v.value.d));
    case BUXTON_TYPE_BOOLEAN:
        return GOwned<gchar>(g_strdup_printf("%d", v.value.b));
    case BUXTON_TYPE_UNKNOWN:
        break;
    }
    return nullptr;
}

// The typed value of a record; null when GLib would refuse it.
GVariant *typed_variant(const buxton_value &value)
{
    switch (value.type) {
    case BUXTON_TYPE_STRING:
        return g_utf8_validate(value.value.s, -1, nullptr) ? g_variant_new_string(value.value.s) : nullptr;
    case BUXTON_TYPE_INT32:
        return g_variant_new_int32(value.value.i);
    case BUXTON_TYPE_UINT32:
        return g_variant_new_uint32(value.value.u);
    case BUXTON_TYPE_INT64:
        return g_variant_new_int64(value.value.i64);
    case BUXTON_TYPE_UINT64:
        return g_variant_new_uint64(value.value.u64);
    case BUXTON_TYPE_DOUBLE:
        return g_variant_new_double(value.value.d);
    case BUXTON_TYPE_BOOLEAN:
        return g_variant_new_boolean(value.value.b != 0);
    case BUXTON_TYPE_UNKNOWN:
        break;
    }
    return nullptr;
}

int buxton_set_value(sqlite3 *db, const char *key, const void *data, int len)
{
    if (!db) {
        menu_print(1, "%s", kNoOpenDb);
        return -1;
    }
    int rc;
    Statement stmt = prepare(db, kStoreSql, &rc);
    if (!stmt) {
        menu_print(1, "prepare error, ret = %d, extended = %d\n", rc, sqlite3_extended_errcode(db));
        return -1;
    }
    GOwned<gchar> text(g_base64_encode(static_cast<const guchar *>(data), static_cast<gsize>(len)));

    int result = 0;
    rc = bind_text(stmt.get(), 1, key);
    if (rc == SQLITE_OK)
        rc = bind_text(stmt.get(), 2, text.get());
    if (rc != SQLITE_OK) {
        menu_print(1, "Sqlite3 error [%d] : <%s> preparing <%s> querry\n", rc, sqlite3_errmsg(db), kStoreSql);
        result = -1;
    } else if ((rc = sqlite3_step(stmt.get())) != SQLITE_DONE) {
        menu_print(1, "Sqlite3 error [%d] : <%s> executing statement\n", rc, sqlite3_errmsg(db));
        result = -1;
    }
    rc = finalize(stmt);
    if (rc != SQLITE_OK) {
        menu_print(1, "Sqlite3 error [%d] : <%s> finalizing statement\n", rc, sqlite3_errmsg(db));
        result = -1;
    }
    return result;
}

// One key on a prepared read statement, which is left reset for the next.
// A step that brings no row, whether the key is missing or the step failed,
// reads as ENOENT.
int read_prepared(sqlite3_stmt *stmt, const char *key, void **data, int *len)
{
    int result = -1;
    GOwned<guchar> decoded;
    gsize decoded_len = 0;
    if (bind_text(stmt, 1, key) != SQLITE_OK) {
        errno = EIO;
    } else if (sqlite3_step(stmt) != SQLITE_ROW) {
        errno = ENOENT;
    } else {
        if (sqlite3_column_type(stmt, 0) != SQLITE_NULL) {
            const auto *text = reinterpret_cast<const gchar *>(sqlite3_column_text(stmt, 0));
            if (text)
                decoded.reset(g_base64_decode(text, &decoded_len));
        }
        result = 0;
    }
    const int saved_errno = errno;
    if (sqlite3_reset(stmt) != SQLITE_OK) {
        // After a failed step reset reports that failure again; the step's
        // errno stands.
        errno = result == 0 ? EIO : saved_errno;
        return -1;
    }
    errno = saved_errno;
    if (result == 0 && decoded) {
        *len = static_cast<int>(decoded_len);
        *data = decoded.release();
    }
    return result;
}

// On success the decoded bytes are the caller's (free), or nothing is handed
// out for an SQL NULL. errno is ENOENT when the key has no row.
int get_value(sqlite3 *db, const char *key, void **data, int *len)
{
    if (!db) {
        menu_print(1, "%s", kNoOpenDb);
        return -1;
    }
    // A statement that cannot even be made (no table, a schema locked away)
    // is not a missing key.
    Statement stmt = prepare(db, kReadSql);
    if (!stmt) {
        errno = EIO;
        return -1;
    }
    void *read = nullptr;
    int read_len = 0;
    const int result = read_prepared(stmt.get(), key, &read, &read_len);
    GOwned<void> bytes(read);
    const int saved_errno = errno;
    if (finalize(stmt) != SQLITE_OK) {
        errno = result == 0 ? EIO : saved_errno;
        return -1;
    }
    errno = saved_errno;
    if (result == 0 && bytes) {
        *data = bytes.release();
        *len = read_len;
    }
    return result;
}

// Every key name, in row order, before any value is read: reading values
// while the list statement runs would hold it open across thousands of
// lookups. A NULL name stays null. False when the list cannot be read.
bool read_key_names(GList **names)
{
    Statement stmt = prepare(db_info.handle, kListSql);
    if (!stmt)
        return false;
    GList *list = nullptr;
    while (sqlite3_step(stmt.get()) == SQLITE_ROW)
        list = g_list_prepend(list, g_strdup(reinterpret_cast<const char *>(sqlite3_column_text(stmt.get(), 0))));
    list = g_list_reverse(list);
    // An error that ended the steps early shows here.
    if (finalize(stmt) != SQLITE_OK) {
        g_list_free_full(list, g_free);
        return false;
    }
    *names = list;
    return true;
}

// One line of the listing; true when the key was read and decoded.
bool list_key(sqlite3_stmt *reader, int index, const char *name)
{
    const char *key = name ? name : "(null)";
    void *data = nullptr;
    int len = 0;
    if (!reader || read_prepared(reader, name, &data, &len) != 0) {
        menu_print(1, " ******failed to get value of (%s) ******\n", key);
        return false;
    }
    GOwned<void> bytes(data);
    const Record record = decode(data, len);
    if (!record) {
        menu_print(1, " ******failed to deserialize (%s) ****** \n", key);
        return false;
    }
    const buxton_value &v = record->value;
    if (v.type == BUXTON_TYPE_UNKNOWN)
        menu_print(1, "[%d] key(%s) unknown data type\n", index, key);
    else
        menu_print(1, "[%d] key(%s) value(%s) rp(%s) wp(%s) type(%s) setter(%s)\n", index, key,
                   value_text(v).get(), record->read_priv, record->write_priv, kTypeLabels[v.type],
                   v.setter ? v.setter : "empty");
    return true;
}

int list_keys()
{
    // One read transaction for the whole listing: names and values come from
    // one state of the file, and the file is locked and checked for changes
    // once rather than once per key.
    const ReadTransaction snapshot = begin_read(db_info.handle);
    GList *names = nullptr;
    if (!read_key_names(&names)) {
        menu_print(1, "Failed to list the keys... in database (%s) \n", db_info.path);
        return -1;
    }
    const std::unique_ptr<GList, void (*)(GList *)> owner(names, [](GList *l) { g_list_free_full(l, g_free); });
    menu_print(1, "\n\n=================[Vconf key list of %s]===============\n\n", db_info.path);
    if (!names)
        return 0;
    // One read statement for every key: preparing it anew per key would be
    // half of a long listing's time. If it cannot be prepared, every key
    // fails as a read of its own would.
    const Statement reader = prepare(db_info.handle, kReadSql);
    int count = 0, read = 0;
    for (GList *name = names; name; name = name->next)
        read += list_key(reader.get(), count++, static_cast<const char *>(name->data));
    if (read > 0) {
        menu_print(1, "\n\nTotal [%d] keys are in %s\n\n", count, db_info.path);
        menu_print(1, "Successful to get [%d] keys out of [%d] keys \n", read, count);
        menu_print(1, "==============================================================================================="
                      "\n\n\n");
    }
    return 0;
}

// The key operations, the listing and the close need an open database.
int with_open_db(int (*operation)())
{
    if (!db_info.handle) {
        menu_print(1, "%s", kNoOpenDb);
        return -1;
    }
    return operation();
}

enum class SetKind { Int32, Boolean, String };

// A setter's "key value" answer. False when the action ends instead: end of
// input, the exit word, a value that cannot be read (a stale number is never
// stored), or a boolean other than 0 and 1.
bool read_setting(SetKind kind, KeyWord &key, int *number, ValueWord &text)
{
    menu_print(1, "Please enter command fo set or 'exit' (eg. {keyname} {value}\n");
    const int got = kind == SetKind::String ? scanf(WORD(KEY_WIDTH) " " WORD(VALUE_WIDTH), key, text)
                                            : scanf(WORD(KEY_WIDTH) " %d", key, number);
    // End of input counts as the exit word.
    if (got < 1 || is_exit(key))
        return false;
    if (got < 2) {
        // The rest of the line goes too, so that the word is no menu choice.
        if (!feof(stdin))
            discard_line();
        return false;
    }
    if (kind == SetKind::Boolean && static_cast<unsigned>(*number) > 1) {
        menu_print(1, "Invalid value (%d)\n", *number);
        return false;
    }
    return true;
}

// The record a setter writes: no setter; a string is lent, not owned.
buxton_value make_value(SetKind kind, int number, char *text)
{
    buxton_value value{};
    switch (kind) {
    case SetKind::Int32:
        value.type = BUXTON_TYPE_INT32;
        value.value.i = number;
        break;
    case SetKind::Boolean:
        value.type = BUXTON_TYPE_BOOLEAN;
        value.value.b = number;
        break;
    case SetKind::String:
        value.type = BUXTON_TYPE_STRING;
        value.value.s = text;
        break;
    }
    return value;
}

enum class Store { NotMade, Stored, Failed };

// VALUE under KEY with the public privilege; what went wrong is printed.
Store store_value(const char *key, const buxton_value &value)
{
    uint8_t *data = nullptr;
    int len = 0;
    if (serialz_data(kDefaultPublicPrivilege, kDefaultPublicPrivilege, &value, &data, &len) != 0) {
        menu_print(1, "failed to serialize data\n");
        return Store::NotMade;
    }
    const bool stored = buxton_set_value(db_info.handle, key, data, len) == 0;
    free(data);
    return stored ? Store::Stored : Store::Failed;
}

// Asks again after every failure but a rejected answer.
int set_value(SetKind kind)
{
    int number = 0;  // kept between passes
    KeyWord key;
    ValueWord text;
    while (read_setting(kind, key, &number, text)) {
        const Store result = store_value(key, make_value(kind, number, text));
        if (result == Store::NotMade)
            continue;
        const bool stored = result == Store::Stored;
        if (kind == SetKind::String)
            menu_print(1, stored ? "succeeded to set buxton value (%s)-(%s)\n" : "failed to set buxton value (%s)-(%s)\n",
                       key, text);
        else
            menu_print(1, stored ? "succeeded to set buxton value (%s)-(%d)\n" : "failed to set buxton value (%s)-(%d)\n",
                       key, number);
        if (stored)
            break;
    }
    return 0;
}

int get_key()
{
    KeyWord key;
    for (;;) {
        menu_print(1, "Please enter key name to read or 'exit'\n");
        if (scanf(WORD(KEY_WIDTH), key) != 1 || is_exit(key))
            return 0;

        void *data = nullptr;
        int len = 0;
        errno = 0;
        if (get_value(db_info.handle, key, &data, &len) != 0) {
            menu_print(1, "failed to get value (%s) %s\n", key, errno == ENOENT ? "not exists" : "");
            return 0;
        }
        GOwned<void> bytes(data);
        const Record record = decode(data, len);
        if (!record) {
            menu_print(1, "failed to deserialize (%s)\n", key);
            continue;
        }
        if (record->value.type == BUXTON_TYPE_UNKNOWN)
            menu_print(1, "key(%s) unknown data type\n", key);
        else
            menu_print(1, "key(%s) value(%s) rp(%s) wp(%s)\n", key, value_text(record->value).get(),
                       record->read_priv, record->write_priv);
        return 0;
    }
}

int delete_key()
{
    KeyWord key;
    menu_print(1, "Please enter vconf key to delete 'exit'\n");
    if (scanf(WORD(KEY_WIDTH), key) != 1 || is_exit(key))
        return 0;

    Statement stmt = prepare(db_info.handle, kDeleteSql);
    bool done = stmt && bind_text(stmt.get(), 1, key) == SQLITE_OK && sqlite3_step(stmt.get()) == SQLITE_DONE;
    if (finalize(stmt) != SQLITE_OK)
        done = false;
    menu_print(1, done ? "succeeded to delete (%s)\n" : "failed to delete (%s)\n", key);
    return 0;
}

int open_db()
{
    PathWord path;
    for (;;) {
        menu_print(1, "Please enter db path (eg. /opt/var/lib/system.db) or 'exit'\n");
        if (!read_path(path))
            return 0;
        if (db_info.handle)
            buxton_close_db();
        // Read-write without create: a mistyped path must not leave an empty
        // database behind.
        if (open_into_db_info(path, SQLITE_OPEN_READWRITE))
            return 0;
    }
}

int close_db()
{
    menu_print(1, "Close (%s)\n", db_info.path);
    sqlite3_close(db_info.handle);
    db_info.handle = nullptr;
    return 0;
}

}  // namespace

int serialz_data(const char *read_priv, const char *write_priv, const buxton_value *value, uint8_t **data, int *len)
{
    if (!read_priv || !write_priv || !value || !data || !len) {
        errno = EINVAL;
        printf("serialize data: invalid argument:%s%s%s%s%s\n", read_priv ? "" : " read priv",
               write_priv ? "" : " write priv", value ? "" : " value", data ? "" : " data", len ? "" : " len");
        return -1;
    }
    if (value->type == BUXTON_TYPE_UNKNOWN || value->type > BUXTON_TYPE_BOOLEAN) {
        printf("Serialize: Invalid value type: %d\n", static_cast<int>(value->type));
        errno = EINVAL;
        return -1;
    }
    if (value->type == BUXTON_TYPE_STRING && !value->value.s) {
        puts("Serialize: value has NULL string");
        errno = EINVAL;
        return -1;
    }
    const char *setter = value->setter ? value->setter : "";
    // GLib refuses texts that are not UTF-8; ask it first rather than have it
    // complain on the console.
    GVariant *typed = nullptr;
    if (g_utf8_validate(read_priv, -1, nullptr) && g_utf8_validate(write_priv, -1, nullptr) &&
        g_utf8_validate(setter, -1, nullptr))
        typed = typed_variant(*value);
    if (!typed) {
        errno = EINVAL;
        return -1;
    }
    VariantPtr box(g_variant_ref_sink(
        g_variant_new_variant(g_variant_new("(sssv)", read_priv, write_priv, setter, typed))));
    return gv_to_data(box.get(), data, len);
}

void get_data(void **slot, char *value)
{
    if (slot)
        *slot = value;
}

int buxton_open_db(void)
{
    return debug_only(open_db);
}

int buxton_close_db(void)
{
    return debug_only(with_open_db, close_db);
}

int buxton_print_keys(void)
{
    return debug_only(with_open_db, list_keys);
}

int buxton_set_int(void)
{
    return debug_only(with_open_db, [] { return set_value(SetKind::Int32); });
}

int buxton_set_bool(void)
{
    return debug_only(with_open_db, [] { return set_value(SetKind::Boolean); });
}

int buxton_set_str(void)
{
    return debug_only(with_open_db, [] { return set_value(SetKind::String); });
}

int buxton_get_key(void)
{
    return debug_only(with_open_db, get_key);
}

int buxton_delete_key(void)
{
    return debug_only(with_open_db, delete_key);
}

// Database file maintenance.

namespace {

constexpr char kAskDbPath[] = "Please enter db path (eg. /opt/var/lib/buxton2/system.db) or 'exit'\n";
constexpr char kTempDb[] = "/var/lib/buxton2/tmp.db";
constexpr char kStoreAccount[] = "buxton";

struct BaseDb {
    const char *name;
    const char *path;
    const char *backup;
};

constexpr BaseDb kBaseDbs[] = {
    {"system", "/var/lib/buxton2_base/system.db", "/etc/buxton2/system.db"},
    {"memory", "/var/lib/buxton2_base/memory.db", "/etc/buxton2/memory.db"},
    {"factory", "/var/lib/buxton2_base/system_factory.db", "/etc/buxton2/system_factory.db"},
    {"service", "/var/lib/buxton2_base/system_service.db", "/etc/buxton2/system_service.db"},
};

const BaseDb *find_base_db(const char *name)
{
    if (!name)
        return nullptr;
    for (const BaseDb &db : kBaseDbs) {
        if (std::strcmp(db.name, name) == 0)
            return &db;
    }
    menu_print(1, "Unknown base db (%s)\n", name);
    return nullptr;
}

const char *_get_base_db_path(const char *name)
{
    const BaseDb *db = find_base_db(name);
    return db ? db->path : nullptr;
}

const char *_get_base_db_backup_path(const char *name)
{
    const BaseDb *db = find_base_db(name);
    return db ? db->backup : nullptr;
}

// Removes a database and its side files, in this order; the first failure
// stops, so a side file is never removed while its database stays.
void _remove_base_db_file(const char *path)
{
    char shm[256], wal[256];
    snprintf(shm, sizeof shm, "%s%s", path, "-shm");
    snprintf(wal, sizeof wal, "%s%s", path, "-wal");
    for (const char *file : {path, static_cast<const char *>(shm), static_cast<const char *>(wal)}) {
        if (access(file, F_OK) != 0)
            continue;
        if (remove(file) != 0) {
            menu_print(1, "failed to remove (%s)\n", file);
            return;
        }
        menu_print(1, "removed (%s)\n", file);
    }
}

void _change_priv(const char *path, const char *account)
{
    long size = sysconf(_SC_GETPW_R_SIZE_MAX);
    if (size == -1)
        size = 16384;
    tavrin::Owned<char> buf(static_cast<char *>(malloc(static_cast<size_t>(size))));
    if (!buf)
        return;
    passwd pwd{};
    passwd *found = nullptr;
    if (getpwnam_r(account, &pwd, buf.get(), static_cast<size_t>(size), &found) != 0 || !found)
        return;
    if (chown(path, found->pw_uid, found->pw_gid) != 0) {
        menu_print(1, "failed to change owner of (%s:%d)\n", path, errno);
        return;
    }
    menu_print(1, "pw_name(%s), pw_passwd(%s), uid(%d). gid(%d)\n", found->pw_name, found->pw_passwd,
               static_cast<int>(found->pw_uid), static_cast<int>(found->pw_gid));
}

// Size and integrity check of the database open in db_info; closes it in
// every case. 0 when the file is sound.
int check_and_close(const char *path)
{
    int result = 0;
    struct stat st;
    if (stat(path, &st) != 0) {
        menu_print(1, "stat error. file path(%s) errno(%d)\n", path, errno);
        menu_print(1, "Invalid db file(%s)\n", path);
        result = -1;
    } else if (st.st_size == 0) {
        menu_print(1, "Invalid db file(%s)\n", path);
        result = -1;
    } else if (sqlite3_exec(db_info.handle, "PRAGMA integrity_check", nullptr, nullptr, nullptr) != SQLITE_OK) {
        menu_print(1, "Invalid db file : integrity_check failed(%s)\n", path);
        result = -1;
    } else {
        menu_print(1, "Verify OK! (%s)\n", path);
    }
    sqlite3_close(db_info.handle);
    db_info.handle = nullptr;
    return result;
}

void close_db_info()
{
    sqlite3_close(db_info.handle);
    db_info.handle = nullptr;
}

// After a failed copy back the temporary file holds the only copy of a
// database: nothing may overwrite it until the engineer has saved it.
bool temp_db_left()
{
    if (access(kTempDb, F_OK) != 0)
        return false;
    menu_print(1, "(%s) is left from an earlier failure and may be the only copy of a db file: "
                  "save it elsewhere and remove it\n",
               kTempDb);
    return true;
}

int verify_db()
{
    PathWord path;
    for (;;) {
        menu_print(1, "%s", kAskDbPath);
        if (!read_path(path))
            return 0;
        if (db_info.handle)
            buxton_close_db();
        if (open_into_db_info(path, SQLITE_OPEN_READWRITE))
            return check_and_close(path);
    }
}

void restore_normal_db()
{
    PathWord path;
    for (;;) {
        menu_print(1, "%s", kAskDbPath);
        if (!read_path(path))
            return;
        if (!std::strstr(path, ".db")) {
            menu_print(1, "invalid db file (%s)\n", path);
            return;
        }
        if (access(path, F_OK) == 0)
            break;
        menu_print(1, "can't find (%s), enter valid path\n", path);
    }

    menu_print(1, "remove (%s)\n", path);
    remove(path);
    if (db_info.handle)
        buxton_close_db();
    if (!open_into_db_info(path, SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE))
        return;
    if (sqlite3_exec(db_info.handle, "PRAGMA journal_mode = WAL", nullptr, nullptr, nullptr) != SQLITE_OK) {
        menu_print(1, "change journal mode '%s' failed: %s", path, sqlite3_errmsg(db_info.handle));
        close_db_info();
        return;
    }
    if (sqlite3_exec(db_info.handle, "create table if not exists buxton (key text, data text, PRIMARY KEY(key)) ",
                     nullptr, nullptr, nullptr) != SQLITE_OK) {
        menu_print(1, "Create tables '%s' failed: %s\n", path, sqlite3_errmsg(db_info.handle));
        close_db_info();
        return;
    }
    menu_print(1, "Restored normal db (%s)\n", path);
}

void restore_base_db()
{
    PathWord name;
    const char *base = nullptr;
    for (;;) {
        menu_print(1, "Please enter base db or 'exit' (enter one of these, 'system', 'memory', 'factory', "
                      "'service')\n");
        if (!read_path(name))
            return;
        base = _get_base_db_path(name);
        if (base)
            break;
        menu_print(1, "invalid base_db (%s)\n", name);
    }

    _remove_base_db_file(base);
    copy_file(_get_base_db_backup_path(name), base);  // a failed copy shows at the open
    _change_priv(base, kStoreAccount);
    if (db_info.handle)
        buxton_close_db();
    if (!open_into_db_info(base, SQLITE_OPEN_READWRITE) || check_and_close(base) != 0)
        menu_print(1, "copied db file(%s) is invalid\n", base);
}

void make_writable()
{
    PathWord path;
    menu_print(1, "Please enter base db or 'exit' (eg. /etc/buxton2/memory.db)\n");
    if (!read_path(path) || temp_db_left())
        return;
    // The journal's name may be cut: the buffer holds 127 characters.
    char journal[128];
    if (snprintf(journal, sizeof journal, "%s-%s", path, "journal") < 0)
        journal[0] = '\0';

    update_files(path);
    update_files(journal);
    _change_priv(path, kStoreAccount);
    _change_priv(journal, kStoreAccount);
    menu_print(1, "writable db made (%s)\n", path);
}

}  // namespace

int buxton_verify_db(void)
{
    return debug_only(verify_db);
}

void buxton_restore_normal_db(void)
{
    debug_only(restore_normal_db);
}

void buxton_restore_base_db(void)
{
    debug_only(restore_base_db);
}

void make_writable_db_file(void)
{
    debug_only(make_writable);
}

int copy_file(const char *source, const char *destination)
{
    if (!source || !destination) {
        menu_print(1, "invalid input\n");
        return -1;
    }
    struct stat st;
    if (stat(source, &st) != 0) {
        menu_print(1, "stat error. file path(%s) errno(%d)\n", source, errno);
        return -1;
    }
    if (st.st_size < 1) {
        menu_print(1, "Invalid db file(%s)\n", source);
        return -1;
    }
    menu_print(1, "copy (%s:%d) to (%s)\n", source, static_cast<int>(st.st_size), destination);

    const int in = open(source, O_RDONLY | O_CLOEXEC);
    if (in < 0) {
        menu_print(1, "failed to open(%s):(%d)\n", source, errno);
        return -1;
    }
    // Truncated: an older, longer file must not keep its tail.
    const int out = open(destination, O_RDWR | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
    if (out < 0) {
        const int err = errno;
        close(in);
        menu_print(1, "failed to open(%s):(%d)\n", destination, err);
        return -1;
    }

    char buf[4096];
    ssize_t count;
    while ((count = read(in, buf, sizeof buf)) > 0) {
        const ssize_t written = write(out, buf, static_cast<size_t>(count));
        if (written != count) {
            menu_print(1, "write failed written(%d)/count(%d)/errno(%d)\n", static_cast<int>(written),
                       static_cast<int>(count), errno);
            close(in);
            close(out);
            return -1;
        }
    }
    int result = 0;
    if (count < 0) {
        menu_print(1, "failed to read src(%s) errno(%d)\n", source, errno);
        result = -1;
    }
    close(in);
    close(out);
    return result;
}

void update_files(char *path)
{
    if (temp_db_left())
        return;
    if (copy_file(path, kTempDb) != 0) {
        menu_print(1, "failed to copy a file (%s) > (%s)\n", path, kTempDb);
        remove(kTempDb);  // a partial copy; the file itself is untouched
        return;
    }
    if (remove(path) != 0) {
        const int err = errno;
        menu_print(1, "failed to remove a file (%s)-(%d)\n", path, err);
        // Gone already (another process removed it): the temporary file is
        // now its only copy.
        if (err != ENOENT)
            remove(kTempDb);
        return;
    }
    if (copy_file(kTempDb, path) != 0) {
        menu_print(1, "failed to copy a file (%s) > (%s)\n", kTempDb, path);
        return;
    }
    if (remove(kTempDb) != 0)
        menu_print(1, "failed to remove a file (%s)-(%d)\n", kTempDb, errno);
}

int dlog_menu_buxton(void)
{
    using namespace tavrin;
    static const MenuEntry entries[] = {
        action(1, "Open buxton db file ", call<buxton_open_db>),
        action(2, "Close buxton db file ", call<buxton_close_db>),
        action(3, "Print all keys in db file ", call<buxton_print_keys>),
        action(4, "Set vconf key (int) ", call<buxton_set_int>),
        action(5, "Set vconf key (bool) ", call<buxton_set_bool>),
        action(6, "Set vconf key (string) ", call<buxton_set_str>),
        action(7, "Set vconf key (double) ", nullptr),
        action(8, "Get vconf key", call<buxton_get_key>),
        action(9, "Delete vconf key", call<buxton_delete_key>),
        action(10, "Verify db", call<buxton_verify_db>),
        action(11, "Restore db (normal)", buxton_restore_normal_db),
        action(12, "Restore db (base)", buxton_restore_base_db),
        action(13, "make writable db file", make_writable_db_file),
    };
    return run_menu(make_menu("buxton debug menu", entries));
}

// vconf key tool: single keys through the vconf library, and listings of
// the keys under a prefix with their current values.

namespace {

const char kVconfSetPrompt[] = "Please enter command for set or 'exit' (eg. {keyname} {value}\n";
const char kVconfGetPrompt[] = "Please enter command for get or 'exit' (eg. {keyname}\n";

struct VconfKeylistFree {
    void operator()(keylist_t *list) const { vconf_keylist_free(list); }
};
using VconfKeylist = std::unique_ptr<keylist_t, VconfKeylistFree>;

using VconfText = tavrin::Owned<char>;

// A setter's "key number" line, read in one go. False when nothing is to be
// written: end of input, the exit word, or a value that is not a number
// (writing the untouched 0 would lose the key's real value).
bool vconf_read_key_number(KeyWord &key, int *value)
{
    menu_print(1, "%s", kVconfSetPrompt);
    return scanf(WORD(KEY_WIDTH) " %d", key, value) == 2 && !is_exit(key);
}

// A getter's key. End of input counts as the exit word.
bool vconf_read_key(const char *prompt, KeyWord &key)
{
    menu_print(1, "%s", prompt);
    return scanf(WORD(KEY_WIDTH), key) == 1 && !is_exit(key);
}

int vconf_get_number(const char *prompt, int (*get)(const char *, int *))
{
    KeyWord key;
    if (!vconf_read_key(prompt, key))
        return 0;
    int value = 0;
    if (get(key, &value) == 0)
        menu_print(1, "succeeded to get (%s:%d)\n", key, value);
    else
        menu_print(1, "failed to get (%s:%d)\n", key, value);
    return 0;
}

// One line of a listing; the value is read now, by the node's type.
void vconf_print_node(int number, const char *key, int type)
{
    switch (type) {
    case VCONF_TYPE_STRING: {
        VconfText text(vconf_get_str(key));
        if (text) {
            menu_print(1, "[%d] key(%s) value(%s)\n", number, key, text.get());
            return;
        }
        break;
    }
    case VCONF_TYPE_INT: {
        int value = 0;
        if (vconf_get_int(key, &value) == 0) {
            menu_print(1, "[%d] key(%s) value(%d)\n", number, key, value);
            return;
        }
        break;
    }
    case VCONF_TYPE_DOUBLE: {
        double value = 0;
        if (vconf_get_dbl(key, &value) == 0) {
            menu_print(1, "[%d] key(%s) value(%f)\n", number, key, value);
            return;
        }
        break;
    }
    case VCONF_TYPE_BOOL: {
        int value = 0;
        if (vconf_get_bool(key, &value) == 0) {
            menu_print(1, "[%d] key(%s) value(%d)\n", number, key, value);
            return;
        }
        break;
    }
    default:
        return;  // not a value type; the number stays used
    }
    menu_print(1, "failed to get %s\n", key);
}

}  // namespace

int vconf_test_set_int(void)
{
    KeyWord key;
    int value = 0;
    if (!vconf_read_key_number(key, &value))
        return 0;
    if (vconf_set_int(key, value) == 0)
        menu_print(1, "succeeded to set (%s:%d)\n", key, value);
    else
        menu_print(1, "failed to set (%s:%d)\n", key, value);
    return 0;
}

int vconf_test_set_bool(void)
{
    KeyWord key;
    int value = 0;
    for (;;) {
        if (!vconf_read_key_number(key, &value))
            return 0;
        if (static_cast<unsigned>(value) <= 1)
            break;
        menu_print(1, "Invalid input value (%d)\n", value);
    }
    if (vconf_set_bool(key, value) == 0)
        menu_print(1, "succeeded to set (%s:%d)\n", key, value);
    else
        menu_print(1, "failed to set (%s:%d)\n", key, value);
    return 0;
}

int vconf_test_set_str(void)
{
    KeyWord key;
    ValueWord value;
    menu_print(1, "%s", kVconfSetPrompt);
    // A key without a value (end of input) writes nothing.
    if (scanf(WORD(KEY_WIDTH) " " WORD(VALUE_WIDTH), key, value) != 2 || is_exit(key))
        return 0;
    if (vconf_set_str(key, value) == 0)
        menu_print(1, "succeeded to set (%s:%s)\n", key, value);
    else
        menu_print(1, "failed to set (%s:%s)\n", key, value);
    return 0;
}

int vconf_test_get_int(void)
{
    return vconf_get_number(kVconfGetPrompt, vconf_get_int);
}

int vconf_test_get_bool(void)
{
    return vconf_get_number("Please enter command for set or 'exit' (eg. {keyname}\n", vconf_get_bool);
}

int vconf_test_get_str(void)
{
    KeyWord key;
    if (!vconf_read_key(kVconfGetPrompt, key))
        return 0;
    VconfText text(vconf_get_str(key));
    if (text)
        menu_print(1, "succeeded to get (%s:%s)\n", key, text.get());
    else
        menu_print(1, "failed to get %s\n", key);
    return 0;
}

int vconf_test_get(void)
{
    KeyWord prefix;
    if (!vconf_read_key("Please enter command for vconf_get or 'exit' (eg. {keyname}\n", prefix))
        return 0;
    menu_print(1, "vconf_get test starts....(%s)\n", prefix);

    VconfKeylist list(vconf_keylist_new());
    if (vconf_get(list.get(), prefix, VCONF_GET_KEY) != 0) {
        menu_print(1, "failed to get vconf key list starts with %s", prefix);
        return 0;
    }
    // A list that comes round to its first key again is at its end.
    std::string first;
    int number = 0;
    while (keynode_t *node = vconf_keylist_nextnode(list.get())) {
        const char *name = vconf_keynode_get_name(node);
        if (!name)
            name = "";
        if (++number == 1)
            first = name;
        else if (first == name)
            break;
        vconf_print_node(number, name, vconf_keynode_get_type(node));
    }
    list.reset();
    menu_print(1, "succeeded to get (%s)\n", prefix);
    return 0;
}

int dlog_menu_vconf(void)
{
    using tavrin::action;
    using tavrin::call;
    static const tavrin::MenuEntry entries[] = {
        action(1, "Set vconf key (int)", call<vconf_test_set_int>),
        action(2, "Set vconf key (bool)", call<vconf_test_set_bool>),
        action(3, "Set vconf key (string)", call<vconf_test_set_str>),
        action(4, "Set vconf key (double)", nullptr),
        action(5, "Get vconf key (int)", call<vconf_test_get_int>),
        action(6, "Get vconf key (bool)", call<vconf_test_get_bool>),
        action(7, "Get vconf key (string)", call<vconf_test_get_str>),
        action(8, "Get vconf list starts with ...", call<vconf_test_get>),
    };
    return tavrin::run_menu(tavrin::make_menu("vconf debug menu", entries));
}
