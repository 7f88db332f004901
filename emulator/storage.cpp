// Storage service stand-in: the clean-up reports [storage] cleanup_result.
#include "storage_internal.h"
#include "tvemul.h"

extern "C" int internal_storage_clean_up_unnecessary_files(void)
{
    tvemul::Call call("internal_storage_clean_up_unnecessary_files");
    call.record();
    long long result;
    if (call.failing(&result))
        return static_cast<int>(result);

    tvemul::KeyFile kf = tvemul::load_state();
    result = tvemul::get_int(kf.get(), "storage", "cleanup_result", 0);
    tvemul::log("STORAGED", "clean-up of unnecessary files: %lld", result);
    return static_cast<int>(result);
}
