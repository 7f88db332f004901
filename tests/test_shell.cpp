// The menu shell through the real host: menu layout and loop, log-tag
// handles, the factory loop, the host's own behaviour, and what the plug-in
// exports.
#include <gtest/gtest.h>

#include <regex>
#include <set>

#include "harness.h"
#include "tavrin_debugmenu.h"

using harness::DeviceRoot;
using harness::main_menu;
using harness::menu_text;

namespace {

// Every menu has the one layout: title, numbered entries, the exit block.
void expect_layout(const std::string &menu, int entries)
{
    static const std::regex entry("(\\d+) : .*");
    const std::vector<std::string> l = harness::lines(menu);
    const std::string boundary(36, '=');
    ASSERT_EQ(l.size(), entries + 7u) << menu;
    EXPECT_EQ(l[0], boundary);
    EXPECT_EQ(l[1][0], ' ');
    EXPECT_EQ(l[2], boundary);
    for (int i = 1; i <= entries; ++i) {
        std::smatch m;
        EXPECT_TRUE(std::regex_match(l[2 + i], m, entry) && m[1] == std::to_string(i)) << l[2 + i];
    }
    const std::string exit_block = boundary + "\n99 << : Exit\n" + boundary + "\nPlease Select a menu >> ";
    EXPECT_EQ(menu.substr(menu.size() - exit_block.size()), exit_block);
}

TEST(Shell, MenusShareOneLayoutAndLoop)
{
    EXPECT_EQ(harness::lines(main_menu())[1], " [ TAVRIN Debug Menu ]");
    expect_layout(main_menu(), 20);
    const int entries[] = {5, 2, 2, 11, 2, 2, 3, 2, 5, 2, 13, 40, 26, 8, 9, 5, 3, 3, 4, 6};
    for (int m = 1; m <= 20; ++m) {
        SCOPED_TRACE("menu " + std::to_string(m));
        expect_layout(menu_text(std::to_string(m)), entries[m - 1]);
    }
    DeviceRoot root;
    // Unknown choices: the main menu says so, a sub-menu shows itself again.
    // A word drops the rest of its line; a number leaves it for the next read.
    harness::RunResult r = root.run("0\n21\nabc 2\n-1\n2 0\n100 99 99\n");
    const std::string kelo = menu_text("2");
    const std::string again = "try again!!\n" + main_menu();
    EXPECT_EQ(r.out, main_menu() + again + again + again + again + kelo + kelo + kelo + main_menu());
    // End of input leaves every menu.
    EXPECT_EQ(root.run("2\n").out, main_menu() + kelo + main_menu());
    EXPECT_EQ(r.status, 0);
}

TEST(Shell, EveryLogTagMenuStartsAndStopsItsTags)
{
    DeviceRoot root;
    const std::vector<std::pair<int, std::string>> tags = {
        {1, "FACTORYAPI"}, {2, "KELO"}, {3, "ZUNT"}, {4, "RSC_MNG"}, {5, "TV_RSC_INFO"},
        {6, "CAPI_SYSTEM_RUNTIME_INFO"}, {7, "SYSTEM_INFO"}, {8, "CAPI_SYSTEM_SETTINGS"},
        {9, "FACTORY_AUTOMATION"}, {10, "FDC"}, {17, "DCAPTURE"}, {18, "FCONFIG"}, {19, "GUV"}};
    std::string input, expected;
    int handle = 0;
    for (const auto &[menu, tag] : tags) {
        input += std::to_string(menu) + "\n1\n2\n99\n";
        const std::string h = std::to_string(++handle);
        expected += "startdlogtag \"" + tag + "\" = " + h + "\nstopdlogtag " + h + "\n";
    }
    root.run(input);
    EXPECT_EQ(root.calls_log(), expected);
}

TEST(Shell, HandlesLiveForOneVisitInASlotPerTag)
{
    DeviceRoot root;
    // Stop before start; a restart replaces the slot; a new visit forgets.
    root.run("2\n2\n1\n1\n2\n2\n99\n2\n2\n99\n");
    EXPECT_EQ(root.calls_log(), "stopdlogtag -1\nstartdlogtag \"KELO\" = 1\nstartdlogtag \"KELO\" = 2\n"
                                "stopdlogtag 2\nstopdlogtag 2\nstopdlogtag -1\n");
    root.clear_calls_log();
    // The resource manager's two tags share one slot; the others have one each.
    root.run("4\n1\n3\n2\n4\n99\n19\n1\n3\n2\n4\n99\n1\n3\n1\n4\n2\n99\n");
    EXPECT_EQ(root.calls_log(),
              "startdlogtag \"RSC_MNG\" = 1\nstartdlogtag \"RSC_MNG_SERVER\" = 2\nstopdlogtag 2\nstopdlogtag 2\n"
              "startdlogtag \"GUV\" = 3\nstartdlogtag \"HOZ\" = 4\nstopdlogtag 3\nstopdlogtag 4\n"
              "startdlogtag \"FACTORY\" = 5\nstartdlogtag \"FACTORYAPI\" = 6\nstopdlogtag 5\nstopdlogtag 6\n");
}

TEST(Shell, ShownTagsReachStandardErrorUntilStopped)
{
    DeviceRoot root;
    root.set_state("fail", "input_multiple_packet_data", "-1");
    const harness::RunResult r = root.run("7\n1\n3\n2\n3\n99\n9\n1\n3\n4\n5\n99\n");
    EXPECT_EQ(harness::split(r.err, "[SYSTEM_INFO] ").size(), 2u) << r.err;
    EXPECT_NE(r.err.find("[FACTORY_AUTOMATION] input_ir_blaster"), std::string::npos) << r.err;
    EXPECT_EQ(root.calls_log(), "startdlogtag \"SYSTEM_INFO\" = 1\nsystem_info_debug\nstopdlogtag 1\n"
                                "system_info_debug\nstartdlogtag \"FACTORY_AUTOMATION\" = 2\ninput_packet_data\n"
                                "input_multiple_packet_data\ninput_ir_blaster\n");
}

TEST(Shell, FactoryLoopTakesResetAndPassesOnEveryOtherChoice)
{
    DeviceRoot root;
    const char wait[] = "\nWait for reboot.\n\n";
    // The key after the reset only ends the wait: 7 is never passed on.
    harness::MenuRun run = harness::in_menu(root, "1\n5", {"6\n7\n", "3\n", "abc\n"});
    EXPECT_EQ(run.actions, (std::vector<std::string>{wait, "", ""}));
    root.set_state("factory", "reset_result", "0");
    run = harness::in_menu(root, "1\n5", {"6\n\n"});
    EXPECT_EQ(run.actions[0], "\nFactory Reset Failed.\n\n" + std::string(wait));
    EXPECT_EQ(root.calls_log(),
              "factory_debug_display_menu\nfactory_reset 0\ndevice_power_request_reboot 536870926\n"
              "factory_debug_display_menu\nfactory_debug_select_menu 3\nfactory_debug_display_menu\n"
              "factory_debug_select_menu -1\nfactory_debug_display_menu\nfactory_debug_select_menu 99\n"
              "factory_debug_display_menu\nfactory_reset 0\ndevice_power_request_reboot 536870926\n"
              "factory_debug_display_menu\nfactory_debug_select_menu 99\n");
}

TEST(Host, ShowsThePromptBeforeReadingAndRefusesABadPlugin)
{
    DeviceRoot root;
    {
        harness::Session s(root);
        ASSERT_TRUE(s.wait_for(main_menu()));
        s.send("2\n");
        ASSERT_TRUE(s.wait_for(menu_text("2")));
    }
    const std::string no_entry_point = harness::binary_dir() + "/libtvemul.so";
    for (const std::string &plugin : {std::string("/nonexistent/libnothing.so"), no_entry_point}) {
        harness::RunOptions options;
        options.args = {plugin};
        const harness::RunResult r = root.run("99\n", options);
        EXPECT_EQ(r.status, 1);
        EXPECT_EQ(r.out, "");
        EXPECT_EQ(harness::lines(r.err).size(), 1u) << r.err;
        EXPECT_NE(r.err.find(plugin), std::string::npos) << r.err;
    }
}

TEST(Shell, OnlyTheExactExitWordCounts)
{
    EXPECT_EQ(is_exit("exit"), 1);
    for (const char *other : {"Exit", "exits", "exi", "", " exit", static_cast<const char *>(nullptr)})
        EXPECT_EQ(is_exit(other), 0) << (other ? other : "null");
}

// The entry point unmangled, and otherwise only what the headers declare.
TEST(Exports, OnlyDeclaredFunctionsAreExported)
{
    const std::string include = harness::source_dir() + "/include/";
    const harness::RunResult headers =
        harness::run_program({"sh", "-c", "cat " + include + "tavrin_debugmenu.h " + include + "tavrin/*.h"});
    const harness::RunResult nm = harness::run_program(
        {"nm", "-D", "--defined-only", harness::binary_dir() + "/libtavrin-debugmenu.so.0.0.06"});
    std::set<std::string> names;
    for (const std::string &line : harness::lines(nm.out)) {
        const std::string symbol = line.substr(line.rfind(' ') + 1);
        // Type information that sanitizer builds add for checked calls, and
        // the standard library's instantiations, are not ours.
        if (std::regex_search(symbol, std::regex("^_Z(TI|TS|NSt|NKSt|St)")))
            continue;
        std::smatch m;
        ASSERT_TRUE(symbol.rfind("_Z", 0) != 0 || std::regex_search(symbol, m, std::regex("^_Z(\\d+)")))
            << "nested or special symbol exported: " << symbol;
        names.insert(m.empty() ? symbol : symbol.substr(m[0].length(), std::stoul(m[1])));
    }
    EXPECT_EQ(names.size(), 136u);
    EXPECT_TRUE(names.count("tavrin_startmaindebug"));
    for (const std::string &name : names)
        EXPECT_NE(headers.out.find(" " + name + "("), std::string::npos) << "undeclared export: " << name;
}

}  // namespace
