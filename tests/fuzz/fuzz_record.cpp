// libFuzzer target over the decoding of stored buxton records, the path
// every key of a database file of unknown age and state goes through.
//
// The first input byte picks the path, the rest is the record:
//   even: raw record bytes, straight into the decoder;
//   odd:  the text of a row's data column, read back through the same row
//         lookup as the key listing (base64 text, or SQL NULL when bit 1
//         is set as well).
// A decoded record's value is then put into the text that the listing and
// the key read print.
//
// The decoder is file-local, so this unit includes the tool's own source.
#include "../../src/BuxtonTest.cpp"

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>

namespace {

sqlite3 *row_db()
{
    static sqlite3 *db = [] {
        sqlite3 *d = nullptr;
        if (sqlite3_open(":memory:", &d) != SQLITE_OK ||
            sqlite3_exec(d, "create table if not exists buxton (key text, data text, PRIMARY KEY(key)) ", nullptr,
                         nullptr, nullptr) != SQLITE_OK)
            abort();
        return d;
    }();
    return db;
}

void store_row(const uint8_t *text, size_t size, bool null_data)
{
    sqlite3_stmt *stmt = nullptr;
    if (sqlite3_prepare_v2(row_db(), kStoreSql, -1, &stmt, nullptr) != SQLITE_OK)
        abort();
    sqlite3_bind_text(stmt, 1, "db/fuzz/key", -1, SQLITE_TRANSIENT);
    if (null_data)
        sqlite3_bind_null(stmt, 2);
    else
        sqlite3_bind_text(stmt, 2, reinterpret_cast<const char *>(text), static_cast<int>(size), SQLITE_TRANSIENT);
    if (sqlite3_step(stmt) != SQLITE_DONE)
        abort();
    sqlite3_finalize(stmt);
}

// Decodes BYTES as the listing does; the caller's bytes must come back as
// they went in.
void check_decoding(uint8_t *bytes, int len)
{
    uint8_t *before = nullptr;
    if (len > 0) {
        before = static_cast<uint8_t *>(malloc(static_cast<size_t>(len)));
        memcpy(before, bytes, static_cast<size_t>(len));
    }
    char *rp = nullptr, *wp = nullptr;
    buxton_value value{};
    if (deserialz_data(bytes, len, &rp, &wp, &value) == 0) {
        if (!rp || !wp || !value.setter || value.type > BUXTON_TYPE_BOOLEAN ||
            (value.type == BUXTON_TYPE_STRING && !value.value.s))
            abort();
        if (!value_text(value) != (value.type == BUXTON_TYPE_UNKNOWN))
            abort();
        clear_value(&value);
        free(rp);
        free(wp);
    } else if (rp || wp || value.setter || value.type != BUXTON_TYPE_UNKNOWN) {
        abort();  // a failure hands nothing out
    }
    if (before && memcmp(before, bytes, static_cast<size_t>(len)) != 0)
        abort();
    free(before);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    if (size < 1 || size > (1u << 20))
        return 0;
    const uint8_t mode = data[0];
    const uint8_t *rest = data + 1;
    const size_t rest_size = size - 1;

    if ((mode & 1) == 0) {
        // An exact-size copy, so that a read past the record is caught.
        auto *bytes = static_cast<uint8_t *>(malloc(rest_size ? rest_size : 1));
        memcpy(bytes, rest, rest_size);
        check_decoding(rest_size ? bytes : nullptr, static_cast<int>(rest_size));
        free(bytes);
        return 0;
    }

    store_row(rest, rest_size, (mode & 2) != 0);
    void *bytes = nullptr;
    int len = 0;
    if (get_value(row_db(), "db/fuzz/key", &bytes, &len) == 0) {
        check_decoding(static_cast<uint8_t *>(bytes), len);
        g_free(bytes);
    }
    return 0;
}
