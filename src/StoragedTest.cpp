// Storage daemon tool: free-space mode, notification interval and time,
// internal storage figures, file list and dummy files.
#include <fcntl.h>
#include <fts.h>
#include <ftw.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <cerrno>
#include <cstdarg>
#include <climits>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <memory>
#include <string>
#include <string_view>

#include "common.h"
#include "debugmenu_host.h"
#include "menu_table.h"
#include "storage_internal.h"
#include "tavrin_debugmenu.h"
#include "tzplatform_config.h"
#include "usb_device.h"

namespace {

const char kConfigFile[] = "/etc/storaged/storage.conf";
const char kRelativeConfigFile[] = "/etc/storaged/storage_rel.conf";
const char kAbsoluteConfigFile[] = "/etc/storaged/storage_abs.conf";
const char kTempConfigFile[] = "/etc/storaged/tmp";
const char kNotifyFile[] = "/mnt/systemrw/storaged_notify";
const char kIntervalKey[] = "NOTIFY_INTERVAL";
const char kInternalStorage[] = "/opt";
const char kDummyRoot[] = "/opt/storaged";
const char kMediaDir[] = "/opt/media";

constexpr long kMinInterval = 60;  // exclusive
constexpr long kMaxInterval = 86400;
constexpr std::size_t kDummySize = 1024 * 1024;

std::string resolve_cp_path()
{
    const char *path = tzplatform_mkpath(TZ_SYS_BIN, "/cp");
    return path ? path : "";
}

// The copy program, resolved once when the library is loaded; the only
// thing that runs at load time.
const std::string cp_path = resolve_cp_path();

// Content of every dummy file, refilled by every creation.
unsigned char dummy_data[kDummySize];

struct FileCloser {
    void operator()(FILE *f) const { fclose(f); }
};
using File = std::unique_ptr<FILE, FileCloser>;

// What strtol gives on a 32-bit target, where long is int.
int leading_number(const char *word)
{
    long value = strtol(word, nullptr, 10);
    if (value > INT_MAX)
        return INT_MAX;
    if (value < INT_MIN)
        return INT_MIN;
    return static_cast<int>(value);
}

// Formats into a fixed buffer, cutting what does not fit.
template <std::size_t N>
__attribute__((format(printf, 2, 3))) void format_into(char (&buffer)[N], const char *format, ...)
{
    va_list ap;
    va_start(ap, format);
    vsnprintf(buffer, N, format, ap);
    va_end(ap);
}

bool is_blank(char c)
{
    return c == ' ' || c == '\t';
}

void strip_trailing_blanks(char *text)
{
    std::size_t len = strlen(text);
    while (len > 0 && is_blank(text[len - 1]))
        text[--len] = '\0';
}

int change_free_space_mode(const char *prepared)
{
    if (remove(kConfigFile) != 0) {
        printf("failed to remove %s(%d)\n", kConfigFile, errno);
        return -1;
    }
    char command[256];
    format_into(command, "%s %s %s", cp_path.c_str(), prepared, kConfigFile);
    puts(command);
    // The copy program writes to the same console; keep the order.
    fflush(stdout);
    int result = 0;
    if (system(command) < 0) {
        printf("command run failed: %s\n", command);
        result = -1;
    }
    sync();
    return result;
}

struct tm local_now()
{
    time_t now = time(nullptr);
    struct tm tm;
    if (!localtime_r(&now, &tm))
        memset(&tm, 0, sizeof tm);
    return tm;
}

}  // namespace

int change_to_absolute_free_space_mode(void)
{
    return change_free_space_mode(kAbsoluteConfigFile);
}

int change_to_relative_free_space_mode(void)
{
    return change_free_space_mode(kRelativeConfigFile);
}

