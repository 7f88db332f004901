// TV power control library.
#ifndef PPI_POWERCONTROL_H
#define PPI_POWERCONTROL_H

#ifdef __cplusplus
extern "C" {
#endif

// The wakeup reason that the next suspend resumes with by itself.
int ppi_powercontrol_set_auto_resume(int wakeup_reason);

#ifdef __cplusplus
}
#endif

#endif
