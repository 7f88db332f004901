// debugmenu [PLUGIN]: loads the debug-menu plug-in and runs its main menu
// on this process's console.
#include <dlfcn.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstdio>
#include <string>

namespace {

const char kDefaultPlugin[] = "libtavrin-debugmenu.so.0.0.06";
const char kEntryPoint[] = "tavrin_startmaindebug";

std::string program_dir()
{
    char buf[PATH_MAX];
    ssize_t n = readlink("/proc/self/exe", buf, sizeof buf - 1);
    if (n <= 0)
        return ".";
    std::string path(buf, static_cast<size_t>(n));
    return path.substr(0, path.rfind('/'));
}

// Everything printed must be visible before the process waits for input,
// through a pipe too. Output stays block-buffered for speed and is flushed
// exactly when a read of standard input is about to block.
ssize_t console_read(void *, char *buf, size_t size)
{
    fflush(stdout);
    ssize_t n;
    do {
        n = read(STDIN_FILENO, buf, size);
    } while (n < 0 && errno == EINTR);
    return n;
}

void setup_console()
{
    static char out_buf[1 << 16];
    if (!isatty(STDOUT_FILENO))
        setvbuf(stdout, out_buf, _IOFBF, sizeof out_buf);

    cookie_io_functions_t io = {};
    io.read = console_read;
    if (FILE *in = fopencookie(nullptr, "r", io))
        stdin = in;  // the plug-in's scanf and the host read this one stream
}

}  // namespace

int main(int argc, char **argv)
{
    if (argc > 2) {
        fprintf(stderr, "usage: debugmenu [PLUGIN]\n");
        return 1;
    }
    const std::string plugin = argc == 2 ? argv[1] : program_dir() + "/" + kDefaultPlugin;

    void *handle = dlopen(plugin.c_str(), RTLD_NOW | RTLD_GLOBAL);
    if (!handle) {
        fprintf(stderr, "debugmenu: cannot load %s: %s\n", plugin.c_str(), dlerror());
        return 1;
    }
    auto entry = reinterpret_cast<int (*)()>(dlsym(handle, kEntryPoint));
    if (!entry) {
        fprintf(stderr, "debugmenu: %s has no %s: %s\n", plugin.c_str(), kEntryPoint, dlerror());
        return 1;
    }

    setup_console();
    const int result = entry();
    fflush(stdout);
    return result == 99 ? 0 : 1;
}
