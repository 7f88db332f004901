// Factory interface stand-in. The factory reset and the reboot are recorded,
// never carried out.
#include <cstdio>

#include "device/power.h"
#include "factory_interface.h"
#include "tvemul.h"

namespace {

const char kTag[] = "FACTORY";

const char kMenu[] =
    "------------------------------------\n"
    "   Factory Interface Debug Menu\n"
    "------------------------------------\n"
    " 1 : Show factory data\n"
    " 2 : Show panel information\n"
    " 3 : Show software version\n"
    " 4 : Toggle factory mode\n"
    " 5 : Toggle hotel mode\n"
    " 6 : Factory reset\n"
    " 99 : Exit\n"
    "------------------------------------\n";

}  // namespace

extern "C" {

int factory_debug_display_menu(void)
{
    TVEMUL_ENTER();
    fputs(kMenu, stdout);
    tvemul::log(kTag, "debug menu shown");
    return 0;
}

int factory_debug_select_menu(int choice)
{
    TVEMUL_ENTER(choice);
    tvemul::log(kTag, "debug menu entry %d", choice);
    return 0;
}

int factory_reset(int mode)
{
    TVEMUL_ENTER(mode);
    tvemul::KeyFile kf = tvemul::load_state();
    const int reset = static_cast<int>(tvemul::get_int(kf.get(), "factory", "reset_result", 1));
    tvemul::log(kTag, "factory reset (mode %d) requested: recorded, not carried out; result %d", mode, reset);
    return reset;
}

}  // extern "C"
