// Why the resource manager stand-in deals with other processes at all: two
// debug menus started in the same device root compete for the same
// decoders, because the pool and its allocations live in state.ini. When
// every decoder is held, the device must be taken back from the consumer
// that holds it, through that consumer's conflict callback, and the
// callback can only run in the process that registered it.
//
// So each process with a consumer reads requests "HANDLE DEVICE" from a
// FIFO of its own in the state directory (rm-consumer-PID.fifo) on a
// thread of its own, and a process that wants a device writes to the
// holder's FIFO and waits until the device has been given back. A pid is
// paired with the process's start time, so that a consumer whose process
// has ended is recognised even after its pid has been reused.
#include "rm_peers.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <mutex>
#include <sstream>
#include <string>
#include <thread>

#include "tvemul.h"

namespace tvemul::rm_peers {

namespace {

// Consumers registered by this process.
struct Local {
    rm_resource_cb callback;
    void *user_data;
};
std::mutex locals_mutex;
std::map<int, Local> &locals()
{
    static std::map<int, Local> map;
    return map;
}

bool local_callback(int handle, Local *local)
{
    std::lock_guard<std::mutex> lock(locals_mutex);
    auto it = locals().find(handle);
    if (it == locals().end())
        return false;
    *local = it->second;
    return true;
}

void call_back(int handle, int device)
{
    Local local{};
    if (!local_callback(handle, &local) || !local.callback)
        return;
    rm_device_request_s request{};
    request.request_num = 1;
    request.device_id[0] = device;
    local.callback(handle, RM_CALLBACK_TYPE_RESOURCE_CONFLICT, &request, local.user_data);
}

std::string fifo_path(long pid)
{
    return state_file(("rm-consumer-" + std::to_string(pid) + ".fifo").c_str());
}

// Removes this process's FIFO when the process ends normally.
struct FifoCleanup {
    std::string path;
    ~FifoCleanup()
    {
        if (!path.empty())
            unlink(path.c_str());
    }
};

void listen(int fd)
{
    std::string pending;
    char buf[256];
    for (;;) {
        ssize_t n = read(fd, buf, sizeof buf);
        if (n < 0 && errno == EINTR)
            continue;
        if (n <= 0)
            return;
        pending.append(buf, static_cast<size_t>(n));
        size_t end;
        while ((end = pending.find('\n')) != std::string::npos) {
            int handle = 0, device = 0;
            if (sscanf(pending.substr(0, end).c_str(), "%d %d", &handle, &device) == 2)
                call_back(handle, device);
            pending.erase(0, end + 1);
        }
    }
}

void start_listener()
{
    static std::once_flag once;
    static FifoCleanup cleanup;
    std::call_once(once, [] {
        const std::string path = fifo_path(getpid());
        unlink(path.c_str());
        if (mkfifo(path.c_str(), 0600) != 0)
            return;
        // Opened for writing as well, so that the read never sees an end.
        int fd = open(path.c_str(), O_RDWR | O_CLOEXEC);
        if (fd < 0)
            return;
        cleanup.path = path;
        std::thread(listen, fd).detach();
    });
}

bool ask_other_process(long pid, int handle, int device)
{
    int fd = open(fifo_path(pid).c_str(), O_WRONLY | O_NONBLOCK | O_CLOEXEC);
    if (fd < 0)
        return false;
    const std::string line = std::to_string(handle) + " " + std::to_string(device) + "\n";
    const bool sent = write(fd, line.data(), line.size()) == static_cast<ssize_t>(line.size());
    close(fd);
    return sent;
}

}  // namespace

unsigned long long process_start(long pid)
{
    // Relative to /proc: a user-mode emulator of another processor answers
    // "/proc/<own pid>/stat" with figures of its own, and the start time a
    // process records for itself must match what the others read.
    std::string stat;
    const int proc = open("/proc", O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    const int fd = proc < 0 ? -1 : openat(proc, (std::to_string(pid) + "/stat").c_str(), O_RDONLY | O_CLOEXEC);
    if (proc >= 0)
        close(proc);
    if (fd >= 0) {
        char buf[1024];
        ssize_t n;
        while ((n = read(fd, buf, sizeof buf)) > 0)
            stat.append(buf, static_cast<size_t>(n));
        close(fd);
    }
    const size_t paren = stat.rfind(')');
    if (paren == std::string::npos)
        return 0;
    std::istringstream fields(stat.substr(paren + 1));
    std::string field;
    // Field 22 is the start time; fields 1 and 2 precede the ')'.
    for (int i = 3; i <= 22 && fields >> field; ++i) {
        if (i == 22)
            return strtoull(field.c_str(), nullptr, 10);
    }
    return 0;
}

void add_consumer(int handle, rm_resource_cb callback, void *user_data)
{
    {
        std::lock_guard<std::mutex> lock(locals_mutex);
        locals()[handle] = {callback, user_data};
    }
    start_listener();
}

void remove_consumer(int handle)
{
    std::lock_guard<std::mutex> lock(locals_mutex);
    locals().erase(handle);
}

void take_back(long pid, int handle, int device, bool (*still_held)(int device, int handle))
{
    if (pid == getpid()) {
        call_back(handle, device);
        return;
    }
    if (!ask_other_process(pid, handle, device))
        return;
    long long timeout_ms;
    {
        KeyFile kf = load_state();
        timeout_ms = get_int(kf.get(), "rm", "conflict_timeout_ms", 3000);
    }
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(timeout_ms);
    while (still_held(device, handle) && std::chrono::steady_clock::now() < deadline)
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
}

}  // namespace tvemul::rm_peers
