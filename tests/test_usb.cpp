// The USB menu through the real host, and the emulator's sysfs reader
// against trees laid out like a real machine's /sys.
#include <gtest/gtest.h>

#include <glib.h>
#include <stdlib.h>
#include <unistd.h>

#include <map>
#include <string>
#include <vector>

#include "harness.h"
#include "tavrin_debugmenu.h"
#include "usb_device.h"

using harness::DeviceRoot;
using harness::main_menu;
using harness::menu;

namespace {

const std::string kSeparator = std::string(68, ':') + "\n";

std::string usb_menu()
{
    return menu("USB debug menu",
                {"Print current usb device info", "Print current usb mass storage info", "Print current usb camera info",
                 "Print current usb audio info", "Print device num (mass storage)"});
}

std::string fixture(const std::string &name)
{
    return harness::source_dir() + "/tests/fixtures/" + name;
}

using Keys = std::map<std::string, std::string>;

void add_device(const DeviceRoot &root, const std::string &name, const Keys &keys)
{
    root.remove_state_group("usb-device " + name);
    for (const auto &k : keys)
        root.set_state("usb-device " + name, k.first, k.second);
}

// A device with every property but a class of its own; "small" numbers.
Keys plain_device(int device_class)
{
    return {{"class", std::to_string(device_class)}, {"sub_class", "1"}, {"protocol", "2"}, {"vendor_id", "1452"},
            {"product_id", "33"}, {"bus", "2"}, {"address", "5"}, {"number", "5"}, {"port", "3"},
            {"ports", "2-3"}, {"manufacturer", "Maker"}, {"product", "Thing"}, {"devname", "/dev/bus/usb/002/005"},
            {"devpath", "/devices/usb2/2-3"}, {"mountpath", ""}, {"serial", "S1"}, {"partlabel", ""},
            {"model", "M"}, {"device_id", "05ac:0021"}};
}

std::string plain_block(const std::string &class_name)
{
    return kSeparator + "- class : " + class_name +
           "\n"
           "- sub class : 1\n"
           "- protocol : 2\n"
           "- vendor id : 1452\n"
           "- product id : 33\n"
           "- bus : 2\n"
           "- address : 5\n"
           "- number : 5\n"
           "- port : 3\n"
           "- ports : 2-3\n"
           "- manufacturer : Maker\n"
           "- product : Thing\n"
           "- device name : /dev/bus/usb/002/005\n"
           "- device path : /devices/usb2/2-3\n"
           "- mount path : \n"
           "- serial : S1\n"
           "- part label : \n"
           "- model : M\n"
           "- device id : 05ac:0021\n" +
           kSeparator;
}

// A hub that reports only its numbers and its port chain.
const std::string kHubBlock = kSeparator +
                              "- class : HUB\n"
                              "- sub class : 0\n"
                              "- protocol : 2\n"
                              "- vendor id : 1507\n"
                              "- product id : 1552\n"
                              "- bus : 1\n"
                              "- address : 4\n"
                              "- number : 4\n"
                              "- port : 2\n"
                              "- ports : 1-2\n"
                              "- manufacturer : (null)\n"
                              "- product : (null)\n"
                              "- device name : (null)\n"
                              "- device path : (null)\n"
                              "- mount path : (null)\n"
                              "- serial : (null)\n"
                              "- part label : (null)\n"
                              "- model : (null)\n"
                              "- device id : (null)\n" +
                              kSeparator;

// Mass storage with values outside every name table.
const std::string kDiskBlock = kSeparator +
                               "- class : MASS_STORAGE\n"
                               "- sub class : 6\n"
                               "- protocol : 80\n"
                               "- vendor id : 4660\n"
                               "- product id : 22136\n"
                               "- bus : 1\n"
                               "- address : 9\n"
                               "- number : 9\n"
                               "- port : 4\n"
                               "- ports : 1-4\n"
                               "- manufacturer : Generic\n"
                               "- product : Flash Disk\n"
                               "- device name : /dev/sdb1\n"
                               "- device path : /devices/usb1/1-4/block/sdb/sdb1\n"
                               "- filesystem : Unknown\n"
                               "- disk type : error\n"
                               "- state : error\n"
                               "- mount path : /opt/media/USBDriveB1\n"
                               "- serial : 0123456789AB\n"
                               "- part label : DISK\n"
                               "- model : Flash_Disk\n"
                               "- device id : 1234:5678\n" +
                               kSeparator;

class UsbMenu : public ::testing::Test {
protected:
    DeviceRoot root;

