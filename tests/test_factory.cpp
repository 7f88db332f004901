// Factory test loop and automation entries through the real host.
#include <gtest/gtest.h>

#include "harness.h"

using harness::DeviceRoot;
using harness::kPrompt;
using harness::main_menu;

namespace {

std::string factory_menu()
{
    return harness::menu("factory-service print", {"Start factory-api dlog", "Stop factory-api dlog",
                                                   "Start factory-service dlog", "Stop factory-service dlog", "Test"});
}

// The factory interface's own menu text, as it printed it first.
std::string factory_interface_menu(const std::string &out)
{
    const std::string head = main_menu() + factory_menu();
    const size_t end = out.find(kPrompt, head.size());
    return end == std::string::npos ? "" : out.substr(head.size(), end - head.size());
}

const char kWait[] = "\nWait for reboot.\n\n";
const char kFailed[] = "\nFactory Reset Failed.\n\n";

TEST(FactoryLoop, SixResetsAndRebootsWithoutTheFactoryMenu)
{
    DeviceRoot root;
    // The key after the wait only ends it: 7 is never passed on.
    harness::RunResult r = root.run("1\n5\n6\n7\n99\n99\n99\n");
    EXPECT_EQ(r.status, 0);
    const std::string shown = factory_interface_menu(r.out);
    ASSERT_FALSE(shown.empty()) << r.out;
    const std::string loop = shown + kPrompt;
    EXPECT_EQ(r.out, main_menu() + factory_menu() + loop + kWait + loop + factory_menu() + main_menu());
    EXPECT_EQ(root.calls_log(),
              "factory_debug_display_menu\n"
              "factory_reset 0\n"
              "device_power_request_reboot 536870926\n"
              "factory_debug_display_menu\n"
              "factory_debug_select_menu 99\n");
}

TEST(FactoryLoop, AFailedResetSaysSoAndStillReboots)
{
    DeviceRoot root;
    for (const char *how : {"result", "fail"}) {
        SCOPED_TRACE(how);
        root.remove_state_group("fail");
        if (how[0] == 'r')
            root.set_state("factory", "reset_result", "0");
        else
            root.set_state("fail", "factory_reset", "-1");
        root.clear_calls_log();
        harness::RunResult r = root.run("1\n5\n6\n\n99\n99\n99\n");
        const std::string loop = factory_interface_menu(r.out) + kPrompt;
        EXPECT_EQ(r.out, main_menu() + factory_menu() + loop + kFailed + kWait + loop + factory_menu() + main_menu());
        EXPECT_EQ(root.calls_log(),
                  "factory_debug_display_menu\n"
                  "factory_reset 0\n"
                  "device_power_request_reboot 536870926\n"
                  "factory_debug_display_menu\n"
                  "factory_debug_select_menu 99\n");
    }
}

TEST(FactoryLoop, EveryOtherChoiceIsPassedOn)
{
    DeviceRoot root;
    harness::RunResult r = root.run("1\n5\n3\n42\n0\nabc\n99\n99\n99\n");
    const std::string loop = factory_interface_menu(r.out) + kPrompt;
    EXPECT_EQ(r.out, main_menu() + factory_menu() + loop + loop + loop + loop + loop + factory_menu() + main_menu());
    EXPECT_EQ(root.calls_log(),
              "factory_debug_display_menu\nfactory_debug_select_menu 3\n"
              "factory_debug_display_menu\nfactory_debug_select_menu 42\n"
              "factory_debug_display_menu\nfactory_debug_select_menu 0\n"
              "factory_debug_display_menu\nfactory_debug_select_menu -1\n"
              "factory_debug_display_menu\nfactory_debug_select_menu 99\n");
}

TEST(Automation, EntriesCallTheirFunctionsAndComeBack)
{
    DeviceRoot root;
    const std::string automation = harness::menu(
        "automation print", {"Start automation dlog ", "Stop automation dlog ",
                             "Input the Packet Data(no extra message data) ",
                             "Input the Packet Data(with extra message data) ", "IR Blaster test"});
    root.set_state("fail", "input_multiple_packet_data", "-1");
    harness::RunResult r = root.run("9\n1\n3\n4\n5\n99\n99\n");
    EXPECT_EQ(r.out, main_menu() + automation + automation + automation + automation + automation + main_menu());
    EXPECT_EQ(root.calls_log(),
              "startdlogtag \"FACTORY_AUTOMATION\" = 1\n"
              "input_packet_data\n"
              "input_multiple_packet_data\n"
              "input_ir_blaster\n");
    EXPECT_NE(r.err.find("[FACTORY_AUTOMATION] input_ir_blaster"), std::string::npos) << r.err;
}

}  // namespace
