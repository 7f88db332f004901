// The hardware tools through the real host: USB listings, battery readings
// and feedback patterns, from the devices that state.ini describes.
#include <gtest/gtest.h>

#include <array>
#include <numeric>

#include "harness.h"

using Texts = std::vector<std::string>;

namespace {

const std::string kSeparator = std::string(68, ':') + "\n";

// What each action printed in menu PATH, every "name : value" line cut to
// its value; line ends stay, so that a lost one shows. Error lines stay whole.
Texts shown(const harness::DeviceRoot &root, const std::string &path, const Texts &input)
{
    Texts out = harness::in_menu(root, path, input).actions;
    for (std::string &action : out)
        for (size_t at, start; (at = action.find(" : ")) != std::string::npos; action.erase(start, at + 3 - start))
            start = action.rfind('\n', at) + 1;  // 0 on the first line
    return out;
}

// A device with only a class; STORAGE: a disk's filesystem, type and state.
std::string bare_block(const std::string &class_name, const std::string &storage = "")
{
    const std::string none = "(null)\n(null)\n(null)\n(null)\n(null)\n";
    return kSeparator + class_name + "\n0\n0\n0\n0\n0\n0\n0\n0\n" + none + storage + none + kSeparator;
}

// The device root's USB stick, every property as its [usb-device] keys give
// it; "" marks where a disk's names come.
std::string stick(const harness::DeviceRoot &root)
{
    std::string block = kSeparator + "MASS_STORAGE\n";
    for (const char *key : {"sub_class", "protocol", "vendor_id", "product_id", "bus", "address", "number", "port",
                            "ports", "manufacturer", "product", "devname", "devpath", "", "mountpath", "serial",
                            "partlabel", "model", "device_id"})
        block += *key ? root.state("usb-device stick", key) + "\n" : "VFAT\nUSB\nNormal\n";
    return block + kSeparator;
}

TEST(Usb, ListsEachClassWithEveryPropertyAndStopsAtAFailure)
{
    harness::DeviceRoot root;
    // Class, and for mass storage its filesystem, disk type and state and
    // their names: every name, and numbers without one.
    const std::array<std::string, 6> devices[] = {
        {"0", "REF_INTERFACE"}, {"1", "AUDIO"}, {"2", "CDC"}, {"3", "HID"}, {"5", "Undefined"}, {"6", "CAMERA"},
        {"7", "PRINTER"}, {"9", "HUB"}, {"14", "VIDEO"}, {"239", "MISCELLANEOUS"}, {"255", "VENDOR_SPECIFIC"},
        {"-1", "ALL"}, {"8", "MASS_STORAGE", "1", "0", "1", "EXFAT\nATA\nBroken\n"},
        {"8", "MASS_STORAGE", "2", "99", "2", "EXT4\nUnknown\nNo filesystem\n"},
        {"8", "MASS_STORAGE", "3", "2", "3", "NTFS\nerror\nNot supported\n"},
        {"8", "MASS_STORAGE", "4", "-1", "4", "Unknown\nerror\nerror\n"}};
    std::string list = "stick;", all = stick(root), disks = all, ini = root.read("/var/lib/tv-emulator/state.ini");
    for (const auto &[number, class_name, filesystem, disk_type, state, storage_names] : devices) {
        list += "d" + number + filesystem + ";";
        all += bare_block(class_name, storage_names);
        disks += number == "8" ? bare_block(class_name, storage_names) : "";
        ini += "\n[usb-device d" + number + filesystem + "]\nclass=" + number + "\nfilesystem=" + filesystem +
               "\ndisk_type=" + disk_type + "\nstorage_state=" + state + "\n";
    }
    root.write("/var/lib/tv-emulator/state.ini", ini);
    root.set_state("usb", "devices", list);
    EXPECT_EQ(shown(root, "16", {"1\n", "2\n", "3\n", "4\n", "5\n"}),
              (Texts{"17\n" + all, "5\n" + disks, "1\n" + bare_block("CAMERA"), "1\n" + bare_block("AUDIO"), "5\n"}));
    const std::string listed = "usb_device_init\nusb_device_get_device_list -1\nusb_device_fini\n";

    // Each failure stops the steps after it; one further on no longer counts
    // once an earlier step fails. A count of 0 walks nothing.
    const std::array<std::string, 4> failures[] = {
        {"usb_device_list_get_next", "-1", "17\n" + stick(root), listed},
        {"usb_device_list_get_first", "-1", "17\nfailed to get first usb device\n", listed},
        {"usb_device_list_get_count", "0", "0\n", listed},
        {"usb_device_get_device_list", "-1", "failed to get usb device list\n", listed},
        {"usb_device_init", "-1", "failed to init usb\n", "usb_device_init\n"}};
    for (const auto &[function, result, out, calls] : failures) {
        root.set_state("fail", function, result);
        root.clear_calls_log();
        EXPECT_EQ(shown(root, "16", {"1\n"}), Texts{out}) << function;
        EXPECT_EQ(root.calls_log(), calls) << function;
    }
}

TEST(Battery, EachReadingInWordsAndDeviceErrorsByName)
{
    harness::DeviceRoot root;
    const Texts entries = {"1\n", "2\n", "3\n", "4\n", "5\n", "6\n"};
    const Texts keys = {"percent", "status", "charging", "level", "health", "power_source"};
    const Texts functions = {"get_percent", "get_status", "is_charging", "get_level_status", "get_health",
                             "get_power_source"};
    // What the entries show when every key holds 0, 1, ... 5 (charging: only
    // 1 is true).
    const char *const runs[] = {"0%\ncharging\n0\nempty\ngood\nnone\n", "1%\ndischarging\n1\ncritical\ncold\nac\n",
        "2%\nfull\n0\nunknown\ndead\nusb\n", "3%\nnot charging\n0\nhigh\nover heat\nwireless\n",
        "4%\nunknown\n0\nfull\nover voltage\nunknown\n", "5%\nunknown\n0\nunknown\nunknown\nunknown\n"};
    for (int run = 0; run < 6; ++run) {
        // Run 0: reads that succeed without writing anything show the
        // values the tool starts from.
        for (size_t i = 0; i < 6; ++i)
            root.set_state(run ? "battery" : "fail", run ? keys[i] : "device_battery_" + functions[i],
                           std::to_string(run));
        const Texts out = shown(root, "20", entries);
        EXPECT_EQ(std::accumulate(out.begin(), out.end(), std::string()), runs[run]);
        root.remove_state_group("fail");
    }
    const Texts codes = {"-22", "-13", "-1", "-1073741822", "-5", "1"};
    for (size_t i = 0; i < 6; ++i)
        root.set_state("fail", "device_battery_" + functions[i], codes[i]);
    Texts errors;
    for (const std::string &action : shown(root, "20", entries))
        errors.push_back(action.substr(action.find('(')));
    EXPECT_EQ(errors, (Texts{"(invalid parameter)\n", "(permission denied)\n", "(operation failed)\n",
                             "(not supported)\n", "(unknown)\n", "(unknown)\n"}));
}

TEST(Feedback, EveryEntryPlaysItsPatternAndAnyOtherChoiceLeaves)
{
    harness::DeviceRoot root;
    const int ids[] = {37, 85, 79, 86, 81, 83, 82, 67, 70, 65, 66, 69, 0,
                       1,  84, 65, 89, 90, 91, 92, 93, 94, 95, 96, 97, 104};
    Texts input;
    std::string calls;
    for (const int id : ids) {
        input.push_back(std::to_string(input.size() + 1) + "\n");
        calls += "feedback_initialize\nfeedback_play " + std::to_string(id) + "\nfeedback_deinitialize\n";
    }
    EXPECT_EQ(shown(root, "13", input), Texts(26, ""));
    const std::string visit = harness::main_menu() + harness::menu_text("13");
    EXPECT_EQ(root.run("13\n0\n13\n27\n13\n-1\n13\nabc\n99\n").out,
              visit + visit + visit + visit + harness::main_menu());
    EXPECT_EQ(root.calls_log(), calls);
}

}  // namespace
