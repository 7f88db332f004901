// Test harness: throw-away device roots and the real debugmenu run in them.
#ifndef TAVRIN_TEST_HARNESS_H
#define TAVRIN_TEST_HARNESS_H

#include <sys/types.h>

#include <string>
#include <vector>

namespace harness {

std::string source_dir();
std::string binary_dir();
// True when the build's programs run through an emulator (a cross build).
bool emulated();

struct RunResult {
    int status = -1;      // exit status, or 128 + signal
    bool timed_out = false;
    std::string out;      // standard output
    std::string err;      // standard error
};

struct RunOptions {
    std::vector<std::string> env;           // extra NAME=VALUE for debugmenu
    std::vector<std::string> devroot_args;  // e.g. {"--tmpfs", "/opt", "4m"}
    std::vector<std::string> args;          // debugmenu's own arguments
    int timeout_seconds = 60;
};

// A fresh device root, copied from one prepared once per test process and
// removed when the object goes.
class DeviceRoot {
public:
    DeviceRoot();
    ~DeviceRoot();
    DeviceRoot(const DeviceRoot &) = delete;
    DeviceRoot &operator=(const DeviceRoot &) = delete;

    const std::string &dir() const { return dir_; }
    // Where a path of the device lies on this machine.
    std::string host_path(const std::string &device_path) const { return dir_ + device_path; }

    bool exists(const std::string &device_path) const;
    std::string read(const std::string &device_path) const;
    void write(const std::string &device_path, const std::string &content) const;
    void remove(const std::string &device_path) const;

    // calls.log without the plug-in's load-time lookup (kLoadCalls) that
    // starts every run; raw_calls_log() has every line.
    std::string calls_log() const;
    std::string raw_calls_log() const;
    void clear_calls_log() const;
    // [group] key of state.ini, "" when unset; set changes it in place.
    std::string state(const std::string &group, const std::string &key) const;
    void set_state(const std::string &group, const std::string &key, const std::string &value) const;
    void remove_state_group(const std::string &group) const;

    // Runs debugmenu in this device root with INPUT as its whole standard
    // input. Fails the current test on a sanitizer report.
    RunResult run(const std::string &input, const RunOptions &options = {}) const;
    // Runs any command in the device root.
    RunResult run_command(const std::vector<std::string> &argv, const std::string &input = "",
                          const RunOptions &options = {}) const;

private:
    std::string dir_;
};

// debugmenu running in a device root, driven prompt by prompt.
class Session {
public:
    Session(const DeviceRoot &root, const RunOptions &options = {});
    ~Session();
    Session(const Session &) = delete;
    Session &operator=(const Session &) = delete;

    // Reads standard output until it ends with TEXT; false on time-out or end.
    bool wait_for(const std::string &text, int timeout_seconds = 20);
    void send(const std::string &text);
    // Closes standard input and collects the rest.
    RunResult finish(int timeout_seconds = 60);
    const std::string &output() const { return out_; }

private:
    pid_t pid_ = -1;
    int in_fd_ = -1, out_fd_ = -1, err_fd_ = -1;
    std::string out_, err_;
};

// Expected console text.
std::string menu(const std::string &title, const std::vector<std::string> &labels);
std::string main_menu();
extern const char kPrompt[];
// What the plug-in asks of the platform when it is loaded: the first line
// of every run's calls.
extern const std::string kLoadCalls;

// A line-by-line view of two texts that differ, for failure messages.
std::string diff(const std::string &expected, const std::string &actual);

}  // namespace harness

#endif
