// Menu shell: entry point, menu rendering, the shared menu loop and the
// log-tag menus.
#include <unistd.h>

#include <cstring>

#include "common.h"
#include "debugmenu_host.h"
#include "factory_automation.h"
#include "menu_table.h"
#include "system_info.h"
#include "tavrin_debugmenu.h"

namespace tavrin {

bool debug_image()
{
    return access("/etc/debug", F_OK) == 0;
}

bool debug_or_perf_image_else_notice()
{
    if (debug_image() || access("/etc/perf", F_OK) == 0)
        return true;
    menu_print(1, "%s", kReleaseImageNotice);
    return false;
}

int run_menu(const Menu &menu, void *context)
{
    // Handles live for one visit: a later visit cannot stop what an
    // earlier one started.
    int slots[kMaxSlots] = {-1, -1, -1, -1};

    for (;;) {
        if (menu.show) {
            menu.show();
        } else {
            (menu.print_title ? menu.print_title : TAVRIN_print_menu_title)(menu.title);
            for (std::size_t i = 0; i < menu.count; ++i)
                TAVRIN_print_menu_index(menu.entries[i].number, menu.entries[i].label);
            TAVRIN_print_exit_title();
        }

        const int choice = waitkeyresponse();
        const bool pass_on = menu.on_unknown == OnUnknown::PassOn && menu.pass_on;
        if (choice == kExitChoice) {
            if (pass_on)
                menu.pass_on(choice);
            return choice;
        }

        const MenuEntry *entry = nullptr;
        for (std::size_t i = 0; i < menu.count; ++i) {
            if (menu.entries[i].number == choice) {
                entry = &menu.entries[i];
                break;
            }
        }
        if (!entry) {
            if (menu.on_unknown == OnUnknown::Return)
                return choice;
            if (menu.on_unknown == OnUnknown::TryAgain)
                menu_print(1, "%s", menu.try_again ? menu.try_again : "try again!!\n");
            if (pass_on)
                menu.pass_on(choice);
            continue;
        }

        switch (entry->kind) {
        case EntryKind::Action:
            if (entry->action)
                entry->action();
            break;
        case EntryKind::ActionIn:
            if (entry->action_in)
                entry->action_in(context);
            break;
        case EntryKind::StartTag:
            slots[entry->slot] = startdlogtag(entry->tag);
            break;
        case EntryKind::StopTag:
            stopdlogtag(slots[entry->slot]);
            break;
        }
    }
}

}  // namespace tavrin

using namespace tavrin;

namespace {

// One start and one stop entry for a menu's single tag.
#define SINGLE_TAG_MENU(fn, title, start_label, stop_label, tag)          \
    int fn(void)                                                         \
    {                                                                    \
        static const MenuEntry entries[] = {                             \
            start_tag(1, start_label, tag),                              \
            stop_tag(2, stop_label),                                     \
        };                                                               \
        return run_menu(make_menu(title, entries));                      \
    }

}  // namespace

void TAVRIN_print_boundary(void)
{
    menu_print(1, "%s", kBoundary);
}

void TAVRIN_print_menu_title(const char *title)
{
    menu_print(1, "%s", kBoundary);
    menu_print(1, " %s\n", title);
    menu_print(1, "%s", kBoundary);
}

void TAVRIN_print_menu_index(int number, const char *label)
{
    menu_print(1, "%d : %s\n", number, label);
}

void TAVRIN_print_exit_title(void)
{
    menu_print(1, "%s", kBoundary);
    menu_print(1, "%d << : Exit\n", kExitChoice);
    menu_print(1, "%s", kBoundary);
    menu_print(1, "%s", kPrompt);
}

int is_exit(const char *text)
{
    return text != nullptr && std::strcmp(text, "exit") == 0;
}

int dlog_menu_factory(void)
{
    static const MenuEntry entries[] = {
        start_tag(1, "Start factory-api dlog", "FACTORYAPI", 0),
        stop_tag(2, "Stop factory-api dlog", 0),
        start_tag(3, "Start factory-service dlog", "FACTORY", 1),
        stop_tag(4, "Stop factory-service dlog", 1),
        action(5, "Test", FactoryDebuger),
    };
    return run_menu(make_menu("factory-service print", entries));
}

SINGLE_TAG_MENU(dlog_menu_kelo, "kelo print", "Start kelo dlog ", "Stop kelo dlog ", "KELO")
SINGLE_TAG_MENU(dlog_menu_x_video, "x video print", "Start x video dlog ", "Stop x video dlog ", "ZUNT")
SINGLE_TAG_MENU(dlog_menu_resource_information, "resource information print",
                "Start resource information dlog ", "Stop resource information dlog ", "TV_RSC_INFO")
SINGLE_TAG_MENU(dlog_menu_runtime_info, "runtime-info print", "Start runtime-info dlog ",
                "Stop runtime-info dlog ", "CAPI_SYSTEM_RUNTIME_INFO")
