// QD and OLED panel stand-ins over [panel].
#include "oled.h"
#include "qd_display.h"
#include "tvemul.h"

namespace {

const char kTag[] = "PANEL";

// Records the call and reads its [panel] key, unless [fail] names it.
long long panel_query(const char *function, const char *key, long long def)
{
    tvemul::Call call(function);
    call.record();
    long long result;
    if (call.failing(&result))
        return result;
    tvemul::KeyFile kf = tvemul::load_state();
    result = tvemul::get_int(kf.get(), "panel", key, def);
    tvemul::log(kTag, "%s: %lld", function, result);
    return result;
}

}  // namespace

extern "C" int qd_display_get_state(void)
{
    return static_cast<int>(panel_query("qd_display_get_state", "qd_state", 0));
}

extern "C" int qd_display_request_off_sensing(void)
{
    return static_cast<int>(panel_query("qd_display_request_off_sensing", "off_sensing_result", 0));
}

extern "C" bool oled_is_burn_in_protection_in_progress(void)
{
    tvemul::Call call("oled_is_burn_in_protection_in_progress");
    call.record();
    long long result;
    if (call.failing(&result))
        return result != 0;
    tvemul::KeyFile kf = tvemul::load_state();
    const bool in_progress = tvemul::get_bool(kf.get(), "panel", "burn_in_protection", false);
    tvemul::log(kTag, "burn-in protection %s", in_progress ? "in progress" : "idle");
    return in_progress;
}