    // A hub, a microphone, a camera, a class-5 device and a disk.
    void connect_five()
    {
        root.set_state("usb", "devices", "hub;mic;cam;odd;disk;");
        add_device(root, "hub", {{"class", "9"}, {"sub_class", "0"}, {"protocol", "2"}, {"vendor_id", "1507"},
                                 {"product_id", "1552"}, {"bus", "1"}, {"address", "4"}, {"number", "4"},
                                 {"port", "2"}, {"ports", "1-2"}});
        add_device(root, "mic", plain_device(1));
        add_device(root, "cam", plain_device(6));
        add_device(root, "odd", plain_device(5));
        add_device(root, "disk",
                   {{"class", "8"}, {"sub_class", "6"}, {"protocol", "80"}, {"vendor_id", "0x1234"},
                    {"product_id", "22136"}, {"bus", "1"}, {"address", "9"}, {"number", "9"}, {"port", "4"},
                    {"ports", "1-4"}, {"manufacturer", "Generic"}, {"product", "Flash Disk"},
                    {"devname", "/dev/sdb1"}, {"devpath", "/devices/usb1/1-4/block/sdb/sdb1"},
                    {"mountpath", "/opt/media/USBDriveB1"}, {"serial", "0123456789AB"}, {"partlabel", "DISK"},
                    {"model", "Flash_Disk"}, {"device_id", "1234:5678"}, {"filesystem", "4"}, {"disk_type", "2"},
                    {"storage_state", "4"}});
    }

