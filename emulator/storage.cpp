// Storage service stand-in: the clean-up reports [storage] cleanup_result.
#include "storage_internal.h"
#include "tvemul.h"

extern "C" int internal_storage_clean_up_unnecessary_files(void)
{
    TVEMUL_ENTER();
    tvemul::KeyFile kf = tvemul::load_state();
    const long long result = tvemul::get_int(kf.get(), "storage", "cleanup_result", 0);
    tvemul::log("STORAGED", "clean-up of unnecessary files: %lld", result);
    return static_cast<int>(result);
}
