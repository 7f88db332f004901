// The test suite's LD_PRELOAD library: how tests change the program under
// test from outside.
//
// sleep() returns at once, so that the pauses the plug-in takes on a device
// do not slow the tests down; NOSLEEP_LOG names a file that gets one line per
// request ("sleep 2").
//
// TEST_CLOCK=SECONDS stops the wall clock at SECONDS since the epoch for
// time().
//
// Faults injected between the file steps of debugmenu. Only calls on paths
// below one of the prefixes in FAULT_PATHS (colon separated) count:
// opening a file for writing, writing to it, removing and
// renaming. FAULT_LOG names a file that gets one line per counted call.
// With FAULT_AT=N, the Nth counted call is preceded by FAULT_ACTION:
//   kill          the process dies at once, as in a power cut (default)
//   remove:PATH   PATH is removed, as by another process, and the call goes on
// Other programs that inherit the variable (the device root's shell and
// mount tools) are left alone.

// The C library's functions are interposed by their own names, the 32-bit
// offset ones and the 64-bit ones alike; the build's large-file switch would
// rename the first to the second.
#undef _FILE_OFFSET_BITS

#include <dlfcn.h>
#include <fcntl.h>
#include <signal.h>
#include <unistd.h>

#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <string>

namespace {

constexpr int kMaxFds = 1024;
bool tracked[kMaxFds];
std::string tracked_path[kMaxFds];
long counted = 0;

template <typename Fn>
Fn real(const char *name)
{
    return reinterpret_cast<Fn>(dlsym(RTLD_NEXT, name));
}

bool active()
{
    static const bool on = strcmp(program_invocation_short_name, "debugmenu") == 0 && getenv("FAULT_PATHS");
    return on;
}

bool watched(const char *path)
{
    if (!path || !active())
        return false;
    std::string prefixes = getenv("FAULT_PATHS");
    size_t start = 0;
    while (start <= prefixes.size()) {
        size_t end = prefixes.find(':', start);
        if (end == std::string::npos)
            end = prefixes.size();
        if (end > start && strncmp(path, prefixes.c_str() + start, end - start) == 0)
            return true;
        start = end + 1;
    }
    return false;
}

void append(const char *log, const std::string &line)
{
    const int saved = errno;
    const int fd = real<int (*)(const char *, int, ...)>("open")(log, O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0644);
    if (fd >= 0) {
        const std::string l = line + "\n";
        if (real<ssize_t (*)(int, const void *, size_t)>("write")(fd, l.data(), l.size()) < 0) {
            // best effort
        }
        close(fd);
    }
    errno = saved;
}

void log_line(const std::string &line)
{
    if (const char *log = getenv("FAULT_LOG"))
        append(log, line);
}

// One counted step: logged, and the fault happens before it when its turn
// has come.
void step(const std::string &what)
{
    log_line(what);
    const char *at = getenv("FAULT_AT");
    if (!at || ++counted != strtol(at, nullptr, 10))
        return;
    const char *action = getenv("FAULT_ACTION");
    if (!action || strcmp(action, "kill") == 0) {
        log_line("killed");
        kill(getpid(), SIGKILL);
    }
    if (strncmp(action, "remove:", 7) == 0) {
        const int saved = errno;
        real<int (*)(const char *)>("unlink")(action + 7);
        errno = saved;
        log_line(std::string("removed ") + (action + 7));
    }
}

bool writes(int flags)
{
    return (flags & (O_WRONLY | O_RDWR | O_CREAT | O_TRUNC)) != 0;
}

void track(int fd, const char *path)
{
    if (fd >= 0 && fd < kMaxFds) {
        tracked[fd] = true;
        tracked_path[fd] = path;
    }
}

template <typename Open>
int open_common(const char *name, const char *path, int flags, va_list ap)
{
    mode_t mode = 0;
    if (flags & (O_CREAT | O_TMPFILE))
        mode = static_cast<mode_t>(va_arg(ap, int));
    const bool counted_call = writes(flags) && watched(path);
    if (counted_call)
        step(std::string("open ") + path);
    int fd = real<Open>(name)(path, flags, mode);
    if (counted_call)
        track(fd, path);
    return fd;
}

}  // namespace

extern "C" {

int open(const char *path, int flags, ...)
{
    va_list ap;
    va_start(ap, flags);
    int fd = open_common<int (*)(const char *, int, ...)>("open", path, flags, ap);
    va_end(ap);
    return fd;
}

int open64(const char *path, int flags, ...)
{
    va_list ap;
    va_start(ap, flags);
    int fd = open_common<int (*)(const char *, int, ...)>("open64", path, flags, ap);
    va_end(ap);
    return fd;
}

static FILE *fopen_common(const char *name, const char *path, const char *mode)
{
    const bool counted_call = mode && mode[0] != 'r' && watched(path);
    if (counted_call)
        step(std::string("open ") + path);
    return real<FILE *(*)(const char *, const char *)>(name)(path, mode);
}

FILE *fopen(const char *path, const char *mode)
{
    return fopen_common("fopen", path, mode);
}

FILE *fopen64(const char *path, const char *mode)
{
    return fopen_common("fopen64", path, mode);
}

ssize_t write(int fd, const void *buf, size_t count)
{
    if (fd >= 0 && fd < kMaxFds && tracked[fd])
        step("write " + tracked_path[fd] + " " + std::to_string(count));
    return real<ssize_t (*)(int, const void *, size_t)>("write")(fd, buf, count);
}

int close(int fd)
{
    if (fd >= 0 && fd < kMaxFds)
        tracked[fd] = false;
    return real<int (*)(int)>("close")(fd);
}

int unlink(const char *path)
{
    if (watched(path))
        step(std::string("remove ") + path);
    return real<int (*)(const char *)>("unlink")(path);
}

int remove(const char *path)
{
    if (watched(path))
        step(std::string("remove ") + path);
    return real<int (*)(const char *)>("remove")(path);
}

int rename(const char *from, const char *to)
{
    if (watched(from) || watched(to))
        step(std::string("rename ") + from + " " + to);
    return real<int (*)(const char *, const char *)>("rename")(from, to);
}

unsigned int sleep(unsigned int seconds)
{
    if (const char *log = getenv("NOSLEEP_LOG"))
        append(log, "sleep " + std::to_string(seconds));
    return 0;
}

time_t time(time_t *out)
{
    static const char *fixed = getenv("TEST_CLOCK");
    timespec ts;
    if (!fixed)
        clock_gettime(CLOCK_REALTIME, &ts);
    const time_t now = fixed ? static_cast<time_t>(strtoll(fixed, nullptr, 10)) : ts.tv_sec;
    if (out)
        *out = now;
    return now;
}

}  // extern "C"
