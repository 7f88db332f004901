#include "harness.h"
#include "launcher.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <linux/magic.h>
#include <sys/stat.h>
#include <sys/statfs.h>
#include <sys/wait.h>
#include <unistd.h>

#include <glib.h>
#include <gtest/gtest.h>

#include <chrono>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <map>
#include <memory>
#include <mutex>
#include <sstream>

extern char **environ;

namespace harness {

namespace {

// What the plug-in asks of the platform when it is loaded: the first line
// of every run's calls.
const std::string kLoadCalls = "tzplatform_mkpath 7 \"/cp\"\n";
const char kStateIni[] = "/var/lib/tv-emulator/state.ini";

}  // namespace

std::string source_dir() { return TAVRIN_SOURCE_DIR; }
std::string binary_dir() { return TAVRIN_BINARY_DIR; }
bool emulated()
{
    const std::vector<std::string> launcher = TAVRIN_TEST_LAUNCHER;
    return !launcher.empty();
}

namespace {

std::string shell_quote(const std::string &s)
{
    gchar *quoted = g_shell_quote(s.c_str());
    const std::string out = quoted;
    g_free(quoted);
    return out;
}

int system_checked(const std::string &command)
{
    int rc = std::system(command.c_str());
    return WIFEXITED(rc) ? WEXITSTATUS(rc) : -1;
}

// Where the device roots live. A cross build's programs run emulated on
// this machine's 64-bit kernel, which gives directories on ext4 and the
// like 64-bit offsets; the C library's tree walk (fts) on 32-bit ARM takes
// them in 32 bits, as the TV's kernel hands them out, and fails with
// EOVERFLOW. A tmpfs numbers its entries from 0.
std::string scratch_base()
{
    const std::vector<std::string> launcher = TAVRIN_TEST_LAUNCHER;
    struct statfs fs;
    if (!launcher.empty() && statfs("/dev/shm", &fs) == 0 && fs.f_type == TMPFS_MAGIC &&
        access("/dev/shm", W_OK) == 0)
        return "/dev/shm/tavrin-test-scratch-" + std::to_string(getuid());
    return binary_dir() + "/test-scratch";
}

std::string scratch_dir()
{
    static const std::string dir = [] {
        std::string templ = scratch_base();
        g_mkdir_with_parents(templ.c_str(), 0755);
        templ += "/run-XXXXXX";
        if (!g_mkdtemp(templ.data()))
            abort();
        return templ;
    }();
    return dir;
}

// TAVRIN_KEEP_TEST_ROOTS keeps them for a look after the run.
void remove_tree(const std::string &path)
{
    std::error_code ignored;
    if (getenv("TAVRIN_KEEP_TEST_ROOTS") == nullptr)
        std::filesystem::remove_all(path, ignored);
}

struct ScratchCleanup {
    ~ScratchCleanup() { remove_tree(scratch_dir()); }
};

const std::string &template_root()
{
    static std::once_flag once;
    static std::string path;
    static ScratchCleanup cleanup;
    std::call_once(once, [] {
        path = scratch_dir() + "/template";
        std::string cmd = "BUILD=" + shell_quote(binary_dir()) + " " +
                          shell_quote(source_dir() + "/scripts/devroot") + " prepare " +
                          shell_quote(path) + " >/dev/null";
        if (system_checked(cmd) != 0) {
            fprintf(stderr, "cannot prepare a device root: %s\n", cmd.c_str());
            abort();
        }
    });
    return path;
}

pid_t spawn(const std::vector<std::string> &argv, const std::vector<std::string> &extra_env,
            int *in_fd, int *out_fd, int *err_fd)
{
    int in[2], out[2], err[2];
    if (pipe2(in, O_CLOEXEC) || pipe2(out, O_CLOEXEC) || pipe2(err, O_CLOEXEC))
        return -1;
    posix_spawn_file_actions_t fa;
    posix_spawn_file_actions_init(&fa);
    posix_spawn_file_actions_adddup2(&fa, in[0], 0);
    posix_spawn_file_actions_adddup2(&fa, out[1], 1);
    posix_spawn_file_actions_adddup2(&fa, err[1], 2);

    std::vector<std::string> env;
    for (char **e = environ; *e; ++e)
        env.emplace_back(*e);
    for (const auto &e : extra_env)
        env.push_back(e);
    std::vector<char *> envp, args;
    for (auto &e : env)
        envp.push_back(const_cast<char *>(e.c_str()));
    envp.push_back(nullptr);
    for (auto &a : argv)
        args.push_back(const_cast<char *>(a.c_str()));
    args.push_back(nullptr);

    pid_t pid = -1;
    if (posix_spawnp(&pid, args[0], &fa, nullptr, args.data(), envp.data()) != 0)
        pid = -1;
    posix_spawn_file_actions_destroy(&fa);
    close(in[0]);
    close(out[1]);
    close(err[1]);
    *in_fd = in[1];
    *out_fd = out[0];
    *err_fd = err[0];
    signal(SIGPIPE, SIG_IGN);
    return pid;
}

std::vector<std::string> devroot_command(const std::string &dir, const RunOptions &options,
                                         const std::vector<std::string> &command)
{
    // The build may lie below /tmp, which the device root replaces.
    std::vector<std::string> argv = {"bash", source_dir() + "/scripts/devroot", "run", "--keep", binary_dir()};
    for (const auto &a : options.devroot_args)
        argv.push_back(a);
    argv.push_back(dir);
    argv.push_back("--");
    for (const auto &a : command)
        argv.push_back(a);
    return argv;
}

std::vector<std::string> run_env(const RunOptions &options)
{
    std::vector<std::string> env = {
        "LD_PRELOAD=" + binary_dir() + "/tests/libpreload.so",
        // The preload library is not built with the sanitizers.
        "ASAN_OPTIONS=detect_leaks=1:verify_asan_link_order=0:abort_on_error=0",
        "UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1",
    };
    for (const auto &e : options.env)
        env.push_back(e);
    return env;
}

// A cross build's own programs run through its emulator. A preload library
// of the test is the program's, so it goes to the emulator's guest and not to
// the machine's programs in between.
std::vector<std::string> launch(const std::vector<std::string> &argv, std::vector<std::string> &env)
{
    // TAVRIN_TEST_WRAPPER (blank-separated words, e.g. a valgrind command)
    // goes before debugmenu itself, never before the other programs.
    if (const char *wrapper = getenv("TAVRIN_TEST_WRAPPER"); wrapper && !argv.empty() &&
                                                              argv[0] == binary_dir() + "/debugmenu") {
        std::vector<std::string> command;
        std::istringstream words(wrapper);
        for (std::string word; words >> word;)
            command.push_back(word);
        command.insert(command.end(), argv.begin(), argv.end());
        return command;
    }
    const std::vector<std::string> launcher = TAVRIN_TEST_LAUNCHER;
    if (launcher.empty() || argv.empty() || argv[0].rfind(binary_dir() + "/", 0) != 0)
        return argv;
    std::vector<std::string> command = launcher;
    for (auto it = env.begin(); it != env.end();) {
        if (it->rfind("LD_PRELOAD=", 0) == 0) {
            command.push_back("-E");
            command.push_back(*it);
            it = env.erase(it);
        } else {
            ++it;
        }
    }
    command.insert(command.end(), argv.begin(), argv.end());
    return command;
}

// Pumps the child's output until it exits or the time runs out.
RunResult collect(pid_t pid, int in_fd, int out_fd, int err_fd, const std::string &input,
                  int timeout_seconds, std::string out = {}, std::string err = {})
{
    RunResult result;
    size_t written = 0;
    if (in_fd >= 0 && input.empty()) {
        close(in_fd);
        in_fd = -1;
    }
    if (in_fd >= 0)
        fcntl(in_fd, F_SETFL, O_NONBLOCK);
    auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(timeout_seconds);
    while (out_fd >= 0 || err_fd >= 0) {
        auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
                        deadline - std::chrono::steady_clock::now()).count();
        if (left <= 0) {
            result.timed_out = true;
            kill(pid, SIGKILL);
            break;
        }
        pollfd fds[3];
        int n = 0;
        if (out_fd >= 0)
            fds[n++] = {out_fd, POLLIN, 0};
        if (err_fd >= 0)
            fds[n++] = {err_fd, POLLIN, 0};
        if (in_fd >= 0)
            fds[n++] = {in_fd, POLLOUT, 0};
        if (poll(fds, n, static_cast<int>(left)) < 0)
            continue;
        for (int i = 0; i < n; ++i) {
            if (!fds[i].revents)
                continue;
            if (fds[i].fd == in_fd) {
                ssize_t w = write(in_fd, input.data() + written, input.size() - written);
                if (w > 0)
                    written += static_cast<size_t>(w);
                if (w < 0 || written == input.size()) {
                    close(in_fd);
                    in_fd = -1;
                }
                continue;
            }
            char buf[65536];
            ssize_t r = read(fds[i].fd, buf, sizeof buf);
            if (r > 0) {
                (fds[i].fd == out_fd ? out : err).append(buf, static_cast<size_t>(r));
            } else {
                close(fds[i].fd);
                (fds[i].fd == out_fd ? out_fd : err_fd) = -1;
            }
        }
    }
    for (int fd : {in_fd, out_fd, err_fd})
        if (fd >= 0)
            close(fd);
    int status = 0;
    waitpid(pid, &status, 0);
    result.status = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    result.out = std::move(out);
    result.err = std::move(err);
    return result;
}

void check_sanitizers(const RunResult &r)
{
    for (const char *mark : {"ERROR: AddressSanitizer", "ERROR: LeakSanitizer", "runtime error:",
                             "ERROR: UndefinedBehaviorSanitizer", "VALGRIND-ERROR-BEGIN"}) {
        EXPECT_EQ(r.err.find(mark), std::string::npos) << "sanitizer report:\n" << r.err;
    }
    EXPECT_FALSE(r.timed_out) << "timed out; output so far:\n" << r.out;
}

std::string read_file(const std::string &path)
{
    std::ifstream in(path, std::ios::binary);
    std::ostringstream ss;
    ss << in.rdbuf();
    return ss.str();
}

std::string sha256(const std::string &data)
{
    gchar *sum = g_compute_checksum_for_data(G_CHECKSUM_SHA256, reinterpret_cast<const guchar *>(data.data()),
                                             data.size());
    std::string hex = sum;
    g_free(sum);
    return hex;
}

// Runs COMMAND, already launched, and checks it for sanitizer reports.
RunResult run_launched(const std::vector<std::string> &command, const std::vector<std::string> &env,
                       const std::string &input, int timeout_seconds)
{
    int in_fd, out_fd, err_fd;
    const pid_t pid = spawn(command, env, &in_fd, &out_fd, &err_fd);
    if (pid < 0) {
        ADD_FAILURE() << "cannot start " << command[0];
        return {};
    }
    RunResult r = collect(pid, in_fd, out_fd, err_fd, input, timeout_seconds);
    check_sanitizers(r);
    return r;
}

}  // namespace

