// Storage daemon tool: the daemon's configuration and notification files,
// internal storage figures and file lists, dummy files.
#ifndef TAVRIN_STORAGED_H
#define TAVRIN_STORAGED_H

#include "tavrin/export.h"

struct stat;
struct FTW;

TAVRIN_EXPORT int dlog_menu_storaged(void);

// Configuration edits.
TAVRIN_EXPORT int change_to_absolute_free_space_mode(void);
TAVRIN_EXPORT int change_to_relative_free_space_mode(void);
TAVRIN_EXPORT int change_low_storage_notify_interval(void);
TAVRIN_EXPORT int change_last_notify_time(void);
TAVRIN_EXPORT int cleanup_unnecessary_files(void);
// TEXT (at least 100 bytes) gets the duration's echo; seconds, or -1.
TAVRIN_EXPORT int validate_input(char *text);
// 1 when /etc/storaged/tmp holds the rewritten configuration, else -1.
TAVRIN_EXPORT int write_to_temp_file(const char *interval);

// Internal storage.
TAVRIN_EXPORT int create_dummy_file(void);
TAVRIN_EXPORT int remove_dummy_files(void);
TAVRIN_EXPORT int print_current_internal_storage_status(void);
TAVRIN_EXPORT int internal_storage_file_list(void);
// The first USB mass-storage device's mount path, to be freed; or null.
TAVRIN_EXPORT char* get_mount_path(void);
TAVRIN_EXPORT bool directory_exists(const char *path);
TAVRIN_EXPORT int unlink_cb(const char *path, const struct stat *status, int type, struct FTW *walk);

#endif
