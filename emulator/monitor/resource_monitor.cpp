// Stand-in for the TV's resource monitor. Started in the background by the
// debug menu, it switches memory/rsc_monitor/state on and writes the
// decoders in use to resource-monitor.log in the emulator's state directory
// whenever they change, until the key is set to 0 (or the device's state
// is gone).
#include <fcntl.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <ctime>
#include <string>

#include "tvemul.h"

namespace {

const char kKey[] = "memory/rsc_monitor/state";

// Reads state.ini without creating anything: the device may be removed
// while the monitor runs.
bool load(const std::string &path, tvemul::KeyFile *kf)
{
    kf->reset(g_key_file_new());
    return g_key_file_load_from_file(kf->get(), path.c_str(), G_KEY_FILE_NONE, nullptr);
}

// A pid file can outlive its monitor, and the pid be reused.
bool other_monitor_runs(const std::string &pid_file)
{
    FILE *f = fopen(pid_file.c_str(), "r");
    if (!f)
        return false;
    long pid = 0;
    const bool read = fscanf(f, "%ld", &pid) == 1;
    fclose(f);
    if (!read || pid <= 0 || pid == getpid())
        return false;
    f = fopen(("/proc/" + std::to_string(pid) + "/stat").c_str(), "r");
    if (!f)
        return false;
    char comm[64] = "";
    char state = 'Z';
    const bool parsed = fscanf(f, "%*d (%63[^)]) %c", comm, &state) == 2;
    fclose(f);
    return parsed && state != 'Z' && strncmp(comm, "resource-monito", 15) == 0;
}

void say(const std::string &message)
{
    char stamp[32];
    const time_t now = time(nullptr);
    struct tm local;
    strftime(stamp, sizeof stamp, "%H:%M:%S", localtime_r(&now, &local));
    printf("%s resource-monitor: %s\n", stamp, message.c_str());
    fflush(stdout);
}

}  // namespace

int main()
{
    const std::string dir = tvemul::state_dir();
    const std::string state = dir + "/state.ini";
    const std::string pid_file = dir + "/resource-monitor.pid";

    // Leave the console to the debug menu that started us.
    setsid();
    int null_fd = open("/dev/null", O_RDONLY);
    int log_fd = open((dir + "/resource-monitor.log").c_str(), O_WRONLY | O_APPEND | O_CREAT, 0644);
    if (null_fd < 0 || log_fd < 0)
        return 1;
    dup2(null_fd, STDIN_FILENO);
    dup2(log_fd, STDOUT_FILENO);
    dup2(log_fd, STDERR_FILENO);
    close(null_fd);
    close(log_fd);

    if (other_monitor_runs(pid_file)) {
        say("already running");
        return 0;
    }
    if (FILE *f = fopen(pid_file.c_str(), "w")) {
        fprintf(f, "%ld\n", static_cast<long>(getpid()));
        fclose(f);
    }
    {
        tvemul::StateUpdate update;
        g_key_file_set_value(update.get(), "vconf", kKey, "int:1");
        update.commit();
    }
    say("started (pid " + std::to_string(getpid()) + ")");

    std::string shown = "-";
    tvemul::KeyFile kf;
    while (access(state.c_str(), F_OK) == 0) {
        // A file caught half-edited by hand is read again next time.
        if (load(state, &kf)) {
            if (tvemul::get_str(kf.get(), "vconf", kKey, "int:0") == "int:0")
                break;
            const std::string held = tvemul::get_str(kf.get(), "rm-state", "held", "");
            if (held != shown) {
                say("decoders in use (device:consumer): " + (held.empty() ? std::string("none") : held));
                shown = held;
            }
        }
        usleep(200 * 1000);
    }
    unlink(pid_file.c_str());
    say("stopped");
    return 0;
}
