// System information (TV extension).
#ifndef SYSTEM_INFO_H
#define SYSTEM_INFO_H

#ifdef __cplusplus
extern "C" {
#endif

// Prints the platform's system information on the console.
int system_info_debug(void);

#ifdef __cplusplus
}
#endif

#endif
