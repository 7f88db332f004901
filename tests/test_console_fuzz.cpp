// The real debugmenu fed generated console input: menu numbers, words,
// words past every width limit, negative and huge numbers, binary bytes,
// empty lines, and input that ends at any prompt. Every run must end by
// itself with status 0 within seconds, without a sanitizer report, and print
// only text (or bytes that were typed). Streams are made from a fixed seed;
// a failing stream is printed whole and becomes a regression case below.
#include <sys/stat.h>

#include <glib.h>
#include <gtest/gtest.h>

#include <chrono>
#include <memory>
#include <cstdio>
#include <random>
#include <sstream>
#include <string>
#include <vector>

#include "buxton_helpers.h"
#include "harness.h"

namespace {

using harness::DeviceRoot;
using harness::RunOptions;
using harness::RunResult;

constexpr unsigned kSeed = 20240611;

// Streams that once failed.
const std::vector<std::string> kRegressions = {};

const std::vector<std::string> kNumbers = {"0",          "-1",          "-2147483648", "2147483647",
                                           "2147483648", "-2147483649", "4294967296",  "99999999999999999999",
                                           "-0",         "+7",          "007",         "0x10",
                                           "1e9",        "3.5",         "98",          "100"};

const std::vector<std::string> kWords = {"exit",
                                         "EXIT",
                                         "exitx",
                                         "db/setting/lang",
                                         "db/sysman/el_sensing_time",
                                         "memory/rsc_monitor/state",
                                         "/var/lib/buxton2_base/system.db",
                                         "/etc/buxton2/memory.db",
                                         "/var/lib/buxton2/tmp.db",
                                         "/opt/usr/none.db",
                                         "/etc/storaged/storage.conf",
                                         "/",
                                         "system",
                                         "memory",
                                         "factory",
                                         "service",
                                         "12:34:56",
                                         "99:59:59",
                                         "1:2:3:",
                                         "::::",
                                         "true",
                                         "FALSE",
                                         "feature.ambient_mode",
                                         "product.screen_size",
                                         "%s%s%s%n%x",
                                         "MJPEG",
                                         "300abc"};

// Lengths around every width a prompt reads.
const std::vector<size_t> kLongLengths = {10, 11, 31, 32, 99, 100, 127, 128, 511, 512, 1023, 1024, 4095, 4096, 6000};

std::string generate(unsigned seed)
{
    std::mt19937 gen(seed);
    auto pick = [&](size_t n) { return static_cast<size_t>(std::uniform_int_distribution<size_t>(0, n - 1)(gen)); };
    std::string s;
    const size_t tokens = 2 + pick(40);
    for (size_t t = 0; t < tokens; ++t) {
        switch (pick(12)) {
        case 0:
        case 1:
        case 2:
            s += std::to_string(1 + pick(20));  // a main menu entry
            break;
        case 3:
        case 4:
            s += std::to_string(1 + pick(40));  // a sub-menu entry
            break;
        case 5:
            s += "99";
            break;
        case 6:
            s += kNumbers[pick(kNumbers.size())];
            break;
        case 7:
            s += kWords[pick(kWords.size())];
            break;
        case 8: {
            const size_t len = kLongLengths[pick(kLongLengths.size())];
            for (size_t i = 0; i < len; ++i)
                s += static_cast<char>('a' + pick(26));
            break;
        }
        case 9:
            for (size_t i = 1 + pick(16); i > 0; --i)
                s += static_cast<char>(pick(256));
            break;
        case 10:
            break;  // an empty line
        default: {
            // One pick after the other: operands of + have no order.
            const size_t first = pick(30);
            s += std::to_string(first) + " " + kNumbers[pick(kNumbers.size())];
            break;
        }
        }
        const size_t sep = pick(20);
        s += sep < 15 ? "\n" : sep < 18 ? " " : sep < 19 ? "\t" : "\r\n";
    }
    // Input that stops in the middle of anything.
    if (pick(2) == 0)
        s.resize(pick(s.size() + 1));
    return s;
}

// Input that ends at the first prompt of every entry of every sub-menu, as
// the menus list them, and of the third-level menus.
std::vector<std::string> every_entry(const DeviceRoot &root)
{
    std::string input;
    for (int m = 1; m <= 20; ++m)
        input += std::to_string(m) + "\n99\n";
    RunResult r = root.run(input + "99\n");
    std::vector<std::string> streams;
    std::istringstream out(r.out);
    // The K-th main menu is followed by sub-menu K.
    int menu = 0;
    bool in_main = false;
    for (std::string line; std::getline(out, line);) {
        if (line == " [ TAVRIN Debug Menu ]") {
            ++menu;
            in_main = true;
        } else if (line.rfind(harness::kPrompt, 0) == 0) {
            in_main = false;
        } else if (int entry = 0; !in_main && menu <= 20 && sscanf(line.c_str(), "%d : ", &entry) == 1 &&
                                  entry != 99) {
            streams.push_back(std::to_string(menu) + "\n" + std::to_string(entry) + "\n");
        }
    }
    for (const char *s : {"17\n3\n1\n", "17\n3\n4\n2\n", "18\n3\n1\n", "18\n3\n2\n", "1\n5\n1\n", "1\n5\n6\n"})
        streams.push_back(s);
    return streams;
}

// A byte that is neither text nor typed in shows memory that was never
// meant for the console.
std::string foreign_bytes(const std::string &out, const std::string &input)
{
    bool allowed[256] = {};
    for (int c = 0x20; c < 0x7f; ++c)
        allowed[c] = true;
    allowed[static_cast<unsigned char>('\n')] = allowed[static_cast<unsigned char>('\t')] = true;
    for (char c : input)
        allowed[static_cast<unsigned char>(c)] = true;
    for (size_t i = 0; i < out.size(); ++i) {
        const auto c = static_cast<unsigned char>(out[i]);
        if (!allowed[c]) {
            char what[64];
            snprintf(what, sizeof what, "byte 0x%02x at offset %zu", c, i);
            return what;
        }
    }
    return "";
}

std::string printable(const std::string &input)
{
    gchar *escaped = g_strescape(input.c_str(), nullptr);
    std::string s = escaped;
    g_free(escaped);
    if (input.find('\0') != std::string::npos)
        s += " (cut at a NUL byte; " + std::to_string(input.size()) + " bytes in all)";
    return s;
}

// A device root whose dummy-file directory can take a file system of its own.
struct Root : DeviceRoot {
    Root() { g_mkdir_with_parents(host_path("/opt/storaged").c_str(), 0755); }
};

// Runs share a device root in batches; a failure is tried again alone.
constexpr int kBatch = 25;

struct Tally {
    int runs = 0;
    size_t bytes = 0;
    double slowest = 0;
};

// Runs INPUT in ROOT. False when the run failed; the failure names the
// stream, its input, and whether it fails again in a fresh device root.
bool run_stream(const DeviceRoot &root, const std::string &label, const std::string &input, Tally *tally,
                bool fresh = false)
{
    SCOPED_TRACE(label + (fresh ? ", again in a fresh device root" : "") + ", input \"" + printable(input) + "\"");
    const auto *result = ::testing::UnitTest::GetInstance()->current_test_info()->result();
    const int failed_before = result->total_part_count();
    RunOptions o = bx::options();
    // Dummy files fill what they are given: a small file system of their own.
    o.devroot_args = {"--tmpfs", "/opt/storaged", "8m"};
    o.timeout_seconds = harness::emulated() ? 30 : 10;
    const auto start = std::chrono::steady_clock::now();
    RunResult r = root.run(input, o);
    const double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    ++tally->runs;
    tally->bytes += input.size();
    if (seconds > tally->slowest)
        tally->slowest = seconds;

    const std::string out_foreign = foreign_bytes(r.out, input), err_foreign = foreign_bytes(r.err, input);
    if (r.status != 0 || !out_foreign.empty() || !err_foreign.empty()) {
        ADD_FAILURE() << "status " << r.status << (out_foreign.empty() ? "" : ", standard output has " + out_foreign)
                      << (err_foreign.empty() ? "" : ", standard error has " + err_foreign) << "\nlast output:\n"
                      << r.out.substr(r.out.size() > 2000 ? r.out.size() - 2000 : 0) << "\nerrors:\n"
                      << r.err.substr(0, 4000);
    }
    const bool ok = result->total_part_count() == failed_before;
    if (!ok && !fresh) {
        Root again;
        run_stream(again, label, input, tally, true);
    }
    return ok;
}

void report(const char *what, const Tally &t)
{
    printf("[ console  ] %s: %d runs, %zu input bytes, slowest run %.2f s\n", what, t.runs, t.bytes, t.slowest);
}

TEST(ConsoleFuzz, FormerFailures)
{
    Tally tally;
    for (size_t i = 0; i < kRegressions.size(); ++i) {
        Root root;
        run_stream(root, "regression " + std::to_string(i), kRegressions[i], &tally);
    }
    report("regressions", tally);
}

TEST(ConsoleFuzz, EndOfInputAtEveryFirstPrompt)
{
    std::vector<std::string> streams;
    {
        Root root;
        streams = every_entry(root);
    }
    ASSERT_GT(streams.size(), 150u);
    // Every fourth under an emulated processor, where every run is slow.
    const size_t stride = harness::emulated() ? 4 : 1;
    Tally tally;
    int failures = 0;
    std::unique_ptr<Root> root;
    for (size_t i = 0; i < streams.size() && failures < 3; i += stride) {
        if (tally.runs % kBatch == 0)
            root = std::make_unique<Root>();
        if (!run_stream(*root, "first prompt", streams[i], &tally))
            ++failures;
    }
    report("end of input at a prompt", tally);
}

TEST(ConsoleFuzz, GeneratedStreams)
{
    const unsigned count = harness::emulated() ? 30 : 150;
    Tally tally;
    int failures = 0;
    std::unique_ptr<Root> root;
    for (unsigned i = 0; i < count && failures < 3; ++i) {
        if (tally.runs % kBatch == 0)
            root = std::make_unique<Root>();
        if (!run_stream(*root, "stream " + std::to_string(i) + " (seed " + std::to_string(kSeed + i) + ")",
                        generate(kSeed + i), &tally))
            ++failures;
    }
    report("generated streams", tally);
}

}  // namespace
