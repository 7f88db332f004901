// Factory automation stand-ins: each records the call and logs; the real
// dialogues belong to the factory software and are not emulated.
#include "factory_automation.h"
#include "tvemul.h"

namespace {

int done(const char *function)
{
    tvemul::log("FACTORY_AUTOMATION", "%s: done", function);
    return 0;
}

}  // namespace

extern "C" {

int input_packet_data(void)
{
    TVEMUL_ENTER();
    return done(__func__);
}

int input_multiple_packet_data(void)
{
    TVEMUL_ENTER();
    return done(__func__);
}

int input_ir_blaster(void)
{
    TVEMUL_ENTER();
    return done(__func__);
}

}  // extern "C"