SINGLE_TAG_MENU(dlog_menu_system_settings, "system-settings print", "Start system-settings dlog ",
                "Stop system-settings dlog ", "CAPI_SYSTEM_SETTINGS")
SINGLE_TAG_MENU(dlog_menu_factory_data, "factory-data-config print", "Start factory-data-config dlog ",
                "Stop factory-data-config dlog ", "FDC")

int dlog_menu_resource_manager(void)
{
    // Both tags share one slot: either stop entry stops the tag started last.
    static const MenuEntry entries[] = {
        start_tag(1, "Start resource manager dlog ", "RSC_MNG"),
        stop_tag(2, "Stop resource manager dlog "),
        start_tag(3, "Start rscmgr server dlog ", "RSC_MNG_SERVER"),
        stop_tag(4, "Stop rscmgr server dlog "),
        action(5, "register consumer", rm_register_consumer),
        action(6, "allocate resource", rm_allocate_resource),
        action(7, "deallocate resource", rm_deallocate_resource),
        action(8, "unregister consumer", rm_unregister_consumer),
        action(9, "Enable resource monitor", rm_enable_resource_monitor),
        action(10, "Disable resource monitor", rm_disable_resource_monitor),
        action(11, "Switch best quality zone", rc_request_switch_best_quality_zone),
    };
    return run_menu(make_menu("resource manager print", entries));
}

int dlog_menu_system_info(void)
{
    static const MenuEntry entries[] = {
        start_tag(1, "Start system-info dlog ", "SYSTEM_INFO"),
        stop_tag(2, "Stop system-info dlog "),
        action(3, "System-info Debug ", call<system_info_debug>),
    };
    return run_menu(make_menu("system-info print", entries));
}

int dlog_menu_automation(void)
{
    static const MenuEntry entries[] = {
        start_tag(1, "Start automation dlog ", "FACTORY_AUTOMATION"),
        stop_tag(2, "Stop automation dlog "),
        action(3, "Input the Packet Data(no extra message data) ", call<input_packet_data>),
        action(4, "Input the Packet Data(with extra message data) ", call<input_multiple_packet_data>),
        action(5, "IR Blaster test", call<input_ir_blaster>),
    };
    return run_menu(make_menu("automation print", entries));
}

int dlog_menu_capture(void)
{
    static const MenuEntry entries[] = {
        start_tag(1, "Start capture dlog", "DCAPTURE"),
        stop_tag(2, "Stop capture dlog"),
        action(3, "Generate RAW(YUV) image", call<capture_size_setter>),
    };
    return run_menu(make_menu("Capture debug menu", entries));
}

int dlog_menu_feature_config(void)
{
    static const MenuEntry entries[] = {
        start_tag(1, "Start feature-config dlog ", "FCONFIG"),
        stop_tag(2, "Stop feature-config dlog "),
        action(3, "feature-config Debug ", call<feature_config_test>),
    };
    return run_menu(make_menu("feature-config print", entries));
}

int dlog_menu_libguv(void)
{
    static const MenuEntry entries[] = {
        start_tag(1, "Start GUV dlog ", "GUV", 0),
        stop_tag(2, "Stop  GUV dlog ", 0),
        start_tag(3, "Start HOZ dlog ", "HOZ", 1),
        stop_tag(4, "Stop  HOZ dlog ", 1),
    };
    return run_menu(make_menu("libguv and libhoz-tv print", entries));
}

extern "C" int tavrin_startmaindebug(void)
{
    static const MenuEntry entries[] = {
        action(1, "factory debug", call<dlog_menu_factory>),
        action(2, "kelo debug", call<dlog_menu_kelo>),
        action(3, "x video", call<dlog_menu_x_video>),
        action(4, "resource manager", call<dlog_menu_resource_manager>),
        action(5, "resource information", call<dlog_menu_resource_information>),
        action(6, "runtime-info", call<dlog_menu_runtime_info>),
        action(7, "system-info", call<dlog_menu_system_info>),
        action(8, "system-settings", call<dlog_menu_system_settings>),
        action(9, "automation", call<dlog_menu_automation>),
        action(10, "factory-data-config", call<dlog_menu_factory_data>),
        action(11, "buxton debug", call<dlog_menu_buxton>),
        action(12, "deviced debug", call<dlog_menu_deviced>),
        action(13, "feedback debug", call<dlog_menu_feedback>),
        action(14, "vconf debug", call<dlog_menu_vconf>),
        action(15, "storaged debug", call<dlog_menu_storaged>),
        action(16, "usb debug", call<dlog_menu_usb>),
        action(17, "capture debug", call<dlog_menu_capture>),
        action(18, "feature-config", call<dlog_menu_feature_config>),
        action(19, "libguv and libhoz-tv debug", call<dlog_menu_libguv>),
        action(20, "battery debug", call<dlog_menu_battery>),
    };
    return run_menu(make_menu("[ TAVRIN Debug Menu ]", entries, OnUnknown::TryAgain));
}
