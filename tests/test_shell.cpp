// The menu shell through the real host: main menu, log-tag menus, handles.
#include <gtest/gtest.h>

#include <cstdio>
#include <memory>

#include "harness.h"
#include "tavrin_debugmenu.h"

using harness::DeviceRoot;
using harness::main_menu;
using harness::menu;

namespace {

const std::string kTryAgain = "try again!!\n";

struct SubMenu {
    int number;
    const char *title;
    std::vector<std::string> labels;
};

const std::vector<SubMenu> &log_tag_menus()
{
    static const std::vector<SubMenu> menus = {
        {1, "factory-service print",
         {"Start factory-api dlog", "Stop factory-api dlog", "Start factory-service dlog",
          "Stop factory-service dlog", "Test"}},
        {2, "kelo print", {"Start kelo dlog ", "Stop kelo dlog "}},
        {3, "x video print", {"Start x video dlog ", "Stop x video dlog "}},
        {4, "resource manager print",
         {"Start resource manager dlog ", "Stop resource manager dlog ", "Start rscmgr server dlog ",
          "Stop rscmgr server dlog ", "register consumer", "allocate resource", "deallocate resource",
          "unregister consumer", "Enable resource monitor", "Disable resource monitor",
          "Switch best quality zone"}},
        {5, "resource information print", {"Start resource information dlog ", "Stop resource information dlog "}},
        {6, "runtime-info print", {"Start runtime-info dlog ", "Stop runtime-info dlog "}},
        {7, "system-info print", {"Start system-info dlog ", "Stop system-info dlog ", "System-info Debug "}},
        {8, "system-settings print", {"Start system-settings dlog ", "Stop system-settings dlog "}},
        {9, "automation print",
         {"Start automation dlog ", "Stop automation dlog ", "Input the Packet Data(no extra message data) ",
          "Input the Packet Data(with extra message data) ", "IR Blaster test"}},
        {10, "factory-data-config print", {"Start factory-data-config dlog ", "Stop factory-data-config dlog "}},
        {17, "Capture debug menu", {"Start capture dlog", "Stop capture dlog", "Generate RAW(YUV) image"}},
        {18, "feature-config print", {"Start feature-config dlog ", "Stop feature-config dlog ", "feature-config Debug "}},
        {19, "libguv and libhoz-tv print", {"Start GUV dlog ", "Stop  GUV dlog ", "Start HOZ dlog ", "Stop  HOZ dlog "}},
    };
    return menus;
}

class Shell : public ::testing::Test {
protected:
    static std::unique_ptr<DeviceRoot> root;
    static void SetUpTestSuite() { root = std::make_unique<DeviceRoot>(); }
    static void TearDownTestSuite() { root.reset(); }
    void SetUp() override { root->clear_calls_log(); }

