// Factory automation stand-ins: each records the call and logs; the real
// dialogues belong to the factory software and are not emulated.
#include "factory_automation.h"
#include "tvemul.h"

namespace {

int automation_call(const char *function)
{
    tvemul::Call call(function);
    call.record();
    long long result;
    if (call.failing(&result))
        return static_cast<int>(result);
    tvemul::log("FACTORY_AUTOMATION", "%s: done", function);
    return 0;
}

}  // namespace

extern "C" int input_packet_data(void) { return automation_call("input_packet_data"); }
extern "C" int input_multiple_packet_data(void) { return automation_call("input_multiple_packet_data"); }
extern "C" int input_ir_blaster(void) { return automation_call("input_ir_blaster"); }
