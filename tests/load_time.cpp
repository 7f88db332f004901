// The test programs link the plug-in, which resolves its copy program when
// it is loaded, before main() could point the emulator anywhere. This
// answers that call in the test programs themselves, as the emulator does
// but without recording it, so that starting a test program leaves no
// emulator state on this machine. debugmenu in a device root still uses
// the emulator.
#include <cstdio>

#include "tzplatform_config.h"

extern "C" const char *tzplatform_mkpath(enum tzplatform_variable id, const char *suffix)
{
    static char path[4096];
    if (id != TZ_SYS_BIN)
        return nullptr;
    snprintf(path, sizeof path, "/usr/bin%s", suffix ? suffix : "");
    return path;
}
