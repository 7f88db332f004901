// Feedback stand-in: records what would be played; the development machine
// stays silent.
#include <mutex>

#include "feedback.h"
#include "tvemul.h"

namespace {

const char kTag[] = "FEEDBACK";

std::mutex init_mutex;
int init_count = 0;

bool initialized()
{
    std::lock_guard<std::mutex> lock(init_mutex);
    return init_count > 0;
}

}  // namespace

extern "C" {

int feedback_initialize(void)
{
    TVEMUL_ENTER();
    std::lock_guard<std::mutex> lock(init_mutex);
    ++init_count;
    tvemul::log(kTag, "initialized (%d)", init_count);
    return FEEDBACK_ERROR_NONE;
}

int feedback_play(feedback_pattern_e pattern)
{
    TVEMUL_ENTER(pattern);
    if (!initialized())
        return FEEDBACK_ERROR_NOT_INITIALIZED;
    if (pattern < 0 || pattern >= FEEDBACK_PATTERN_END)
        return FEEDBACK_ERROR_INVALID_PARAMETER;
    tvemul::log(kTag, "play pattern %d", static_cast<int>(pattern));
    return FEEDBACK_ERROR_NONE;
}

int feedback_deinitialize(void)
{
    TVEMUL_ENTER();
    std::lock_guard<std::mutex> lock(init_mutex);
    if (init_count == 0)
        return FEEDBACK_ERROR_NOT_INITIALIZED;
    --init_count;
    tvemul::log(kTag, "deinitialized (%d)", init_count);
    return FEEDBACK_ERROR_NONE;
}

}  // extern "C"
