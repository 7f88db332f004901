// Shared pieces of the platform emulator: the state directory, state.ini,
// calls.log, failing on request and log tags. Every emulated service is a
// small source file built on these; the plug-in never includes this.
#ifndef TVEMUL_H
#define TVEMUL_H

#include <glib.h>

#include <cstdarg>
#include <cstddef>
#include <memory>
#include <string>
#include <type_traits>
#include <utility>
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

// The input arguments of a call as calls.log writes them, each by its type:
// integers and enumerations in signed decimal, doubles as the shortest text
// that reads back the same, texts quoted (or null), any other pointer ptr or
// null. An Args among the values is taken over as it is, for arguments that
// depend on each other (a structure's fields, or null for the structure).
class Args {
public:
    template <typename... T>
    explicit Args(const T &...values)
    {
        (put(values), ...);
    }

    const std::string &text() const { return text_; }

private:
    template <typename T>
    void put(const T &value)
    {
        using V = std::decay_t<T>;
        if constexpr (std::is_same_v<V, Args>)
            text_ += value.text_;
        else if constexpr (std::is_same_v<V, std::nullptr_t>)
            put_ptr(false);
        else if constexpr (std::is_same_v<V, const char *> || std::is_same_v<V, char *>)
            put_text(value);
        else if constexpr (std::is_pointer_v<V>)
            put_ptr(value != nullptr);
        else if constexpr (std::is_floating_point_v<V>)
            put_real(value);
        else {
            static_assert(std::is_integral_v<V> || std::is_enum_v<V>, "no calls.log form for this type");
            put_num(static_cast<long long>(value));
        }
    }
    void put_num(long long value);
    void put_real(double value);
    void put_text(const char *value);
    void put_ptr(bool present);

    std::string text_;
};

// One line of calls.log: "name arg arg ... [= HANDLE]". The macros below
// write it for most calls; a call whose line ends with the handle it hands
// back writes it itself, once the handle is known.
class Call {
public:
    Call(const char *function, Args args) : function_(function), args_(std::move(args)) {}

    // True when [fail] names this function; *result is then what it returns.
    bool failing(long long *result) const;

    void record() const;                        // appends the line
    void record_handle(long long handle) const; // appends it with " = HANDLE"

private:
    const char *function_;
    Args args_;
};

// Failing lookup on its own, for functions that record nothing.
bool failing(const char *function, long long *result);

// What a function named in [fail] returns, in the function's own return
// type: null for a text, list or object, RESULT != 0 for a truth value,
// else the number.
struct Forced {
    long long result;

    template <typename T>
    operator T() const
    {
        if constexpr (std::is_pointer_v<T>)
            return nullptr;
        else if constexpr (std::is_same_v<T, bool>)
            return result != 0;
        else
            return static_cast<T>(result);
    }
};

}  // namespace tvemul

// The first step of an emulated platform function: writes its calls.log
// line with the arguments given, then returns [fail]'s result when [fail]
// names it. The name is the enclosing function's own, so that no misspelt
// copy of it can leave a function out of reach of [fail].
#define TVEMUL_ENTER(...)               \
    do {                                \
        TVEMUL_RECORD(__VA_ARGS__);     \
        TVEMUL_FAILABLE();              \
    } while (0)

// Only the calls.log line: for a call that [fail] does not reach, or one
// refused before [fail] is consulted.
#define TVEMUL_RECORD(...) ::tvemul::Call(__func__, ::tvemul::Args(__VA_ARGS__)).record()

// Only the [fail] step, for the functions that calls.log leaves out.
#define TVEMUL_FAILABLE() TVEMUL_RETURN_IF_FAILING(__func__)

// The same for a static member function, which [fail] names CLASS::function.
#define TVEMUL_FAILABLE_MEMBER(CLASS) \
    TVEMUL_RETURN_IF_FAILING((static_cast<void>(sizeof(CLASS)), std::string(#CLASS "::") + __func__).c_str())

// The building block of the above.
#define TVEMUL_RETURN_IF_FAILING(NAME)                  \
    do {                                                \
        long long tvemul_forced_;                       \
        if (::tvemul::failing(NAME, &tvemul_forced_))   \
            return ::tvemul::Forced{tvemul_forced_};    \
    } while (0)

namespace tvemul {

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
