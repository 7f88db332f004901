// The real debugmenu fed generated console input: menu numbers, words,
// words past every width limit, negative and huge numbers, binary bytes,
// empty lines, and input that ends at any prompt. Every run must end by
// itself with status 0 within seconds, without a sanitizer report, and print
// only text (or bytes that were typed). Streams are made from a fixed seed;
// a failing one is printed whole.
#include <glib.h>
#include <gtest/gtest.h>

#include <cstdio>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "harness.h"

namespace {

using harness::DeviceRoot;

constexpr unsigned kSeed = 20240611;

const std::vector<std::string> kNumbers = {"0",          "-1",          "-2147483648", "2147483647",
                                           "2147483648", "-2147483649", "4294967296",  "99999999999999999999",
                                           "-0",         "+7",          "007",         "0x10",
                                           "1e9",        "3.5",         "98",          "100"};

const std::vector<std::string> kWords = {
    "exit", "EXIT", "exitx", "db/setting/lang", "db/sysman/el_sensing_time", "memory/rsc_monitor/state",
    "/var/lib/buxton2_base/system.db", "/etc/buxton2/memory.db", "/var/lib/buxton2/tmp.db", "/opt/usr/none.db",
    "/etc/storaged/storage.conf", "/", "system", "memory", "factory", "service", "12:34:56", "99:59:59", "1:2:3:",
    "::::", "true", "FALSE", "feature.ambient_mode", "product.screen_size", "%s%s%s%n%x", "MJPEG", "300abc"};

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
        case 0: case 1: case 2:
            s += std::to_string(1 + pick(20));  // a main menu entry
            break;
        case 3: case 4:
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

// Input that ends at the first prompt of every entry of every menu, as the
// menus list them, and of the third-level menus.
std::vector<std::string> every_entry()
{
    std::vector<std::string> streams = {"17\n3\n1\n", "17\n3\n4\n2\n", "18\n3\n1\n", "18\n3\n2\n",
                                        "1\n5\n1\n", "1\n5\n6\n"};
    for (int m = 1; m <= 20; ++m) {
        for (const std::string &line : harness::lines(harness::menu_text(std::to_string(m)))) {
            int entry = 0;
            if (sscanf(line.c_str(), "%d : ", &entry) == 1 && entry != 99)
                streams.push_back(std::to_string(m) + "\n" + std::to_string(entry) + "\n");
        }
    }
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

// Runs STREAMS, a fresh device root for every batch of them, until three
// have failed. Dummy files fill what they are given: a file system of their
// own.
void run_streams(const std::vector<std::string> &streams)
{
    harness::RunOptions o;
    o.devroot_args = {"--tmpfs", "/opt/storaged", "8m"};
    o.timeout_seconds = harness::emulated() ? 30 : 10;
    std::unique_ptr<DeviceRoot> root;
    int failures = 0;
    for (size_t i = 0; i < streams.size() && failures < 3; ++i) {
        if (i % 25 == 0) {
            root = std::make_unique<DeviceRoot>();
            root->write("/opt/storaged/.keep", "");
        }
        const harness::RunResult r = root->run(streams[i], o);
        const std::string foreign = foreign_bytes(r.out + r.err, streams[i]);
        if (r.status != 0 || !foreign.empty()) {
            gchar *input = g_strescape(streams[i].c_str(), nullptr);
            ADD_FAILURE() << "status " << r.status << " " << foreign << " for input \"" << input << "\"\nlast output:\n"
                          << r.out.substr(r.out.size() > 2000 ? r.out.size() - 2000 : 0) << "\nerrors:\n"
                          << r.err.substr(0, 4000);
            g_free(input);
            ++failures;
        }
    }
}

TEST(ConsoleFuzz, EndOfInputAtEveryFirstPrompt)
{
    std::vector<std::string> streams = every_entry();
    ASSERT_GT(streams.size(), 150u);
    // Every fourth under an emulated processor, where every run is slow.
    if (harness::emulated()) {
        for (size_t i = 0; i * 4 < streams.size(); ++i)
            streams[i] = streams[i * 4];
        streams.resize((streams.size() + 3) / 4);
    }
    run_streams(streams);
}

TEST(ConsoleFuzz, GeneratedStreams)
{
    std::vector<std::string> streams;
    for (unsigned i = 0; i < (harness::emulated() ? 30u : 150u); ++i)
        streams.push_back(generate(kSeed + i));
    run_streams(streams);
}

}  // namespace
