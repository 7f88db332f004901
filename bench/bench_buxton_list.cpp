// Key listing of large buxton databases: time per key and peak memory.
//
//   scripts/devroot run build/devroot -- build/bench/bench_buxton_list [KEYS...]
//
// Runs in a device root (the tool acts only where /etc/debug exists). For
// each size (default 10000 and 100000) it writes a database of int32 keys
// with platform-like names to /tmp, then opens and lists it with the
// plug-in's own functions in a child process, output to /dev/null. A listing
// that is linear shows the same time per key at every size.
#include <sqlite3.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <glib.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "tavrin_debugmenu.h"

// The plug-in pauses after every open; nothing here needs the pause.
extern "C" unsigned int sleep(unsigned int)
{
    return 0;
}

namespace {

bool make_db(const std::string &path, long keys, size_t *name_bytes)
{
    unlink(path.c_str());
    sqlite3 *db = nullptr;
    if (sqlite3_open(path.c_str(), &db) != SQLITE_OK)
        return false;
    sqlite3_exec(db, "create table buxton (key text, data text, PRIMARY KEY(key)); begin;", nullptr, nullptr,
                 nullptr);
    sqlite3_stmt *stmt = nullptr;
    sqlite3_prepare_v2(db, "insert into buxton(key, data) values(?,?)", -1, &stmt, nullptr);
    *name_bytes = 0;
    for (long i = 0; i < keys; ++i) {
        buxton_value v{};
        v.type = BUXTON_TYPE_INT32;
        v.value.i = static_cast<int32_t>(i);
        uint8_t *data = nullptr;
        int len = 0;
        if (serialz_data("http://tizen.org/privilege/internal/default/public",
                         "http://tizen.org/privilege/internal/default/platform", &v, &data, &len) != 0)
            return false;
        gchar *text = g_base64_encode(data, static_cast<gsize>(len));
        std::string key = "db/private/bench-service/setting_" + std::to_string(i);
        *name_bytes += key.size() + 1;
        sqlite3_bind_text(stmt, 1, key.c_str(), -1, SQLITE_TRANSIENT);
        sqlite3_bind_text(stmt, 2, text, -1, SQLITE_TRANSIENT);
        sqlite3_step(stmt);
        sqlite3_reset(stmt);
        g_free(text);
        free(data);
    }
    sqlite3_finalize(stmt);
    bool ok = sqlite3_exec(db, "commit;", nullptr, nullptr, nullptr) == SQLITE_OK;
    sqlite3_close(db);
    return ok;
}

long max_rss_kib()
{
    rusage ru{};
    getrusage(RUSAGE_SELF, &ru);
    return ru.ru_maxrss;
}

}  // namespace

int main(int argc, char **argv)
{
    if (access("/etc/debug", F_OK) != 0) {
        fprintf(stderr, "bench_buxton_list: run me in a device root (no /etc/debug here)\n");
        return 1;
    }
    std::vector<long> sizes;
    for (int i = 1; i < argc; ++i)
        sizes.push_back(atol(argv[i]));
    if (sizes.empty())
        sizes = {10000, 100000};

    printf("%10s %10s %10s %14s %14s\n", "keys", "seconds", "us/key", "peak-rss-KiB", "names-KiB");
    for (long keys : sizes) {
        const std::string path = "/tmp/bench-buxton-" + std::to_string(keys) + ".db";
        size_t name_bytes = 0;
        if (!make_db(path, keys, &name_bytes)) {
            fprintf(stderr, "cannot write %s\n", path.c_str());
            return 1;
        }
        int pipefd[2];
        if (pipe(pipefd) != 0)
            return 1;
        fflush(stdout);
        pid_t pid = fork();
        if (pid == 0) {
            const std::string input = path + "\n";
            stdin = fmemopen(const_cast<char *>(input.data()), input.size(), "r");
            if (!freopen("/dev/null", "w", stdout))
                _exit(1);
            buxton_open_db();
            const long before = max_rss_kib();
            auto start = std::chrono::steady_clock::now();
            buxton_print_keys();
            double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
            long grown = max_rss_kib() - before;
            char line[128];
            int n = snprintf(line, sizeof line, "%f %ld\n", seconds, grown);
            if (write(pipefd[1], line, static_cast<size_t>(n)) != n)
                _exit(1);
            _exit(0);
        }
        close(pipefd[1]);
        char line[128] = {};
        ssize_t n = read(pipefd[0], line, sizeof line - 1);
        close(pipefd[0]);
        int status = 0;
        waitpid(pid, &status, 0);
        double seconds = 0;
        long grown = 0;
        if (n <= 0 || sscanf(line, "%lf %ld", &seconds, &grown) != 2) {
            fprintf(stderr, "listing %ld keys failed\n", keys);
            return 1;
        }
        printf("%10ld %10.3f %10.2f %14ld %14zu\n", keys, seconds, seconds * 1e6 / static_cast<double>(keys), grown,
               name_bytes / 1024);
        unlink(path.c_str());
    }
    return 0;
}