    // Runs main menu 16, then CHOICES in the USB menu; returns the output
    // between the first USB menu and the last one.
    std::string listing(const std::string &choices)
    {
        root.clear_calls_log();
        harness::RunResult r = root.run("16\n" + choices + "99\n99\n");
        EXPECT_EQ(r.status, 0);
        const std::string head = main_menu() + usb_menu();
        const std::string tail = usb_menu() + main_menu();
        if (r.out.compare(0, head.size(), head) != 0 || r.out.size() < head.size() + tail.size() ||
            r.out.compare(r.out.size() - tail.size(), tail.size(), tail) != 0) {
            ADD_FAILURE() << "unexpected frame:\n" << r.out;
            return r.out;
        }
        return r.out.substr(head.size(), r.out.size() - head.size() - tail.size());
    }
};

TEST_F(UsbMenu, EntryOneListsEveryDeviceInFullAndOnStandardOutput)
{
    connect_five();
    const std::string expected = "Count of the connected device : 5\n" + kHubBlock + plain_block("AUDIO") +
                                 plain_block("CAMERA") + plain_block("Undefined") + kDiskBlock;
    const std::string out = listing("1\n");
    EXPECT_EQ(out, expected) << harness::diff(expected, out);
    EXPECT_EQ(root.calls_log(), "usb_device_init\nusb_device_get_device_list -1\nusb_device_fini\n");
}

TEST_F(UsbMenu, ClassEntriesListOnlyTheirClass)
{
    connect_five();
    EXPECT_EQ(listing("2\n"), "Count of the connected device : 1\n" + kDiskBlock);
    EXPECT_EQ(listing("3\n"), "Count of the connected device : 1\n" + plain_block("CAMERA"));
    EXPECT_EQ(listing("4\n"), "Count of the connected device : 1\n" + plain_block("AUDIO"));
    listing("2\n3\n4\n");
    EXPECT_EQ(root.calls_log(),
              "usb_device_init\nusb_device_get_device_list 8\nusb_device_fini\n"
              "usb_device_init\nusb_device_get_device_list 6\nusb_device_fini\n"
              "usb_device_init\nusb_device_get_device_list 1\nusb_device_fini\n");
}

TEST_F(UsbMenu, EveryClassValueHasItsName)
{
    const std::vector<std::pair<int, std::string>> names = {
        {0, "REF_INTERFACE"}, {1, "AUDIO"}, {2, "CDC"}, {3, "HID"}, {4, "Undefined"}, {6, "CAMERA"},
        {7, "PRINTER"}, {8, "MASS_STORAGE"}, {9, "HUB"}, {10, "Undefined"}, {13, "Undefined"}, {14, "VIDEO"},
        {15, "Undefined"}, {239, "MISCELLANEOUS"}, {255, "VENDOR_SPECIFIC"}, {-1, "ALL"}, {-2, "Undefined"}};
    std::string devices, expected;
    for (size_t i = 0; i < names.size(); ++i) {
        const std::string name = "d" + std::to_string(i);
        devices += name + ";";
        add_device(root, name, {{"class", std::to_string(names[i].first)}});
        expected += "- class : " + names[i].second + "\n";
    }
    root.set_state("usb", "devices", devices);
    std::string classes;
    const std::string out = listing("1\n");
    for (size_t at = out.find("- class : "); at != std::string::npos; at = out.find("- class : ", at + 1))
        classes += out.substr(at, out.find('\n', at) + 1 - at);
    EXPECT_EQ(classes, expected);
}

TEST_F(UsbMenu, NoDeviceGivesOnlyTheCounts)
{
    root.set_state("usb", "devices", "");
    EXPECT_EQ(listing("1\n"), "Count of the connected device : 0\n");
    EXPECT_EQ(listing("5\n"), "Connected storage device : 0\n");
    EXPECT_EQ(root.calls_log(), "usb_get_connected_device_number 8\n");
}

TEST_F(UsbMenu, StorageCountIsPrintedWhateverItIs)
{
    connect_five();
    root.set_state("usb", "devices", "disk;hub;disk;");
    EXPECT_EQ(listing("5\n"), "Connected storage device : 2\n");
    root.set_state("fail", "usb_get_connected_device_number", "-22");
    EXPECT_EQ(listing("5\n"), "Connected storage device : -22\n");
    EXPECT_EQ(root.calls_log(), "usb_get_connected_device_number 8\n");
}

TEST_F(UsbMenu, FailuresEndTheListingAndFiniFollowsEverySuccessfulInit)
{
    connect_five();
    const std::string fini = "usb_device_init\nusb_device_get_device_list 8\nusb_device_fini\n";
    struct Case {
        const char *function;
        std::string out;
        std::string calls;
    };
    const std::vector<Case> cases = {
        {"usb_device_init", "failed to init usb\n", "usb_device_init\n"},
        {"usb_device_get_device_list", "failed to get usb device list\n", fini},
        {"usb_device_list_get_count", "Count of the connected device : -1\n", fini},
        {"usb_device_list_get_first", "Count of the connected device : 1\nfailed to get first usb device\n", fini},
        {"usb_device_list_get_next", "Count of the connected device : 1\n" + kDiskBlock, fini},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.function);
        root.remove_state_group("fail");
        root.set_state("fail", c.function, "-1");
        EXPECT_EQ(listing("2\n"), c.out);
        EXPECT_EQ(root.calls_log(), c.calls);
    }

    // The walk ends at the first failing next, whatever device follows.
    root.remove_state_group("fail");
    root.set_state("fail", "usb_device_list_get_next", "-1");
    EXPECT_EQ(listing("1\n"), "Count of the connected device : 5\n" + kHubBlock);
}

