// Resource centre stand-in: remembers which zone has the best picture
// quality in [rm-state] best_quality_zone.
#include "rc_api.h"
#include "tvemul.h"

extern "C" int rc_switch_best_quality_zone(int current_zone_id, int next_zone_id)
{
    TVEMUL_ENTER(current_zone_id, next_zone_id);
    if (current_zone_id < 0 || next_zone_id < 0)
        return -1;
    if (!tvemul::set_int("rm-state", "best_quality_zone", next_zone_id))
        return -1;
    tvemul::log("RSC_MNG", "best quality zone %d -> %d", current_zone_id, next_zone_id);
    return 0;
}
