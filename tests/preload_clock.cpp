// LD_PRELOAD helper: TEST_CLOCK=SECONDS stops the wall clock at SECONDS
// since the epoch for time(); without it, time() is the real clock.
#include <cstdlib>
#include <ctime>

extern "C" time_t time(time_t *out)
{
    static const char *fixed = getenv("TEST_CLOCK");
    time_t now;
    if (fixed) {
        now = static_cast<time_t>(strtoll(fixed, nullptr, 10));
    } else {
        timespec ts;
        clock_gettime(CLOCK_REALTIME, &ts);
        now = ts.tv_sec;
    }
    if (out)
        *out = now;
    return now;
}