TEST_F(UsbMenu, ListsTheDevicesOfASysfsTree)
{
    root.remove_state_group("usb");
    root.set_state("usb", "sysfs_root", fixture("laptop/sys"));
    root.set_state("usb", "mounts", fixture("laptop/mounts"));
    const std::string stick = kSeparator +
                              "- class : MASS_STORAGE\n"
                              "- sub class : 6\n"
                              "- protocol : 80\n"
                              "- vendor id : 2385\n"
                              "- product id : 5734\n"
                              "- bus : 1\n"
                              "- address : 7\n"
                              "- number : 7\n"
                              "- port : 1\n"
                              "- ports : 1-2.1\n"
                              "- manufacturer : Kingston\n"
                              "- product : DataTraveler 3.0\n"
                              "- device name : /dev/sda1\n"
                              "- device path : /devices/pci0000:00/0000:00:14.0/usb1/1-2/1-2.1/1-2.1:1.0/"
                              "host0/target0:0:0/0:0:0:0/block/sda/sda1\n"
                              "- filesystem : VFAT\n"
                              "- disk type : USB\n"
                              "- state : Normal\n"
                              "- mount path : /media/dev/KINGSTON USB\n"
                              "- serial : E0D55EA5740FF3A1B9A3011C\n"
                              "- part label : (null)\n"
                              "- model : DataTraveler 3.0\n"
                              "- device id : 0951:1666\n" +
                              kSeparator;
    EXPECT_EQ(listing("2\n"), "Count of the connected device : 1\n" + stick);
    const std::string all = listing("1\n");
    EXPECT_EQ(all.rfind("Count of the connected device : 4\n", 0), 0u) << all;
    EXPECT_EQ(listing("5\n"), "Connected storage device : 1\n");
}

// The emulator's sysfs reader, called directly.
class UsbSysfs : public ::testing::Test {
protected:
    std::string dir;

    void SetUp() override
    {
        char templ[] = "/tmp/usb-sysfs-XXXXXX";
        ASSERT_NE(mkdtemp(templ), nullptr);
        dir = templ;
        setenv("TV_EMULATOR_DIR", dir.c_str(), 1);
    }
    void TearDown() override
    {
        unsetenv("TV_EMULATOR_DIR");
        ASSERT_EQ(system(("rm -rf '" + dir + "'").c_str()), 0);
    }

    void state(const std::string &text)
    {
        ASSERT_TRUE(g_file_set_contents((dir + "/state.ini").c_str(), text.c_str(), -1, nullptr));
    }
    void laptop(const std::string &mounts = fixture("laptop/mounts"))
    {
        state("[usb]\nsysfs_root=" + fixture("laptop/sys") + "\nmounts=" + mounts + "\n");
    }

    struct Seen {
        int device_class, sub_class, protocol, vendor, product, bus, address, port;
        std::string ports, manufacturer, serial, devname;
    };
    static std::string text(const char *value) { return value ? value : "<null>"; }

    std::vector<Seen> list(usb_class_e device_class)
    {
        std::vector<Seen> seen;
        usb_device_list_h list = nullptr;
        EXPECT_EQ(usb_device_get_device_list(device_class, &list), 0);
        usb_device_h d = nullptr;
        for (int rc = usb_device_list_get_first(list, &d); rc == 0; rc = usb_device_list_get_next(list, &d)) {
            seen.push_back({usb_device_get_class(d), usb_device_get_sub_class(d), usb_device_get_protocol(d),
                            usb_device_get_vendor_id(d), usb_device_get_product_id(d), usb_device_get_bus(d),
                            usb_device_get_address(d), usb_device_get_port(d), text(usb_device_get_ports_all(d)),
                            text(usb_device_get_manufacturer(d)), text(usb_device_get_serial(d)),
                            text(usb_device_get_devname(d))});
        }
        EXPECT_EQ(usb_device_free_device_list(list), 0);
        return seen;
    }
};