RunResult run_program(const std::vector<std::string> &argv, const std::string &input)
{
    std::vector<std::string> env;
    const std::vector<std::string> command = launch(argv, env);
    return run_launched(command, env, input, 60);
}

std::string launcher_command(const std::string &program)
{
    return shell_quote(binary_dir() + "/launcher") + " " + shell_quote(binary_dir() + "/" + program);
}

DeviceRoot::DeviceRoot()
{
    static int counter = 0;
    dir_ = scratch_dir() + "/root-" + std::to_string(++counter);
    if (system_checked("cp -a " + shell_quote(template_root()) + " " + shell_quote(dir_)) != 0)
        ADD_FAILURE() << "cannot copy the device root";
}

DeviceRoot::~DeviceRoot()
{
    remove_tree(dir_);
}

bool DeviceRoot::exists(const std::string &device_path) const
{
    struct stat st;
    return lstat(host_path(device_path).c_str(), &st) == 0;
}

std::string DeviceRoot::read(const std::string &device_path) const
{
    return read_file(host_path(device_path));
}

void DeviceRoot::write(const std::string &device_path, const std::string &content) const
{
    const std::string path = host_path(device_path);
    std::filesystem::create_directories(std::filesystem::path(path).parent_path());
    std::ofstream(path, std::ios::binary | std::ios::trunc) << content;
}

