// Resource centre stand-in: remembers which zone has the best picture
// quality in [rm-state] best_quality_zone.
#include "rc_api.h"
#include "tvemul.h"

extern "C" int rc_switch_best_quality_zone(int current_zone_id, int next_zone_id)
{
    tvemul::Call call("rc_switch_best_quality_zone");
    call.num(current_zone_id).num(next_zone_id).record();
    long long result;
    if (call.failing(&result))
        return static_cast<int>(result);
    if (current_zone_id < 0 || next_zone_id < 0)
        return -1;
    if (!tvemul::set_int("rm-state", "best_quality_zone", next_zone_id))
        return -1;
    tvemul::log("RSC_MNG", "best quality zone %d -> %d", current_zone_id, next_zone_id);
    return 0;
}