TEST_F(UsbSysfs, DevicesComeInBusAndPortOrderWithInterfaceClassesResolved)
{
    laptop();
    const std::vector<Seen> seen = list(USB_CLASS_ALL);
    ASSERT_EQ(seen.size(), 4u);
    // Root hub, external hub, the stick behind it (class from its
    // interface), the built-in camera (a composite device).
    const Seen &root = seen[0], &hub = seen[1], &stick = seen[2], &camera = seen[3];
    EXPECT_EQ(root.ports, "usb1");
    EXPECT_EQ(root.device_class, 9);
    EXPECT_EQ(root.port, 0);
    EXPECT_EQ(root.vendor, 0x1d6b);
    EXPECT_EQ(root.manufacturer, "Linux 6.1.0-18-amd64 xhci-hcd");
    EXPECT_EQ(root.devname, "/dev/bus/usb/001/001");

    EXPECT_EQ(hub.ports, "1-2");
    EXPECT_EQ(hub.device_class, 9);
    EXPECT_EQ(hub.protocol, 2);
    EXPECT_EQ(hub.port, 2);
    EXPECT_EQ(hub.address, 4);
    EXPECT_EQ(hub.serial, "<null>");

    EXPECT_EQ(stick.ports, "1-2.1");
    EXPECT_EQ(stick.device_class, 8);
    EXPECT_EQ(stick.sub_class, 6);
    EXPECT_EQ(stick.protocol, 0x50);
    EXPECT_EQ(stick.vendor, 0x0951);
    EXPECT_EQ(stick.product, 0x1666);
    EXPECT_EQ(stick.bus, 1);
    EXPECT_EQ(stick.address, 7);
    EXPECT_EQ(stick.port, 1);
    EXPECT_EQ(stick.devname, "/dev/sda1");

    EXPECT_EQ(camera.ports, "1-5");
    EXPECT_EQ(camera.device_class, 239);
    EXPECT_EQ(camera.product, 0xb6dd);
    EXPECT_EQ(camera.manufacturer, "Chicony Electronics Co.,Ltd.");

    EXPECT_EQ(usb_get_connected_device_number(USB_CLASS_MASS_STORAGE), 1);
    EXPECT_EQ(usb_get_connected_device_number(USB_CLASS_HUB), 2);
    EXPECT_EQ(usb_get_connected_device_number(USB_CLASS_AUDIO), 0);
}

TEST_F(UsbSysfs, AStickThatIsNotMountedHasNoFilesystem)
{
    const std::string none = dir + "/no-mounts";
    ASSERT_TRUE(g_file_set_contents(none.c_str(), "", -1, nullptr));
    laptop(none);
    usb_device_list_h list = nullptr;
    usb_device_h stick = nullptr;
    ASSERT_EQ(usb_device_get_device_list(USB_CLASS_MASS_STORAGE, &list), 0);
    ASSERT_EQ(usb_device_list_get_first(list, &stick), 0);
    EXPECT_EQ(usb_device_get_mountpath(stick), nullptr);
    EXPECT_EQ(usb_mass_storage_state(stick), 2);
    EXPECT_EQ(usb_mass_storage_get_disk_type(stick), 1);
    EXPECT_EQ(text(usb_device_get_devname(stick)), "/dev/sda1");
    EXPECT_EQ(text(usb_device_get_model(stick)), "DataTraveler 3.0");
    EXPECT_EQ(usb_device_fini(), 0);  // releases the list
}

TEST_F(UsbSysfs, AFailingFiniReleasesNothing)
{
    state("[usb]\ndevices=a;b;\n\n[usb-device a]\nclass=8\n\n[fail]\nusb_device_fini=-5\n");
    usb_device_list_h list = nullptr;
    ASSERT_EQ(usb_device_get_device_list(USB_CLASS_ALL, &list), 0);
    EXPECT_EQ(usb_device_fini(), -5);
    EXPECT_EQ(usb_device_list_get_count(list), 2);
    EXPECT_EQ(usb_device_free_device_list(list), 0);
}

TEST_F(UsbSysfs, ASysfsRootWinsOverTheStateListAndAnEmptyBusHasNoDevices)
{
    state("[usb]\ndevices=a;\nsysfs_root=" + fixture("desktop/sys") + "\n\n[usb-device a]\nclass=8\n");
    EXPECT_TRUE(list(USB_CLASS_ALL).empty());
    state("[usb]\ndevices=a;\n\n[usb-device a]\nclass=8\n");
    EXPECT_EQ(list(USB_CLASS_ALL).size(), 1u);
    state("[usb]\nsysfs_root=" + dir + "/nowhere\n");
    EXPECT_TRUE(list(USB_CLASS_ALL).empty());
}

}  // namespace
