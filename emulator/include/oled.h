// OLED panel functions.
#ifndef OLED_H
#define OLED_H

#include <stdbool.h>

#ifdef __cplusplus
extern "C" {
#endif

bool oled_is_burn_in_protection_in_progress(void);

#ifdef __cplusplus
}
#endif

#endif