int write_to_temp_file(const char *interval)
{
    File config(fopen(kConfigFile, "r"));
    if (!config) {
        menu_print(1, "Error in opening config file \n");
        return -1;
    }
    File temp(fopen(kTempConfigFile, "w"));
    if (!temp) {
        menu_print(1, "Error in creating new file (%d)\n", errno);
        return -1;
    }

    // The rewrite is put together first, so that room for all of it can be
    // taken before the first byte is written. Results of the writes are not
    // examined, and the file is renamed into place whatever they were: on a
    // full file system it must fail here, as a file that cannot be made,
    // rather than become a cut-off configuration.
    std::string rewrite;
    // A line longer than the buffer comes in pieces; each is a line here.
    char line[100];
    while (fgets(line, sizeof line, config.get())) {
        char *text = line + strspn(line, " \t");
        strip_trailing_blanks(text);
        if (text[0] == '[' || text[0] == '#') {
            rewrite += text;
            continue;
        }
        char *equals = strchr(text, '=');
        if (!equals)
            continue;
        const std::size_t key_len = static_cast<std::size_t>(equals - text);
        if (key_len == sizeof kIntervalKey - 1 && strncmp(text, kIntervalKey, key_len) == 0) {
            rewrite += kIntervalKey;
            rewrite += '=';
            rewrite += interval;
            rewrite += '\n';
        } else {
            rewrite += text;
        }
    }
    if (!rewrite.empty()) {
        const int err = posix_fallocate(fileno(temp.get()), 0, static_cast<off_t>(rewrite.size()));
        if (err != 0) {
            menu_print(1, "Error in creating new file (%d)\n", err);
            temp.reset();
            remove(kTempConfigFile);
            return -1;
        }
    }
    fwrite(rewrite.data(), 1, rewrite.size(), temp.get());
    fflush(temp.get());
    fsync(fileno(temp.get()));
    return 1;
}

int change_low_storage_notify_interval(void)
{
    for (;;) {
        menu_print(1, "Please enter interval time (in second) or 'exit'\n");
        char word[32];
        if (scanf("%31s", word) != 1 || is_exit(word))
            return 0;

        const int interval = leading_number(word);
        menu_print(1, "[input] notify interval time : %d sec \n", interval);
        if (interval <= kMinInterval || interval > kMaxInterval) {
            menu_print(1, "Time should be in range (60, 86400] sec\n");
            continue;
        }

        word[strspn(word, "1234567890")] = '\0';
        if (write_to_temp_file(word) <= 0)
            return -1;
        if (rename(kTempConfigFile, kConfigFile) != 0) {
            menu_print(1, "rename failed (%d)\n", errno);
            return -1;
        }
        return 0;
    }
}

int validate_input(char *text)
{
    if (!text)
        return -1;
    char *start = text + strspn(text, " \t");
    strip_trailing_blanks(start);
    const std::size_t len = strlen(start);
    if (len < 5 || len > 8 || strspn(start, "1234567890:") != len)
        return -1;

    int fields[3];
    int count = 0;
    char *save = nullptr;
    for (char *field = strtok_r(start, ":", &save); field; field = strtok_r(nullptr, ":", &save)) {
        const std::size_t field_len = strlen(field);
        if (field_len > 2 || count == 3)
            return -1;
        fields[count++] = static_cast<int>(strtol(field, nullptr, 10));
    }
    if (count != 3)
        return -1;
    const int hours = fields[0], minutes = fields[1], seconds = fields[2];
    if (minutes > 59 || seconds > 59)
        return -1;

    snprintf(text, 100, "%d Hr, %d Min, %d Sec", hours, minutes, seconds);
    return hours * 3600 + minutes * 60 + seconds;
}

