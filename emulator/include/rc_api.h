// Resource centre: policies over the resource manager's devices.
#ifndef RC_API_H
#define RC_API_H

#ifdef __cplusplus
extern "C" {
#endif

// Moves the best picture quality from one display zone to another; 0 on
// success.
int rc_switch_best_quality_zone(int current_zone_id, int next_zone_id);

#ifdef __cplusplus
}
#endif

#endif
