// QD display panel functions.
#ifndef QD_DISPLAY_H
#define QD_DISPLAY_H

#ifdef __cplusplus
extern "C" {
#endif

int qd_display_get_state(void);
int qd_display_request_off_sensing(void);

#ifdef __cplusplus
}
#endif

#endif