void DeviceRoot::remove(const std::string &device_path) const
{
    std::error_code ignored;
    std::filesystem::remove_all(host_path(device_path), ignored);
}

std::string DeviceRoot::tree_hash() const
{
    namespace fs = std::filesystem;
    std::string entries;
    std::vector<fs::path> paths;
    for (auto it = fs::recursive_directory_iterator(dir_); it != fs::recursive_directory_iterator(); ++it) {
        // The overlay's work directories belong to the kernel.
        if (it->path().filename() == ".work" && it->path().parent_path() == dir_)
            it.disable_recursion_pending();
        else if (it->path() != host_path("/var/lib/tv-emulator/calls.log"))
            paths.push_back(it->path());
    }
    std::sort(paths.begin(), paths.end());
    for (const fs::path &path : paths) {
        struct stat st;
        if (lstat(path.c_str(), &st) != 0)
            continue;
        const std::string content = S_ISREG(st.st_mode)   ? read_file(path)
                                    : S_ISLNK(st.st_mode) ? fs::read_symlink(path).string()
                                                          : "";
        // A directory's size is the file system's business; its entries
        // speak for it.
        entries += path.string() + " " + std::to_string(st.st_mode) + " " + std::to_string(st.st_uid) + ":" +
                   std::to_string(st.st_gid) + " " + std::to_string(S_ISDIR(st.st_mode) ? 0 : st.st_size) + " " +
                   sha256(content) + "\n";
    }
    return sha256(entries);
}

