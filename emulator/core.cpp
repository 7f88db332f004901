#include "tvemul.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <charconv>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <map>
#include <mutex>

namespace tvemul {

namespace {

const char kDefaultStateDir[] = "/var/lib/tv-emulator";

void make_dirs(const std::string &path)
{
    g_mkdir_with_parents(path.c_str(), 0755);
}

std::mutex tags_mutex;
std::map<int, std::string> &shown_tags()
{
    static std::map<int, std::string> tags;
    return tags;
}

void append_line(const std::string &line)
{
    const std::string path = state_file("calls.log");
    int fd = open(path.c_str(), O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, 0644);
    if (fd < 0)
        return;
    // One write per line, so that lines of concurrent callers never mix.
    const std::string out = line + "\n";
    ssize_t n = write(fd, out.data(), out.size());
    (void)n;
    close(fd);
}

}  // namespace

std::string state_dir()
{
    const char *env = getenv("TV_EMULATOR_DIR");
    std::string dir = (env && *env) ? env : kDefaultStateDir;
    make_dirs(dir);
    return dir;
}

std::string state_file(const char *name)
{
    return state_dir() + "/" + name;
}

KeyFile load_state()
{
    KeyFile kf(g_key_file_new());
    const std::string path = state_file("state.ini");
    g_key_file_load_from_file(kf.get(), path.c_str(), G_KEY_FILE_KEEP_COMMENTS, nullptr);
    return kf;
}

bool has_group(GKeyFile *kf, const char *group)
{
    return g_key_file_has_group(kf, group);
}

long long get_int(GKeyFile *kf, const char *group, const char *key, long long def)
{
    gchar *value = g_key_file_get_value(kf, group, key, nullptr);
    if (!value)
        return def;
    // Ids and result codes are often written in hex (0x1234, 0xC0000002);
    // a leading zero alone still means decimal.
    const char *digits = value + strspn(value, " \t");
    digits += (*digits == '-' || *digits == '+');
    const bool hex = digits[0] == '0' && (digits[1] == 'x' || digits[1] == 'X');
    char *end = nullptr;
    errno = 0;
    long long result = strtoll(value, &end, hex ? 16 : 10);
    if (end == value || errno != 0)
        result = def;
    g_free(value);
    return result;
}

bool get_bool(GKeyFile *kf, const char *group, const char *key, bool def)
{
    gchar *value = g_key_file_get_value(kf, group, key, nullptr);
    if (!value)
        return def;
    g_strstrip(value);
    bool result = def;
    if (!strcmp(value, "true") || !strcmp(value, "1"))
        result = true;
    else if (!strcmp(value, "false") || !strcmp(value, "0"))
        result = false;
    g_free(value);
    return result;
}

std::string get_str(GKeyFile *kf, const char *group, const char *key, const char *def)
{
    gchar *value = g_key_file_get_value(kf, group, key, nullptr);
    if (!value)
        return def ? def : "";
    std::string result = value;
    g_free(value);
    return result;
}

StateUpdate::StateUpdate()
{
    const std::string lock_path = state_file("state.lock");
    lock_fd_ = open(lock_path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0644);
    if (lock_fd_ >= 0)
        flock(lock_fd_, LOCK_EX);
    kf_ = load_state();
}

StateUpdate::~StateUpdate()
{
    if (lock_fd_ >= 0)
        close(lock_fd_);
}

bool StateUpdate::commit()
{
    const std::string path = state_file("state.ini");
    // g_key_file_save_to_file writes a temporary file and renames it.
    return g_key_file_save_to_file(kf_.get(), path.c_str(), nullptr);
}

bool set_int(const char *group, const char *key, long long value)
{
    StateUpdate update;
    g_key_file_set_int64(update.get(), group, key, value);
    return update.commit();
}

bool set_str(const char *group, const char *key, const char *value)
{
    StateUpdate update;
    g_key_file_set_value(update.get(), group, key, value);
    return update.commit();
}

void Args::put_num(long long value)
{
    text_ += ' ';
    text_ += std::to_string(value);
}

void Args::put_real(double value)
{
    char buf[32];
    const std::to_chars_result r = std::to_chars(buf, buf + sizeof buf, value);
    text_ += ' ';
    text_.append(buf, r.ptr);
}

void Args::put_text(const char *value)
{
    if (!value) {
        text_ += " null";
        return;
    }
    text_ += " \"";
    text_ += value;
    text_ += '"';
}

void Args::put_ptr(bool present)
{
    text_ += present ? " ptr" : " null";
}

bool Call::failing(long long *result) const
{
    return tvemul::failing(function_, result);
}

void Call::record() const
{
    append_line(function_ + args_.text());
}

void Call::record_handle(long long handle) const
{
    append_line(function_ + args_.text() + " = " + std::to_string(handle));
}

bool failing(const char *function, long long *result)
{
    KeyFile kf = load_state();
    if (!g_key_file_has_key(kf.get(), "fail", function, nullptr))
        return false;
    *result = get_int(kf.get(), "fail", function, -1);
    return true;
}

void log(const char *tag, const char *format, ...)
{
    bool shown = false;
    {
        std::lock_guard<std::mutex> lock(tags_mutex);
        for (const auto &entry : shown_tags()) {
            if (entry.second == tag) {
                shown = true;
                break;
            }
        }
    }
    if (!shown)
        return;
    va_list ap;
    va_start(ap, format);
    gchar *text = g_strdup_vprintf(format, ap);
    va_end(ap);
    fprintf(stderr, "[%s] %s\n", tag, text);
    g_free(text);
}

void show_tag(int handle, const char *tag)
{
    std::lock_guard<std::mutex> lock(tags_mutex);
    shown_tags()[handle] = tag ? tag : "";
}

void hide_tag(int handle)
{
    std::lock_guard<std::mutex> lock(tags_mutex);
    shown_tags().erase(handle);
}

bool read_attr(const std::string &path, std::string *value)
{
    std::ifstream in(path);
    if (!in || !std::getline(in, *value))
        return false;
    while (!value->empty() && isspace(static_cast<unsigned char>(value->back())))
        value->pop_back();
    size_t start = value->find_first_not_of(' ');
    value->erase(0, start == std::string::npos ? value->size() : start);
    return true;
}

bool read_number(const std::string &path, int base, long long *value)
{
    std::string text;
    if (!read_attr(path, &text) || text.empty())
        return false;
    char *end = nullptr;
    errno = 0;
    long long n = strtoll(text.c_str(), &end, base);
    if (*end != '\0' || errno != 0)
        return false;
    *value = n;
    return true;
}

std::vector<std::string> sorted_entries(const std::string &dir)
{
    std::vector<std::string> names;
    DIR *d = opendir(dir.c_str());
    if (!d)
        return names;
    while (dirent *e = readdir(d)) {
        if (e->d_name[0] != '.')
            names.emplace_back(e->d_name);
    }
    closedir(d);
    std::sort(names.begin(), names.end());
    return names;
}

}  // namespace tvemul
