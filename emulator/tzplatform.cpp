// Path resolution stand-in: the system's program directory is /usr/bin.
#include <string>

#include "tvemul.h"
#include "tzplatform_config.h"

extern "C" const char *tzplatform_mkpath(enum tzplatform_variable id, const char *suffix)
{
    TVEMUL_ENTER(id, suffix);
    if (id != TZ_SYS_BIN)
        return nullptr;

    thread_local std::string path;
    path = "/usr/bin";
    if (suffix)
        path += suffix;
    tvemul::log("TZ_PLATFORM_CONFIG", "%d resolves to %s", id, path.c_str());
    return path.c_str();
}
