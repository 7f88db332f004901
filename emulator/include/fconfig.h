// Feature-config, the TV's store of product feature items. Every item has a
// type ("Boolean", "Int", "String", ...) that only the store decides.
#ifndef FCONFIG_H
#define FCONFIG_H

#ifdef __cplusplus
extern "C" {
#else
#include <stdbool.h>
#endif

// The item's type, which the caller frees; null for an unknown item or when
// the daemon does not answer.
char *fconfig_get_type(const char *name);

// Results: 0 or more on success, negative on failure (unknown item, item of
// another type, daemon not answering).
int fconfig_get_bool(const char *name, bool *value);
int fconfig_get_int(const char *name, int *value);
// The value, which the caller frees, or null.
char *fconfig_get_str(const char *name);

int fconfig_set_bool(const char *name, bool value);
int fconfig_set_int(const char *name, int value);
int fconfig_set_str(const char *name, const char *value);

#ifdef __cplusplus
}
#endif

#endif
