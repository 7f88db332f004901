// Factory test loop: the factory interface's own debug menu, driven from
// the console, with its factory reset entry taken over here.
#include "common.h"
#include "debugmenu_host.h"
#include "device/power.h"
#include "factory_interface.h"
#include "menu_table.h"
#include "tavrin_debugmenu.h"

using namespace tavrin;

namespace {

// Reboot flag with reason 14.
const int kFactoryResetReboot = 0x2000000E;

void show_factory_menu()
{
    factory_debug_display_menu();
    menu_print(1, "%s", kPrompt);
}

void pass_to_factory(int choice)
{
    factory_debug_select_menu(choice);
}

// No confirmation: the engineer chose it.
void reset_and_reboot()
{
    if (factory_reset(0) != 1) {
        menu_print(1, "\n");
        menu_print(1, "Factory Reset Failed.\n");
        menu_print(1, "\n");
    }
    device_power_request_reboot(kFactoryResetReboot);
    menu_print(1, "\n");
    menu_print(1, "Wait for reboot.\n");
    menu_print(1, "\n");
    // Any key only ends the wait.
    waitkeyresponse();
}

const MenuEntry kEntries[] = {
    action(6, "Factory reset", reset_and_reboot),
};

}  // namespace

void FactoryDebuger(void)
{
    run_menu(make_menu(show_factory_menu, kEntries, OnUnknown::PassOn, pass_to_factory));
}