    // Runs and checks the whole standard output.
    void expect_transcript(const std::string &input, const std::string &expected)
    {
        harness::RunResult r = root->run(input);
        EXPECT_EQ(r.status, 0);
        EXPECT_EQ(r.out, expected) << harness::diff(expected, r.out);
    }
};

std::unique_ptr<DeviceRoot> Shell::root;

TEST_F(Shell, ExitAtOncePrintsTheMainMenuOnce)
{
    expect_transcript("99\n", main_menu());
    expect_transcript("", main_menu());  // end of input counts as 99
}

TEST_F(Shell, UnknownMainMenuChoicesAskAgain)
{
    for (const char *choice : {"0", "-1", "21", "98", "100", "abc", "+", "-x", "4294967395"}) {
        SCOPED_TRACE(choice);
        expect_transcript(std::string(choice) + "\n99\n", main_menu() + kTryAgain + main_menu());
    }
}

TEST_F(Shell, AWordDiscardsTheRestOfItsLine)
{
    // "2" after the word is dropped with it; the number after a number is kept.
    expect_transcript("abc 2\n99\n", main_menu() + kTryAgain + main_menu());
    const SubMenu &kelo = log_tag_menus()[1];
    expect_transcript("2 99 99\n", main_menu() + menu(kelo.title, kelo.labels) + main_menu());
}

TEST_F(Shell, EverySubMenuShowsItsLayoutAndRedisplaysOnUnknownChoices)
{
    for (const SubMenu &m : log_tag_menus()) {
        SCOPED_TRACE(m.title);
        const std::string sub = menu(m.title, m.labels);
        const std::string n = std::to_string(m.number);
        const std::string beyond = std::to_string(m.labels.size() + 1);
        expect_transcript(n + "\n0\n" + beyond + "\n100\n-3\n99\n99\n",
                          main_menu() + sub + sub + sub + sub + sub + main_menu());
    }
}

TEST_F(Shell, EndOfInputInsideASubMenuEndsTheProgram)
{
    const SubMenu &kelo = log_tag_menus()[1];
    expect_transcript("2\n", main_menu() + menu(kelo.title, kelo.labels) + main_menu());
    expect_transcript("2\n1", main_menu() + menu(kelo.title, kelo.labels) + menu(kelo.title, kelo.labels) +
                                  main_menu());
}

TEST_F(Shell, StopBeforeStartPassesMinusOneAndRestartReplacesTheSlot)
{
    root->run("2\n2\n1\n1\n2\n2\n99\n99\n");
    EXPECT_EQ(root->calls_log(),
              "stopdlogtag -1\n"
              "startdlogtag \"KELO\" = 1\n"
              "startdlogtag \"KELO\" = 2\n"
              "stopdlogtag 2\n"
              "stopdlogtag 2\n");
}

TEST_F(Shell, HandlesAreForgottenWhenTheMenuIsLeft)
{
    root->run("3\n1\n99\n3\n2\n99\n99\n");
    EXPECT_EQ(root->calls_log(),
              "startdlogtag \"ZUNT\" = 1\n"
              "stopdlogtag -1\n");
}

TEST_F(Shell, ResourceManagerTagsShareOneSlot)
{
    root->run("4\n1\n3\n2\n4\n99\n99\n");
    EXPECT_EQ(root->calls_log(),
              "startdlogtag \"RSC_MNG\" = 1\n"
              "startdlogtag \"RSC_MNG_SERVER\" = 2\n"
              "stopdlogtag 2\n"
              "stopdlogtag 2\n");
}

TEST_F(Shell, TwoTagMenusKeepASlotPerTag)
{
    root->run("19\n1\n3\n2\n4\n99\n1\n1\n2\n4\n3\n4\n99\n99\n");
    EXPECT_EQ(root->calls_log(),
              "startdlogtag \"GUV\" = 1\n"
              "startdlogtag \"HOZ\" = 2\n"
              "stopdlogtag 1\n"
              "stopdlogtag 2\n"
              "startdlogtag \"FACTORYAPI\" = 3\n"
              "stopdlogtag 3\n"
              "stopdlogtag -1\n"
              "startdlogtag \"FACTORY\" = 4\n"
              "stopdlogtag 4\n");
}

TEST_F(Shell, EveryTagIsTheOneOfItsMenu)
{
    const std::vector<std::pair<int, std::string>> tags = {
        {2, "KELO"}, {3, "ZUNT"}, {5, "TV_RSC_INFO"}, {6, "CAPI_SYSTEM_RUNTIME_INFO"}, {7, "SYSTEM_INFO"},
        {8, "CAPI_SYSTEM_SETTINGS"}, {9, "FACTORY_AUTOMATION"}, {10, "FDC"}, {17, "DCAPTURE"}, {18, "FCONFIG"}};
    std::string input, expected;
    int handle = 0;
    for (const auto &t : tags) {
        input += std::to_string(t.first) + "\n1\n2\n99\n";
        ++handle;
        expected += "startdlogtag \"" + t.second + "\" = " + std::to_string(handle) + "\n" +
                    "stopdlogtag " + std::to_string(handle) + "\n";
    }
    root->run(input + "99\n");
    EXPECT_EQ(root->calls_log(), expected);
}

TEST_F(Shell, ShownTagsReachStandardErrorUntilStopped)
{
    // System-info Debug with its tag shown, then after the stop.
    harness::RunResult r = root->run("7\n1\n3\n2\n3\n99\n99\n");
    EXPECT_EQ(r.status, 0);
    size_t first = r.err.find("[SYSTEM_INFO] ");
    ASSERT_NE(first, std::string::npos) << r.err;
    EXPECT_EQ(r.err.find("[SYSTEM_INFO] ", first + 1), std::string::npos) << r.err;
    EXPECT_EQ(root->calls_log(),
              "startdlogtag \"SYSTEM_INFO\" = 1\n"
              "system_info_debug\n"
              "stopdlogtag 1\n"
              "system_info_debug\n");
}

TEST_F(Shell, PromptIsVisibleThroughAPipeBeforeInputIsRead)
{
    harness::Session s(*root);
    ASSERT_TRUE(s.wait_for(main_menu()));
    s.send("2\n");
    ASSERT_TRUE(s.wait_for(menu("kelo print", {"Start kelo dlog ", "Stop kelo dlog "})));
    s.send("99\n99\n");
    harness::RunResult r = s.finish();
    EXPECT_EQ(r.status, 0);
}

TEST_F(Shell, APluginThatCannotBeLoadedIsOneLineAndStatusOne)
{
    harness::RunOptions missing;
    missing.args = {"/nonexistent/libnothing.so"};
    harness::RunResult r = root->run("99\n", missing);
    EXPECT_EQ(r.status, 1);
    EXPECT_EQ(r.out, "");
    EXPECT_NE(r.err.find("/nonexistent/libnothing.so"), std::string::npos);
    EXPECT_EQ(std::count(r.err.begin(), r.err.end(), '\n'), 1) << r.err;

    harness::RunOptions no_entry;
    no_entry.args = {harness::binary_dir() + "/libtvemul.so"};
    r = root->run("99\n", no_entry);
    EXPECT_EQ(r.status, 1);
    EXPECT_NE(r.err.find("tavrin_startmaindebug"), std::string::npos) << r.err;
}

TEST(ExitWord, OnlyTheExactWordCounts)
{
    EXPECT_EQ(is_exit("exit"), 1);
    for (const char *other : {"Exit", "EXIT", "exiT", "exits", "exi", "", " exit", "exit "})
        EXPECT_EQ(is_exit(other), 0) << other;
    EXPECT_EQ(is_exit(nullptr), 0);
}

// Exported: the entry point unmangled, and otherwise only what the public
// headers declare.
TEST(Exports, OnlyDeclaredFunctionsAreExported)
{
    const std::string lib = harness::binary_dir() + "/libtavrin-debugmenu.so.0.0.06";
    std::string headers;
    for (const char *h : {"tavrin_debugmenu.h"}) {
        FILE *f = fopen((harness::source_dir() + "/include/" + h).c_str(), "r");
        ASSERT_NE(f, nullptr);
        char buf[4096];
        size_t n;
        while ((n = fread(buf, 1, sizeof buf, f)) > 0)
            headers.append(buf, n);
        fclose(f);
    }
    std::string cmd = "cat " + harness::source_dir() + "/include/tavrin/*.h";
    FILE *p = popen(cmd.c_str(), "r");
    ASSERT_NE(p, nullptr);
    char buf[4096];
    size_t n;
    while ((n = fread(buf, 1, sizeof buf, p)) > 0)
        headers.append(buf, n);
    pclose(p);

    p = popen(("nm -D --defined-only " + lib + " | awk '{print $3}'").c_str(), "r");
    ASSERT_NE(p, nullptr);
    std::vector<std::string> symbols;
    char line[1024];
    while (fgets(line, sizeof line, p)) {
        std::string s(line);
        s.erase(s.find_last_not_of("\n") + 1);
        // Type information that sanitizer builds add for checked calls, and
        // the standard library's template instantiations, are not ours.
        bool foreign = false;
        for (const char *prefix : {"_ZTI", "_ZTS", "_ZNSt", "_ZNKSt", "_ZSt"})
            foreign = foreign || s.rfind(prefix, 0) == 0;
        if (!s.empty() && !foreign)
            symbols.push_back(s);
    }
    pclose(p);

    ASSERT_FALSE(symbols.empty());
    EXPECT_NE(std::find(symbols.begin(), symbols.end(), "tavrin_startmaindebug"), symbols.end());
    for (const char *expected : {"_Z7is_exitPKc", "_Z23TAVRIN_print_menu_titlePKc", "_Z21TAVRIN_print_boundaryv",
                                 "_Z23TAVRIN_print_menu_indexiPKc", "_Z23TAVRIN_print_exit_titlev",
                                 "_Z16dlog_menu_libguvv", "_Z17dlog_menu_factoryv"})
        EXPECT_NE(std::find(symbols.begin(), symbols.end(), expected), symbols.end()) << expected;

    for (const std::string &symbol : symbols) {
        // Demangle to the bare function name and look for its declaration.
        std::string name = symbol;
        if (symbol.rfind("_Z", 0) == 0) {
            size_t i = 2;
            size_t len = 0;
            while (i < symbol.size() && isdigit(static_cast<unsigned char>(symbol[i])))
                len = len * 10 + static_cast<size_t>(symbol[i++] - '0');
            ASSERT_GT(len, 0u) << "nested or special symbol exported: " << symbol;
            name = symbol.substr(i, len);
        }
        EXPECT_NE(headers.find(" " + name + "("), std::string::npos) << "undeclared export: " << symbol;
    }
}

}  // namespace
