// Internal storage service of the TV platform.
#ifndef STORAGE_INTERNAL_H
#define STORAGE_INTERNAL_H

#ifdef __cplusplus
extern "C" {
#endif

// Asks the storage service to delete what it considers unnecessary; returns
// the size it reclaimed, or a negative error code.
int internal_storage_clean_up_unnecessary_files(void);

#ifdef __cplusplus
}
#endif

#endif
