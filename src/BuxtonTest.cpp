// Buxton database tool and vconf key tool.
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>

#include "debugmenu_host.h"
#include "menu_table.h"
#include "tavrin_debugmenu.h"
#include "vconf.h"

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

#include "debugmenu_host.h"
#include "menu_table.h"

namespace {

constexpr char kDebugMarker[] = "/etc/debug";
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

bool debug_image()
{
    return access(kDebugMarker, F_OK) == 0;
}

// Releases what a record owns, then leaves it zero-filled.
void clear_value(buxton_value *value)
{
    if (value->type == BUXTON_TYPE_STRING)
        free(value->value.s);
    free(value->setter);
    *value = buxton_value{};
}

void free_value(buxton_value *value)
{
    if (value) {
        clear_value(value);
        free(value);
    }
}

// Skips the rest of the current input line.
void discard_line()
{
    int c;
    while ((c = getchar()) != EOF && c != '\n') {
    }
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

    char *rp_copy = strdup(rp);
    char *wp_copy = strdup(wp);
    if (!rp_copy || !wp_copy) {
        free(rp_copy);
        free(wp_copy);
        return -1;
    }
    buxton_value value{};
    if (gv_to_val(typed.get(), &value) != 0) {
        menu_print(1, "failed to gv_to_val\n");
        free(rp_copy);
        free(wp_copy);
        return -1;
    }
    value.setter = strdup(setter ? setter : "");
    if (!value.setter) {
        clear_value(&value);
        free(rp_copy);
        free(wp_copy);
        return -1;
    }
    *read_priv = rp_copy;
    *write_priv = wp_copy;
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

int buxton_set_value(sqlite3 *db, const char *key, const void *data, int len)
{
    if (!db) {
        menu_print(1, "%s", kNoOpenDb);
        return -1;
    }
    sqlite3_stmt *stmt = nullptr;
    int rc = sqlite3_prepare_v2(db, kStoreSql, -1, &stmt, nullptr);
    if (rc != SQLITE_OK) {
        menu_print(1, "prepare error, ret = %d, extended = %d\n", rc, sqlite3_extended_errcode(db));
        return -1;
    }
    gchar *text = g_base64_encode(static_cast<const guchar *>(data), static_cast<gsize>(len));

    int result = 0;
    rc = sqlite3_bind_text(stmt, 1, key, -1, SQLITE_TRANSIENT);
    if (rc == SQLITE_OK) {
        rc = sqlite3_bind_text(stmt, 2, text, -1, SQLITE_TRANSIENT);
    }
    if (rc != SQLITE_OK) {
        menu_print(1, "Sqlite3 error [%d] : <%s> preparing <%s> querry\n", rc, sqlite3_errmsg(db), kStoreSql);
        result = -1;
    } else {
        rc = sqlite3_step(stmt);
        if (rc != SQLITE_DONE) {
            menu_print(1, "Sqlite3 error [%d] : <%s> executing statement\n", rc, sqlite3_errmsg(db));
            result = -1;
        }
    }
    rc = sqlite3_finalize(stmt);
    if (rc != SQLITE_OK) {
        menu_print(1, "Sqlite3 error [%d] : <%s> finalizing statement\n", rc, sqlite3_errmsg(db));
        result = -1;
    }
    g_free(text);
    return result;
}

// One key on a prepared read statement, which is left reset for the next.
// A step that brings no row, whether the key is missing or the step failed,
// reads as ENOENT.
int read_prepared(sqlite3_stmt *stmt, const char *key, void **data, int *len)
{
    int result = -1;
    guchar *decoded = nullptr;
    gsize decoded_len = 0;
    if (sqlite3_bind_text(stmt, 1, key, -1, SQLITE_TRANSIENT) == SQLITE_OK) {
        if (sqlite3_step(stmt) == SQLITE_ROW) {
            if (sqlite3_column_type(stmt, 0) != SQLITE_NULL) {
                const auto *text = reinterpret_cast<const gchar *>(sqlite3_column_text(stmt, 0));
                if (text)
                    decoded = g_base64_decode(text, &decoded_len);
            }
            result = 0;
        } else {
            errno = ENOENT;
        }
    } else {
        errno = EIO;
    }
    const int saved_errno = errno;
    if (sqlite3_reset(stmt) != SQLITE_OK) {
        // After a failed step reset reports that failure again; the step's
        // errno stands.
        g_free(decoded);
        errno = result == 0 ? EIO : saved_errno;
        return -1;
    }
    errno = saved_errno;
    if (result == 0 && decoded) {
        *data = decoded;
        *len = static_cast<int>(decoded_len);
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
    sqlite3_stmt *stmt = nullptr;
    if (sqlite3_prepare_v2(db, kReadSql, -1, &stmt, nullptr) != SQLITE_OK) {
        errno = EIO;
        return -1;
    }
    void *read = nullptr;
    int read_len = 0;
    int result = read_prepared(stmt, key, &read, &read_len);
    const int saved_errno = errno;
    if (sqlite3_finalize(stmt) != SQLITE_OK) {
        g_free(read);
        errno = result == 0 ? EIO : saved_errno;
        return -1;
    }
    errno = saved_errno;
    if (result == 0 && read) {
        *data = read;
        *len = read_len;
    }
    return result;
}

// Holds a read transaction on DB for its lifetime, when one can be begun.
class ReadTransaction {
public:
    explicit ReadTransaction(sqlite3 *db)
        : db_(sqlite3_exec(db, "BEGIN", nullptr, nullptr, nullptr) == SQLITE_OK ? db : nullptr)
    {
    }
    ~ReadTransaction()
    {
        if (db_ && sqlite3_exec(db_, "COMMIT", nullptr, nullptr, nullptr) != SQLITE_OK)
            sqlite3_exec(db_, "ROLLBACK", nullptr, nullptr, nullptr);
    }
    ReadTransaction(const ReadTransaction &) = delete;
    ReadTransaction &operator=(const ReadTransaction &) = delete;

private:
    sqlite3 *db_;
};

void print_listed_key(int index, const char *key, const buxton_value &v, const char *rp, const char *wp)
{
    const char *setter = v.setter ? v.setter : "empty";
    switch (v.type) {
    case BUXTON_TYPE_UNKNOWN:
        menu_print(1, "[%d] key(%s) unknown data type\n", index, key);
        break;
    case BUXTON_TYPE_STRING:
        menu_print(1, "[%d] key(%s) value(%s) rp(%s) wp(%s) type(string) setter(%s)\n", index, key, v.value.s, rp,
                   wp, setter);
        break;
    case BUXTON_TYPE_INT32:
        menu_print(1, "[%d] key(%s) value(%d) rp(%s) wp(%s) type(int32) setter(%s)\n", index, key, v.value.i, rp, wp,
                   setter);
        break;
    case BUXTON_TYPE_UINT32:
        menu_print(1, "[%d] key(%s) value(%u) rp(%s) wp(%s) type(uint32) setter(%s)\n", index, key, v.value.u, rp,
                   wp, setter);
        break;
    case BUXTON_TYPE_INT64:
        menu_print(1, "[%d] key(%s) value(%lld) rp(%s) wp(%s) type(int64) setter(%s)\n", index, key,
                   static_cast<long long>(v.value.i64), rp, wp, setter);
        break;
    case BUXTON_TYPE_UINT64:
        // In signed decimal, as the int64 line.
        menu_print(1, "[%d] key(%s) value(%lld) rp(%s) wp(%s) type(uint64) setter(%s)\n", index, key,
                   static_cast<long long>(v.value.u64), rp, wp, setter);
        break;
    case BUXTON_TYPE_DOUBLE:
        menu_print(1, "[%d] key(%s) value(%f) rp(%s) wp(%s) type(double) setter(%s)\n", index, key, v.value.d, rp,
                   wp, setter);
        break;
    case BUXTON_TYPE_BOOLEAN:
        menu_print(1, "[%d] key(%s) value(%d) rp(%s) wp(%s) type(bool) setter(%s)\n", index, key, v.value.b, rp, wp,
                   setter);
        break;
    }
}

void print_read_key(const char *key, const buxton_value &v, const char *rp, const char *wp)
{
    switch (v.type) {
    case BUXTON_TYPE_UNKNOWN:
        menu_print(1, "key(%s) unknown data type\n", key);
        break;
    case BUXTON_TYPE_STRING:
        menu_print(1, "key(%s) value(%s) rp(%s) wp(%s)\n", key, v.value.s, rp, wp);
        break;
    case BUXTON_TYPE_INT32:
        menu_print(1, "key(%s) value(%d) rp(%s) wp(%s)\n", key, v.value.i, rp, wp);
        break;
    case BUXTON_TYPE_BOOLEAN:
        menu_print(1, "key(%s) value(%d) rp(%s) wp(%s)\n", key, v.value.b, rp, wp);
        break;
    case BUXTON_TYPE_UINT32:
        menu_print(1, "key(%s) value(%u) rp(%s) wp(%s)\n", key, v.value.u, rp, wp);
        break;
    case BUXTON_TYPE_INT64:
        menu_print(1, "key(%s) value(%lld) rp(%s) wp(%s)\n", key, static_cast<long long>(v.value.i64), rp, wp);
        break;
    case BUXTON_TYPE_UINT64:
        menu_print(1, "key(%s) value(%lld) rp(%s) wp(%s)\n", key, static_cast<long long>(v.value.u64), rp, wp);
        break;
    case BUXTON_TYPE_DOUBLE:
        menu_print(1, "key(%s) value(%f) rp(%s) wp(%s)\n", key, v.value.d, rp, wp);
        break;
    }
}

// Gate and open-database test shared by the key operations.
int run_key_operation(int (*body)())
{
    if (!debug_image())
        return 0;
    if (!db_info.handle) {
        menu_print(1, "%s", kNoOpenDb);
        return -1;
    }
    return body();
}

enum class SetKind { Int32, Boolean, String };

int set_value_body(SetKind kind)
{
    int number = 0;
    char key[512];
    char text[4096];
    for (;;) {
        menu_print(1, "Please enter command fo set or 'exit' (eg. {keyname} {value}\n");
        const int got = kind == SetKind::String ? scanf("%511s %4095s", key, text) : scanf("%511s %d", key, &number);
        // End of input counts as the exit word.
        if (got < 1 || is_exit(key))
            return 0;
        if (got < 2) {
            // A number that cannot be read ends the action without output,
            // as everywhere in the plug-in; a stale number is never stored.
            // The rest of the line goes too, so that the word is no menu
            // choice.
            if (!feof(stdin))
                discard_line();
            return 0;
        }
        if (kind == SetKind::Boolean && static_cast<unsigned>(number) > 1) {
            menu_print(1, "Invalid value (%d)\n", number);
            return 0;
        }

        char *copy = nullptr;
        if (kind == SetKind::String) {
            copy = strdup(text);
            if (!copy) {
                menu_print(1, "buxton value create failed \n");
                continue;
            }
        }
        auto *value = static_cast<buxton_value *>(calloc(1, sizeof(buxton_value)));
        if (!value) {
            free(copy);
            menu_print(1, "buxton value create failed \n");
            continue;
        }
        switch (kind) {
        case SetKind::Int32:
            value->type = BUXTON_TYPE_INT32;
            value->value.i = number;
            break;
        case SetKind::Boolean:
            value->type = BUXTON_TYPE_BOOLEAN;
            value->value.b = number;
            break;
        case SetKind::String:
            value->type = BUXTON_TYPE_STRING;
            value->value.s = copy;
            break;
        }

        uint8_t *data = nullptr;
        int len = 0;
        if (serialz_data(kDefaultPublicPrivilege, kDefaultPublicPrivilege, value, &data, &len) != 0) {
            menu_print(1, "failed to serialize data\n");
            free_value(value);
            continue;
        }
        const bool stored = buxton_set_value(db_info.handle, key, data, len) == 0;
        if (kind == SetKind::String)
            menu_print(1, stored ? "succeeded to set buxton value (%s)-(%s)\n" : "failed to set buxton value (%s)-(%s)\n",
                       key, text);
        else
            menu_print(1, stored ? "succeeded to set buxton value (%s)-(%d)\n" : "failed to set buxton value (%s)-(%d)\n",
                       key, number);
        free(data);
        free_value(value);
        if (stored)
            return 0;
    }
}

int get_key_body()
{
    char key[512];
    for (;;) {
        menu_print(1, "Please enter key name to read or 'exit'\n");
        if (scanf("%511s", key) != 1 || is_exit(key))
            return 0;

        void *data = nullptr;
        int len = 0;
        errno = 0;
        if (get_value(db_info.handle, key, &data, &len) != 0) {
            menu_print(1, "failed to get value (%s) %s\n", key, errno == ENOENT ? "not exists" : "");
            return 0;
        }
        char *rp = nullptr, *wp = nullptr;
        buxton_value value{};
        if (deserialz_data(static_cast<uint8_t *>(data), len, &rp, &wp, &value) != 0) {
            menu_print(1, "failed to deserialize (%s)\n", key);
            g_free(data);
            continue;
        }
        print_read_key(key, value, rp, wp);
        clear_value(&value);
        free(rp);
        free(wp);
        g_free(data);
        return 0;
    }
}

int delete_key_body()
{
    char key[512];
    menu_print(1, "Please enter vconf key to delete 'exit'\n");
    if (scanf("%511s", key) != 1 || is_exit(key))
        return 0;

    sqlite3_stmt *stmt = nullptr;
    bool done = sqlite3_prepare_v2(db_info.handle, kDeleteSql, -1, &stmt, nullptr) == SQLITE_OK &&
                sqlite3_bind_text(stmt, 1, key, -1, SQLITE_TRANSIENT) == SQLITE_OK &&
                sqlite3_step(stmt) == SQLITE_DONE;
    if (sqlite3_finalize(stmt) != SQLITE_OK)
        done = false;
    menu_print(1, done ? "succeeded to delete (%s)\n" : "failed to delete (%s)\n", key);
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
    if (!g_utf8_validate(read_priv, -1, nullptr) || !g_utf8_validate(write_priv, -1, nullptr) ||
        !g_utf8_validate(setter, -1, nullptr)) {
        errno = EINVAL;
        return -1;
    }

    GVariant *typed = nullptr;
    switch (value->type) {
    case BUXTON_TYPE_STRING:
        if (g_utf8_validate(value->value.s, -1, nullptr))
            typed = g_variant_new_string(value->value.s);
        break;
    case BUXTON_TYPE_INT32:
        typed = g_variant_new_int32(value->value.i);
        break;
    case BUXTON_TYPE_UINT32:
        typed = g_variant_new_uint32(value->value.u);
        break;
    case BUXTON_TYPE_INT64:
        typed = g_variant_new_int64(value->value.i64);
        break;
    case BUXTON_TYPE_UINT64:
        typed = g_variant_new_uint64(value->value.u64);
        break;
    case BUXTON_TYPE_DOUBLE:
        typed = g_variant_new_double(value->value.d);
        break;
    case BUXTON_TYPE_BOOLEAN:
        typed = g_variant_new_boolean(value->value.b != 0);
        break;
    case BUXTON_TYPE_UNKNOWN:
        break;
    }
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
    if (!debug_image())
        return 0;
    char path[128];
    for (;;) {
        menu_print(1, "Please enter db path (eg. /opt/var/lib/system.db) or 'exit'\n");
        if (scanf("%127s", path) != 1)
            return 0;
        menu_print(1, "open (%s)\n", path);
        if (is_exit(path))
            return 0;
        if (db_info.handle)
            buxton_close_db();
        // Read-write without create: a mistyped path must not leave an empty
        // database behind.
        if (open_into_db_info(path, SQLITE_OPEN_READWRITE))
            return 0;
    }
}

int buxton_close_db(void)
{
    if (!debug_image())
        return 0;
    if (!db_info.handle) {
        menu_print(1, "%s", kNoOpenDb);
        return -1;
    }
    menu_print(1, "Close (%s)\n", db_info.path);
    sqlite3_close(db_info.handle);
    db_info.handle = nullptr;
    return 0;
}

int buxton_print_keys(void)
{
    if (!debug_image())
        return 0;
    if (!db_info.handle) {
        menu_print(1, "%s", kNoOpenDb);
        return -1;
    }
    // One read transaction for the whole listing: names and values come from
    // one state of the file, and the file is locked and checked for changes
    // once rather than once per key.
    ReadTransaction snapshot(db_info.handle);
    sqlite3_stmt *stmt = nullptr;
    if (sqlite3_prepare_v2(db_info.handle, kListSql, -1, &stmt, nullptr) != SQLITE_OK) {
        menu_print(1, "Failed to list the keys... in database (%s) \n", db_info.path);
        return -1;
    }

    // Every name first: reading values while the list statement runs would
    // hold it open across thousands of lookups.
    GList *list = nullptr;
    size_t count = 0;
    while (sqlite3_step(stmt) == SQLITE_ROW) {
        const auto *name = reinterpret_cast<const char *>(sqlite3_column_text(stmt, 0));
        list = g_list_prepend(list, g_strdup(name));  // a NULL key stays null
        ++count;
    }
    auto **names = static_cast<char **>(malloc(count ? count * sizeof(char *) : 1));
    if (!names) {
        g_list_free_full(list, g_free);
        errno = ENOMEM;
        sqlite3_finalize(stmt);
        menu_print(1, "Failed to list the keys... in database (%s) \n", db_info.path);
        return -1;
    }
    // The list was built backwards; fill the array from its end.
    size_t at = count;
    for (GList *node = list; node; node = node->next)
        names[--at] = static_cast<char *>(node->data);
    g_list_free(list);

    auto release_names = [&] {
        for (size_t i = 0; i < count; ++i)
            g_free(names[i]);
        free(names);
    };
    if (sqlite3_finalize(stmt) != SQLITE_OK) {
        release_names();
        menu_print(1, "Failed to list the keys... in database (%s) \n", db_info.path);
        return -1;
    }

    menu_print(1, "\n\n=================[Vconf key list of %s]===============\n\n", db_info.path);
    if (count == 0) {
        release_names();
        return 0;
    }
    // One read statement for every key: preparing it anew per key would be
    // half of a long listing's time. If it cannot be prepared, every key
    // fails as a read of its own would.
    sqlite3_stmt *reader = nullptr;
    if (sqlite3_prepare_v2(db_info.handle, kReadSql, -1, &reader, nullptr) != SQLITE_OK) {
        sqlite3_finalize(reader);
        reader = nullptr;
    }
    int read = 0;
    for (size_t i = 0; i < count; ++i) {
        const char *key = names[i] ? names[i] : "(null)";
        void *data = nullptr;
        int len = 0;
        if (!reader || read_prepared(reader, names[i], &data, &len) != 0) {
            menu_print(1, " ******failed to get value of (%s) ******\n", key);
            continue;
        }
        char *rp = nullptr, *wp = nullptr;
        buxton_value value{};
        if (deserialz_data(static_cast<uint8_t *>(data), len, &rp, &wp, &value) != 0) {
            menu_print(1, " ******failed to deserialize (%s) ****** \n", key);
            g_free(data);
            continue;
        }
        print_listed_key(static_cast<int>(i), key, value, rp, wp);
        clear_value(&value);
        free(rp);
        free(wp);
        g_free(data);
        ++read;
    }
    sqlite3_finalize(reader);
    if (read > 0) {
        menu_print(1, "\n\nTotal [%d] keys are in %s\n\n", static_cast<int>(count), db_info.path);
        menu_print(1, "Successful to get [%d] keys out of [%d] keys \n", read, static_cast<int>(count));
        menu_print(1, "==============================================================================================="
                      "\n\n\n");
    }
    release_names();
    return 0;
}

int buxton_set_int(void)
{
    return run_key_operation([] { return set_value_body(SetKind::Int32); });
}

int buxton_set_bool(void)
{
    return run_key_operation([] { return set_value_body(SetKind::Boolean); });
}

int buxton_set_str(void)
{
    return run_key_operation([] { return set_value_body(SetKind::String); });
}

int buxton_get_key(void)
{
    return run_key_operation(get_key_body);
}

int buxton_delete_key(void)
{
    return run_key_operation(delete_key_body);
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
    std::unique_ptr<char, decltype(&free)> buf(static_cast<char *>(malloc(static_cast<size_t>(size))), free);
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

// Reads one path or name; false for the exit word and at end of input.
bool read_path(char (&word)[128])
{
    if (scanf("%127s", word) != 1)
        return false;
    menu_print(1, "open (%s)\n", word);
    return !is_exit(word);
}

}  // namespace

int buxton_verify_db(void)
{
    if (!debug_image())
        return 0;
    char path[128];
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

void buxton_restore_normal_db(void)
{
    if (!debug_image())
        return;
    char path[128];
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

void buxton_restore_base_db(void)
{
    if (!debug_image())
        return;
    char name[128];
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

void make_writable_db_file(void)
{
    if (!debug_image())
        return;
    char path[128];
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

constexpr std::size_t kVconfKeySize = 512;      // "%511s"
constexpr std::size_t kVconfStringSize = 4096;  // "%4095s"

const char kVconfSetPrompt[] = "Please enter command for set or 'exit' (eg. {keyname} {value}\n";
const char kVconfGetPrompt[] = "Please enter command for get or 'exit' (eg. {keyname}\n";

struct VconfKeylistFree {
    void operator()(keylist_t *list) const { vconf_keylist_free(list); }
};
using VconfKeylist = std::unique_ptr<keylist_t, VconfKeylistFree>;

struct VconfTextFree {
    void operator()(char *text) const { free(text); }
};
using VconfText = std::unique_ptr<char, VconfTextFree>;

// A setter's "key number" line, read in one go. False when nothing is to be
// written: end of input, the exit word, or a value that is not a number
// (writing the untouched 0 would lose the key's real value).
bool vconf_read_key_number(char (&key)[kVconfKeySize], int *value)
{
    menu_print(1, "%s", kVconfSetPrompt);
    return scanf("%511s %d", key, value) == 2 && !is_exit(key);
}

// A getter's key. End of input counts as the exit word.
bool vconf_read_key(const char *prompt, char (&key)[kVconfKeySize])
{
    menu_print(1, "%s", prompt);
    return scanf("%511s", key) == 1 && !is_exit(key);
}

int vconf_get_number(const char *prompt, int (*get)(const char *, int *))
{
    char key[kVconfKeySize];
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
    char key[kVconfKeySize];
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
    char key[kVconfKeySize];
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
    char key[kVconfKeySize];
    char value[kVconfStringSize];
    menu_print(1, "%s", kVconfSetPrompt);
    // A key without a value (end of input) writes nothing.
    if (scanf("%511s %4095s", key, value) != 2 || is_exit(key))
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
    char key[kVconfKeySize];
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
    char prefix[kVconfKeySize];
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