std::string DeviceRoot::calls_log() const
{
    std::string out;
    for (const std::string &line : lines(read("/var/lib/tv-emulator/calls.log"))) {
        if (line + "\n" != kLoadCalls)
            out += line + "\n";
    }
    return out;
}

void DeviceRoot::clear_calls_log() const
{
    // Emptied, not removed: /var is an overlay, and a removed file would
    // uncover the development machine's own log beneath it.
    write("/var/lib/tv-emulator/calls.log", "");
}

namespace {

// state.ini of ROOT after CHANGE, which is written back unless it is null.
using KeyFile = std::unique_ptr<GKeyFile, decltype(&g_key_file_free)>;
template <typename Change>
KeyFile state_ini(const DeviceRoot &root, Change change)
{
    const std::string path = root.host_path(kStateIni);
    KeyFile kf(g_key_file_new(), g_key_file_free);
    g_key_file_load_from_file(kf.get(), path.c_str(), G_KEY_FILE_KEEP_COMMENTS, nullptr);
    if (change(kf.get()))
        g_key_file_save_to_file(kf.get(), path.c_str(), nullptr);
    return kf;
}

}  // namespace

std::string DeviceRoot::state(const std::string &group, const std::string &key) const
{
    const KeyFile kf = state_ini(*this, [](GKeyFile *) { return false; });
    gchar *v = g_key_file_get_value(kf.get(), group.c_str(), key.c_str(), nullptr);
    const std::string value = v ? v : "";
    g_free(v);
    return value;
}

void DeviceRoot::set_state(const std::string &group, const std::string &key, const std::string &value) const
{
    state_ini(*this, [&](GKeyFile *kf) {
        g_key_file_set_value(kf, group.c_str(), key.c_str(), value.c_str());
        return true;
    });
}

void DeviceRoot::remove_state_group(const std::string &group) const
{
    state_ini(*this, [&](GKeyFile *kf) { return g_key_file_remove_group(kf, group.c_str(), nullptr); });
}

RunResult DeviceRoot::run_command(const std::vector<std::string> &argv, const std::string &input,
                                  const RunOptions &options) const
{
    std::vector<std::string> env = run_env(options);
    const std::vector<std::string> command = launch(argv, env);
    return run_launched(devroot_command(dir_, options, command), env, input, options.timeout_seconds);
}

RunResult DeviceRoot::run(const std::string &input, const RunOptions &options) const
{
    std::vector<std::string> argv = {binary_dir() + "/debugmenu"};
    argv.insert(argv.end(), options.args.begin(), options.args.end());
    return run_command(argv, input, options);
}

Session::Session(const DeviceRoot &root, const RunOptions &options)
{
    std::vector<std::string> argv = {binary_dir() + "/debugmenu"};
    argv.insert(argv.end(), options.args.begin(), options.args.end());
    std::vector<std::string> env = run_env(options);
    const std::vector<std::string> command = launch(argv, env);
    pid_ = spawn(devroot_command(root.dir(), options, command), env, &in_fd_, &out_fd_, &err_fd_);
    if (pid_ < 0)
        ADD_FAILURE() << "cannot start debugmenu";
}

Session::~Session()
{
    if (pid_ > 0)
        finish(5);
}

