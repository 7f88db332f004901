// System information stand-in.
#include <cstdio>

#include "system_info.h"
#include "tvemul.h"

extern "C" int system_info_debug(void)
{
    TVEMUL_ENTER();
    tvemul::log("SYSTEM_INFO", "system_info_debug: dump requested");
    fputs("--- system information (emulated) ---\n"
          "platform name    : Tizen\n"
          "platform version : 6.5\n"
          "model            : TV-EMULATOR\n"
          "build            : tavrin-emulator\n"
          "-------------------------------------\n",
          stdout);
    return 0;
}
