// Test harness: throw-away device roots, the real debugmenu run in them, and
// the pieces every test program shares.
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
    int status = -1;  // exit status, or 128 + signal
    bool timed_out = false;
    std::string out;  // standard output
    std::string err;  // standard error
};

struct RunOptions {
    // Extra NAME=VALUE for the program. The suite's preload library is
    // always there: sleep() returns at once, TEST_CLOCK=SECONDS stops the
    // clock, FAULT_* inject faults (see preload.cpp).
    std::vector<std::string> env;
    std::vector<std::string> devroot_args;  // e.g. {"--tmpfs", "/opt", "4m"}
    std::vector<std::string> args;          // debugmenu's own arguments
    int timeout_seconds = 60;
};

// A program of this build on this machine, through the build's launcher
// (which runs it emulated in a cross build); for a shell, the command line.
RunResult run_program(const std::vector<std::string> &argv, const std::string &input = "");
std::string launcher_command(const std::string &program);

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
    // Every entry's type, mode, owner, size and content as one SHA-256: equal
    // hashes mean nothing changed. The emulator's call log is left out.
    std::string tree_hash() const;

    // calls.log without the lookup that the plug-in makes when it is loaded.
    std::string calls_log() const;
    void clear_calls_log() const;
    // [group] key of state.ini, "" when unset; set changes it in place.
    std::string state(const std::string &group, const std::string &key) const;
    void set_state(const std::string &group, const std::string &key, const std::string &value) const;
    void remove_state_group(const std::string &group) const;

    // Runs debugmenu (or any command) in this device root with INPUT as its
    // whole standard input. Fails the current test on a sanitizer report.
    RunResult run(const std::string &input, const RunOptions &options = {}) const;
    RunResult run_command(const std::vector<std::string> &argv, const std::string &input = "",
                          const RunOptions &options = {}) const;

private:
    std::string dir_;
};

// debugmenu running in a device root, driven prompt by prompt.
class Session {
public:
    explicit Session(const DeviceRoot &root, const RunOptions &options = {});
    ~Session();
    Session(const Session &) = delete;
    Session &operator=(const Session &) = delete;

    // Reads standard output until it ends with TEXT; false on time-out or end.
    bool wait_for(const std::string &text, int timeout_seconds = 20);
    void send(const std::string &text);
    // Closes standard input and collects the rest.
    RunResult finish(int timeout_seconds = 60);

private:
    pid_t pid_ = -1;
    int in_fd_ = -1, out_fd_ = -1, err_fd_ = -1;
    std::string out_, err_;
};

// The menus as the program itself shows them: the main menu, and the text
// of the sub-menu reached by PATH ("11", or "1\n5" for the factory loop).
const std::string &main_menu();
const std::string &menu_text(const std::string &path);

// A run inside one sub-menu: enters PATH, types each action's input, leaves.
// actions[i] is what the i-th action printed before the sub-menu came back.
struct MenuRun {
    RunResult result;
    std::vector<std::string> actions;
};
MenuRun in_menu(const DeviceRoot &root, const std::string &path, const std::vector<std::string> &actions,
                const RunOptions &options = {});

// TEXT cut at every SEPARATOR (which is dropped), and at line ends.
std::vector<std::string> split(const std::string &text, const std::string &separator);
std::vector<std::string> lines(const std::string &text);

// In-process tests of the plug-in's functions: an emulator state directory
// of their own, which TV_EMULATOR_DIR names while the object lives.
class EmulatorDir {
public:
    EmulatorDir();
    ~EmulatorDir();
    EmulatorDir(const EmulatorDir &) = delete;
    EmulatorDir &operator=(const EmulatorDir &) = delete;

    const std::string &dir() const { return dir_; }
    void write_state(const std::string &ini) const;
    std::string calls_log() const;

private:
    std::string dir_;
};

// A line-by-line view of two texts that differ, for failure messages.
std::string diff(const std::string &expected, const std::string &actual);

}  // namespace harness

#endif
