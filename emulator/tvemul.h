// Shared pieces of the platform emulator: the state directory, state.ini,
// calls.log, failing on request and log tags. Every emulated service is a
// small source file built on these; the plug-in never includes this.
#ifndef TVEMUL_H
#define TVEMUL_H

#include <glib.h>

#include <cstdarg>
#include <memory>
#include <string>
#include <vector>

namespace tvemul {

// $TV_EMULATOR_DIR, or /var/lib/tv-emulator; created when missing.
std::string state_dir();
std::string state_file(const char *name);

struct KeyFileFree {
    void operator()(GKeyFile *kf) const { g_key_file_free(kf); }
};
using KeyFile = std::unique_ptr<GKeyFile, KeyFileFree>;

// state.ini as it is now; an empty key file when it is missing or unreadable.
KeyFile load_state();

// Typed reads with the contract's defaults for missing groups and keys.
bool has_group(GKeyFile *kf, const char *group);
long long get_int(GKeyFile *kf, const char *group, const char *key, long long def);
bool get_bool(GKeyFile *kf, const char *group, const char *key, bool def);
std::string get_str(GKeyFile *kf, const char *group, const char *key, const char *def);

// Read-modify-write of state.ini, serialised between processes by a lock
// file and written back atomically (temporary file, then rename).
class StateUpdate {
public:
    StateUpdate();
    ~StateUpdate();
    StateUpdate(const StateUpdate &) = delete;
    StateUpdate &operator=(const StateUpdate &) = delete;

    GKeyFile *get() const { return kf_.get(); }
    bool commit();

private:
    int lock_fd_;
    KeyFile kf_;
};

// Shorthands for a single change.
bool set_int(const char *group, const char *key, long long value);
bool set_str(const char *group, const char *key, const char *value);

// One line of calls.log: "name arg arg ... [= HANDLE]".
class Call {
public:
    explicit Call(const char *function);

    Call &num(long long value);
    Call &real(double value);             // shortest text that reads back the same
    Call &text(const char *value);        // "value", or null
    Call &ptr(const void *value);         // ptr or null

    // True when [fail] names this function; *result is then what it returns.
    bool failing(long long *result) const;

    void record();                        // appends the line
    void record_handle(long long handle); // appends it with " = HANDLE"

    const char *function() const { return function_; }

private:
    const char *function_;
    std::string line_;
};

// Failing lookup on its own, for functions that record nothing.
bool failing(const char *function, long long *result);

// A line under a platform log tag: shown on standard error as "[TAG] text"
// while the host shows that tag.
void log(const char *tag, const char *format, ...) __attribute__((format(printf, 2, 3)));

// sysfs readers (the development machine's devices, or a fixture tree).
// An attribute without its line end and surrounding blanks; false when it
// cannot be read.
bool read_attr(const std::string &path, std::string *value);
// An attribute that is a whole number in BASE; false when it is not.
bool read_number(const std::string &path, int base, long long *value);
// The names in DIR, without dot entries, in ascending order.
std::vector<std::string> sorted_entries(const std::string &dir);

// Used by the host's startdlogtag and stopdlogtag.
void show_tag(int handle, const char *tag);
void hide_tag(int handle);

}  // namespace tvemul

#endif
