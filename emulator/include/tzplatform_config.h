// Platform path resolution.
#ifndef TZPLATFORM_CONFIG_H
#define TZPLATFORM_CONFIG_H

#ifdef __cplusplus
extern "C" {
#endif

enum tzplatform_variable {
    TZ_SYS_BIN = 7,  // the system's programs
};

// The variable's directory followed by SUFFIX. The text belongs to the
// library and stays valid until the calling thread resolves the next path;
// null for a variable the platform does not know.
const char *tzplatform_mkpath(enum tzplatform_variable id, const char *suffix);

#ifdef __cplusplus
}
#endif

#endif
