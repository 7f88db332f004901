// LD_PRELOAD helper of the test suite: sleep() returns at once, so that the
// pauses the plug-in takes on a device do not slow the tests down. With
// NOSLEEP_LOG naming a file, each request is appended to it ("sleep 2").
#include <fcntl.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>

extern "C" unsigned int sleep(unsigned int seconds)
{
    if (const char *log = getenv("NOSLEEP_LOG")) {
        int fd = open(log, O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0644);
        if (fd >= 0) {
            char line[32];
            int n = snprintf(line, sizeof line, "sleep %u\n", seconds);
            if (write(fd, line, static_cast<size_t>(n)) < 0) {
                // nothing to report to: the log is best effort
            }
            close(fd);
        }
    }
    return 0;
}