bool Session::wait_for(const std::string &text, int timeout_seconds)
{
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(timeout_seconds);
    while (out_.size() < text.size() || out_.compare(out_.size() - text.size(), text.size(), text) != 0) {
        const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
                              deadline - std::chrono::steady_clock::now()).count();
        pollfd fd = {out_fd_, POLLIN, 0};
        if (left <= 0 || out_fd_ < 0 || poll(&fd, 1, static_cast<int>(left)) <= 0)
            return false;
        char buf[65536];
        const ssize_t r = ::read(out_fd_, buf, sizeof buf);
        if (r <= 0)
            return false;
        out_.append(buf, static_cast<size_t>(r));
    }
    return true;
}

void Session::send(const std::string &text)
{
    const ssize_t n = ::write(in_fd_, text.data(), text.size());
    (void)n;
}

RunResult Session::finish(int timeout_seconds)
{
    if (pid_ < 0)
        return {};
    if (in_fd_ >= 0)
        close(in_fd_);
    RunResult r = collect(pid_, -1, out_fd_, err_fd_, "", timeout_seconds, out_, err_);
    pid_ = -1;
    in_fd_ = out_fd_ = err_fd_ = -1;
    check_sanitizers(r);
    return r;
}

namespace {

const DeviceRoot &menu_root()
{
    static const DeviceRoot root;
    return root;
}

}  // namespace

const std::string &main_menu()
{
    static const std::string text = menu_root().run("99\n").out;
    return text;
}

const std::string &menu_text(const std::string &path)
{
    static std::map<std::string, std::string> texts;
    if (const auto found = texts.find(path); found != texts.end())
        return found->second;
    // Entered and left at once: the level above, this menu, the level above.
    const size_t cut = path.rfind('\n');
    const std::string &above = cut == std::string::npos ? main_menu() : menu_text(path.substr(0, cut));
    const std::string out = menu_root().run(path + "\n99\n99\n99\n99\n").out;
    const size_t start = out.find(above) + above.size();
    return texts[path] = out.substr(start, out.find(above, start) - start);
}

MenuRun in_menu(const DeviceRoot &root, const std::string &path, const std::vector<std::string> &actions,
                const RunOptions &options)
{
    std::string input = path + "\n";
    for (const std::string &action : actions)
        input += action;
    MenuRun run;
    run.result = root.run(input + "99\n99\n99\n99\n", options);
    const std::string &menu = menu_text(path);
    std::vector<std::string> parts = split(run.result.out, menu);
    // Before the first showing: the levels above; after the last: leaving.
    if (parts.size() >= 2)
        run.actions.assign(parts.begin() + 1, parts.end() - 1);
    EXPECT_EQ(run.actions.size(), actions.size()) << "output:\n" << run.result.out;
    return run;
}

std::vector<std::string> split(const std::string &text, const std::string &separator)
{
    std::vector<std::string> parts;
    size_t start = 0;
    for (size_t at; !separator.empty() && (at = text.find(separator, start)) != std::string::npos;
         start = at + separator.size())
        parts.push_back(text.substr(start, at - start));
    parts.push_back(text.substr(start));
    return parts;
}

std::vector<std::string> lines(const std::string &text)
{
    std::vector<std::string> out;
    std::istringstream in(text);
    for (std::string line; std::getline(in, line);)
        out.push_back(line);
    return out;
}

EmulatorDir::EmulatorDir()
{
    static int counter = 0;
    dir_ = scratch_dir() + "/emulator-" + std::to_string(++counter);
    g_mkdir_with_parents(dir_.c_str(), 0755);
    setenv("TV_EMULATOR_DIR", dir_.c_str(), 1);
}

EmulatorDir::~EmulatorDir()
{
    unsetenv("TV_EMULATOR_DIR");
    remove_tree(dir_);
}

void EmulatorDir::write_state(const std::string &ini) const
{
    std::ofstream(dir_ + "/state.ini") << ini;
}

std::string EmulatorDir::calls_log() const
{
    return read_file(dir_ + "/calls.log");
}

std::string diff(const std::string &expected, const std::string &actual)
{
    const std::vector<std::string> e = lines(expected), a = lines(actual);
    for (size_t i = 0; i < std::max(e.size(), a.size()); ++i) {
        const std::string le = i < e.size() ? "\"" + e[i] + "\"" : "<end>";
        const std::string la = i < a.size() ? "\"" + a[i] + "\"" : "<end>";
        if (le != la)
            return "first difference at line " + std::to_string(i + 1) + ":\n  expected: " + le + "\n  actual:   " + la;
    }
    return "";
}

}  // namespace harness
