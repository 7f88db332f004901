// TV power control stand-in: keeps the auto-resume reason in [power].
#include "ppi_powercontrol.h"
#include "tvemul.h"

extern "C" int ppi_powercontrol_set_auto_resume(int wakeup_reason)
{
    TVEMUL_ENTER(wakeup_reason);
    if (!tvemul::set_int("power", "auto_resume", wakeup_reason))
        return -5;
    tvemul::log("PPI_POWERCONTROL", "auto resume with wakeup reason %d", wakeup_reason);
    return 0;
}
