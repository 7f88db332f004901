// Buxton database tool.
#ifndef TAVRIN_BUXTON_H
#define TAVRIN_BUXTON_H

#include <cstdint>

#include "tavrin/export.h"

// Value type codes. They exist only in memory: a stored record carries the
// GVariant type of its value instead.
enum buxton_value_type : uint32_t {
    BUXTON_TYPE_UNKNOWN = 0,  // read only, never written
    BUXTON_TYPE_STRING = 1,
    BUXTON_TYPE_INT32 = 2,
    BUXTON_TYPE_UINT32 = 3,
    BUXTON_TYPE_INT64 = 4,
    BUXTON_TYPE_UINT64 = 5,
    BUXTON_TYPE_DOUBLE = 6,
    BUXTON_TYPE_BOOLEAN = 7,
};

// One typed value of the store. A zero-filled record is an unknown value
// without setter. The record owns its string payload and its setter.
struct buxton_value {
    buxton_value_type type;
    union {
        char *s;
        int32_t i;
        uint32_t u;
        int64_t i64;
        uint64_t u64;
        double d;
        int32_t b;  // 0 or 1
    } value;
    char *setter;
};

// The stored record of a key: read privilege, write privilege, setter and
// value as a boxed "(sssv)" GVariant in serialised form. On success *data is
// the caller's, released with free.
TAVRIN_EXPORT int serialz_data(const char *read_priv, const char *write_priv, const buxton_value *value,
                               uint8_t **data, int *len);

// The steps of the two conversions: typed value to record, boxed tuple to
// privileges and record (both handed out only on success), box to a newly
// allocated byte buffer (the caller's, released with free).
typedef struct _GVariant GVariant;
TAVRIN_EXPORT int gv_to_val(GVariant *variant, buxton_value *out);
TAVRIN_EXPORT int gv_to_values(GVariant *box, char **read_priv, char **write_priv, buxton_value *out);
TAVRIN_EXPORT int gv_to_data(GVariant *box, uint8_t **data, int *len);

TAVRIN_EXPORT void get_data(void **slot, char *value);

// The open database and its keys.
TAVRIN_EXPORT int buxton_open_db(void);
TAVRIN_EXPORT int buxton_close_db(void);
TAVRIN_EXPORT int buxton_print_keys(void);

// Key operations of the buxton menu.
TAVRIN_EXPORT int buxton_set_int(void);
TAVRIN_EXPORT int buxton_set_bool(void);
TAVRIN_EXPORT int buxton_set_str(void);
TAVRIN_EXPORT int buxton_get_key(void);
TAVRIN_EXPORT int buxton_delete_key(void);

// Database file maintenance.
TAVRIN_EXPORT int buxton_verify_db(void);
TAVRIN_EXPORT void buxton_restore_normal_db(void);
TAVRIN_EXPORT void buxton_restore_base_db(void);
TAVRIN_EXPORT void make_writable_db_file(void);
TAVRIN_EXPORT int copy_file(const char *source, const char *destination);
TAVRIN_EXPORT void update_files(char *path);

TAVRIN_EXPORT int dlog_menu_buxton(void);

#endif
