// QD and OLED panel stand-ins over [panel].
#include "oled.h"
#include "qd_display.h"
#include "tvemul.h"

namespace {

const char kTag[] = "PANEL";

// The [panel] number under KEY (0 by default), logged for FUNCTION.
int panel_number(const char *function, const char *key)
{
    tvemul::KeyFile kf = tvemul::load_state();
    const long long result = tvemul::get_int(kf.get(), "panel", key, 0);
    tvemul::log(kTag, "%s: %lld", function, result);
    return static_cast<int>(result);
}

}  // namespace

extern "C" {

int qd_display_get_state(void)
{
    TVEMUL_ENTER();
    return panel_number(__func__, "qd_state");
}

int qd_display_request_off_sensing(void)
{
    TVEMUL_ENTER();
    return panel_number(__func__, "off_sensing_result");
}

bool oled_is_burn_in_protection_in_progress(void)
{
    TVEMUL_ENTER();
    tvemul::KeyFile kf = tvemul::load_state();
    const bool in_progress = tvemul::get_bool(kf.get(), "panel", "burn_in_protection", false);
    tvemul::log(kTag, "burn-in protection %s", in_progress ? "in progress" : "idle");
    return in_progress;
}

}  // extern "C"