int change_last_notify_time(void)
{
    for (;;) {
        menu_print(1, "Please enter last notify time before 24 Hr [24 Hour format] (HH:MM:SS) or exit\n");
        char answer[100];
        if (scanf("%99s", answer) != 1 || is_exit(answer))
            return 0;

        const int duration = validate_input(answer);
        if (duration == -1) {
            menu_print(1, "Invalid Input, input example 21:03:34\n");
            continue;
        }
        menu_print(1, "[input] time : %s \n", answer);

        // The daemon keeps a 32-bit count of seconds.
        const int32_t notify_time = static_cast<int32_t>(time(nullptr)) - duration;
        if (notify_time < 0) {
            menu_print(1, "noity_time is negative (%d)\n", notify_time);
            continue;
        }

        FILE *file = fopen(kNotifyFile, "w");
        if (!file) {
            menu_print(1, "File(%s) open error(%d)\n", kNotifyFile, errno);
            continue;
        }
        // Unbuffered, so that an item the file system has no room for fails
        // in the write itself and is never reported as written.
        setvbuf(file, nullptr, _IONBF, 0);
        if (fwrite(&notify_time, sizeof notify_time, 1, file) != 1) {
            menu_print(1, "data not written to file\n");
            fclose(file);
            continue;
        }
        fsync(fileno(file));
        fclose(file);
        menu_print(1, "last popup time written successfully (%d sec)\n", notify_time);
        return 0;
    }
}

int cleanup_unnecessary_files(void)
{
    const int acquired = internal_storage_clean_up_unnecessary_files();
    menu_print(1, "acquired size = (%d)", acquired);
    return acquired < 0 ? -1 : 0;
}

bool directory_exists(const char *path)
{
    struct stat st;
    return access(path, F_OK) == 0 && stat(path, &st) == 0 && S_ISDIR(st.st_mode);
}

int create_dummy_file(void)
{
    for (std::size_t i = 0; i < kDummySize; ++i)
        dummy_data[i] = static_cast<unsigned char>(i);

    menu_print(1, "Please enter size of the file you want to create\n");
    char size[128];
    if (scanf("%127s", size) != 1)
        return 0;
    menu_print(1, "Start creating a dummy file : size (%s) MB\n", size);
    if (is_exit(size))
        return 0;

    if (!directory_exists(kDummyRoot) && mkdir(kDummyRoot, 0777) != 0) {
        menu_print(1, "failed to create %s (%d)\n", kDummyRoot, errno);
        return 0;
    }

    const struct tm tm = local_now();
    char name[128];
    format_into(name, "%04d_%02d_%02dT%02d%02d%02d", tm.tm_year + 1900, tm.tm_mon + 1, tm.tm_mday,
                tm.tm_hour, tm.tm_min, tm.tm_sec);
    char dir[128];
    format_into(dir, "%s/%s", kDummyRoot, name);
    // A second creation within the same second writes into the same directory.
    if (mkdir(dir, 0777) != 0)
        menu_print(1, "failed to create %s (%d)\n", dir, errno);

    const long count = strtol(size, nullptr, 10);
    char path[128];
    for (long i = 0; i < count; ++i) {
        format_into(path, "%s/%08ld", dir, i);
        const int fd = open(path, O_WRONLY | O_CREAT | O_CLOEXEC, 0664);
        if (fd < 0) {
            menu_print(1, "failed to open(%s)\n", path);
            break;
        }
        if (write(fd, dummy_data, sizeof dummy_data) < 0) {
            menu_print(1, "failed to write(%s) by (%d)\n", path, errno);
            close(fd);
            break;
        }
        close(fd);
    }
    return 0;
}

int unlink_cb(const char *path, const struct stat *, int, struct FTW *)
{
    const int result = remove(path);
    // The host's console may change errno; the error shown is the removal's.
    const int error = errno;
    menu_print(1, "remove : %s\n", path);
    if (result != 0) {
        errno = error;
        perror(path);
    }
    return result;
}

int remove_dummy_files(void)
{
    return nftw(kDummyRoot, unlink_cb, 64, FTW_DEPTH | FTW_PHYS);
}

int print_current_internal_storage_status(void)
{
    struct statvfs st;
    long double total, free_bytes;
    if (statvfs(kInternalStorage, &st) == 0)
        total = static_cast<long double>(st.f_blocks) * st.f_frsize;
    else
        total = -errno;
    // Free includes the blocks reserved for the privileged user.
    if (statvfs(kInternalStorage, &st) == 0)
        free_bytes = static_cast<long double>(st.f_bfree) * st.f_frsize;
    else
        free_bytes = -errno;
    const long double used = (total - free_bytes) / total * 100;

    static const char *const units[] = {"B", "KB", "MB", "GB"};
    long double shown = free_bytes;
    std::size_t unit = 0;
    while (unit + 1 < sizeof units / sizeof units[0] && shown > 10240) {
        shown *= 0.0009765625L;
        ++unit;
    }

    menu_print(1, "Total : \t%Lf\n", total);
    menu_print(1, "Free  : \t%Lf (%Lf %s)\n", free_bytes, shown, units[unit]);
    menu_print(1, "Used(%%) : \t%Lf\n", used);
    return 0;
}

