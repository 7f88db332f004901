// load_time PLUGIN: loads the plug-in the way the host does and prints how
// long that took, in microseconds: the dynamic loader's work for the plug-in
// and its libraries, and the plug-in's load-time initialiser. Links the
// host's library, as debugmenu does, so that only what the plug-in adds is
// counted.
#include <dlfcn.h>

#include <chrono>
#include <cstdio>

#include "debugmenu_host.h"

int main(int argc, char **argv)
{
    if (argc != 2) {
        fprintf(stderr, "usage: load_time PLUGIN\n");
        return 2;
    }
    // Keeps the host's library linked even with --as-needed.
    volatile auto keep = &menu_print;
    (void)keep;

    const auto start = std::chrono::steady_clock::now();
    void *handle = dlopen(argv[1], RTLD_NOW | RTLD_GLOBAL);
    void *entry = handle ? dlsym(handle, "tavrin_startmaindebug") : nullptr;
    const auto end = std::chrono::steady_clock::now();
    if (!entry) {
        fprintf(stderr, "load_time: %s\n", dlerror());
        return 1;
    }
    printf("%.1f\n", std::chrono::duration<double, std::micro>(end - start).count());
    return 0;
}