char* get_mount_path(void)
{
    usb_device_list_h list = nullptr;
    if (usb_device_get_device_list(USB_CLASS_MASS_STORAGE, &list) != 0 || !list)
        return nullptr;
    char *copy = nullptr;
    usb_device_h device = nullptr;
    if (usb_device_list_get_first(list, &device) == 0 && device) {
        const char *mount = usb_device_get_mountpath(device);
        // An unmounted stick reports an empty path.
        if (mount && *mount)
            copy = strdup(mount);
    }
    usb_device_free_device_list(list);
    return copy;
}

int internal_storage_file_list(void)
{
    if (!tavrin::debug_or_perf_image_else_notice())
        return 0;

    char *mount = get_mount_path();
    if (!mount) {
        puts("get device path failed");
        return -1;
    }
    const struct tm tm = local_now();
    char name[4096];
    format_into(name, "internal_storage_file_list_%04d%02d%02d%02d%02d.txt", tm.tm_year + 1900,
                tm.tm_mon + 1, tm.tm_mday, tm.tm_hour, tm.tm_min);
    char output_path[4096];
    format_into(output_path, "%s/%s", mount, name);
    free(mount);

    File output(fopen(output_path, "w"));
    if (!output) {
        puts("output file open failed");
        return -1;
    }
    setvbuf(output.get(), nullptr, _IOFBF, 1 << 16);

    char root[] = "/opt";
    char *const roots[] = {root, nullptr};
    FTS *walk = fts_open(roots, FTS_PHYSICAL | FTS_NOCHDIR, nullptr);
    if (!walk) {
        puts("filesystem open failed");
        return -1;
    }
    puts("start scan files");

    while (FTSENT *entry = fts_read(walk)) {
        if (entry->fts_info != FTS_D)
            continue;
        const std::string_view dir(entry->fts_path, entry->fts_pathlen);
        // Removable media are not internal storage, at any depth; the walk
        // does not even go there.
        if (dir == kMediaDir) {
            fts_set(walk, entry, FTS_SKIP);
            continue;
        }
        // The walk reuses this list when it enters the directory, so each
        // directory is read once.
        for (FTSENT *child = fts_children(walk, 0); child; child = child->fts_link) {
            if (child->fts_info != FTS_F)
                continue;
            // Sizes are 32-bit on the target.
            fprintf(output.get(), "%.*s/%s, %ld bytes\n", static_cast<int>(dir.size()), dir.data(), child->fts_name,
                    static_cast<long>(static_cast<int32_t>(child->fts_statp->st_size)));
        }
    }
    fts_close(walk);
    output.reset();
    printf("written internal staorage list of files[%s]\n", output_path);
    return 0;
}

int dlog_menu_storaged(void)
{
    using namespace tavrin;
    static const MenuEntry entries[] = {
        action(1, "Create a dummy file", call<create_dummy_file>),
        action(2, "Remove dummy files", call<remove_dummy_files>),
        action(3, "Internal storage status", call<print_current_internal_storage_status>),
        action(4, "Change to absolute free space mode", call<change_to_absolute_free_space_mode>),
        action(5, "Change to relative free space mode", call<change_to_relative_free_space_mode>),
        action(6, "Internal storage file list", call<internal_storage_file_list>),
        action(7, "Change low storage notify interval", call<change_low_storage_notify_interval>),
        action(8, "Change last notify time", call<change_last_notify_time>),
        action(9, "CleanUp unnecessary files", call<cleanup_unnecessary_files>),
    };
    return run_menu(make_menu("storaged debug menu", entries));
}
