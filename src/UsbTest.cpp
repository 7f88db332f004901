// USB device inspection. Unlike the menus, the listing goes to standard
// output.
#include <cstdio>

#include "menu_table.h"
#include "tavrin_debugmenu.h"
#include "usb_device.h"

using namespace tavrin;

namespace {

const char kSeparator[] = "::::::::::::::::::::::::::::::::::::::::::::::::::::::::::::::::::::";

const char *class_name(int device_class)
{
    switch (device_class) {
    case 0: return "REF_INTERFACE";
    case 1: return "AUDIO";
    case 2: return "CDC";
    case 3: return "HID";
    case 6: return "CAMERA";
    case 7: return "PRINTER";
    case 8: return "MASS_STORAGE";
    case 9: return "HUB";
    case 14: return "VIDEO";
    case 239: return "MISCELLANEOUS";
    case 255: return "VENDOR_SPECIFIC";
    case -1: return "ALL";
    default: return "Undefined";
    }
}

const char *filesystem_name(int type)
{
    switch (type) {
    case 0: return "VFAT";
    case 1: return "EXFAT";
    case 2: return "EXT4";
    case 3: return "NTFS";
    default: return "Unknown";
    }
}

const char *disk_type_name(int type)
{
    switch (type) {
    case 0: return "ATA";
    case 1: return "USB";
    case 99: return "Unknown";
    default: return "error";
    }
}

const char *storage_state_name(int state)
{
    switch (state) {
    case 0: return "Normal";
    case 1: return "Broken";
    case 2: return "No filesystem";
    case 3: return "Not supported";
    default: return "error";
    }
}

// A device without the property gives no text; show that as glibc would,
// without relying on printf to do it.
const char *shown(const char *text)
{
    return text ? text : "(null)";
}

template <usb_class_e Class>
void list_class()
{
    print_current_usb_device_info(Class);
}

}  // namespace

void printf_usb_device(usb_device_s *device)
{
    const int device_class = usb_device_get_class(device);
    puts(kSeparator);
    printf("- class : %s\n", class_name(device_class));
    printf("- sub class : %d\n", usb_device_get_sub_class(device));
    printf("- protocol : %d\n", usb_device_get_protocol(device));
    printf("- vendor id : %d\n", usb_device_get_vendor_id(device));
    printf("- product id : %d\n", usb_device_get_product_id(device));
    printf("- bus : %d\n", usb_device_get_bus(device));
    printf("- address : %d\n", usb_device_get_address(device));
    printf("- number : %d\n", usb_device_get_number(device));
    printf("- port : %d\n", usb_device_get_port(device));
    printf("- ports : %s\n", shown(usb_device_get_ports_all(device)));
    printf("- manufacturer : %s\n", shown(usb_device_get_manufacturer(device)));
    printf("- product : %s\n", shown(usb_device_get_product(device)));
    printf("- device name : %s\n", shown(usb_device_get_devname(device)));
    printf("- device path : %s\n", shown(usb_device_get_devpath(device)));
    if (device_class == USB_CLASS_MASS_STORAGE) {
        printf("- filesystem : %s\n", filesystem_name(usb_mass_storage_get_filesystem_type(device)));
        printf("- disk type : %s\n", disk_type_name(usb_mass_storage_get_disk_type(device)));
        printf("- state : %s\n", storage_state_name(usb_mass_storage_state(device)));
    }
    printf("- mount path : %s\n", shown(usb_device_get_mountpath(device)));
    printf("- serial : %s\n", shown(usb_device_get_serial(device)));
    printf("- part label : %s\n", shown(usb_device_get_partlabel(device)));
    printf("- model : %s\n", shown(usb_device_get_model(device)));
    printf("- device id : %s\n", shown(usb_device_get_device_id(device)));
    puts(kSeparator);
}

int print_current_usb_device_info(usb_class_e device_class)
{
    if (usb_device_init() != 0) {
        puts("failed to init usb");
        return -1;
    }

    usb_device_list_h list = nullptr;
    if (usb_device_get_device_list(device_class, &list) != 0) {
        puts("failed to get usb device list");
        usb_device_fini();
        return -1;
    }

    int result = 0;
    const int count = usb_device_list_get_count(list);
    printf("Count of the connected device : %d\n", count);
    if (count > 0) {
        usb_device_h device = nullptr;
        if (usb_device_list_get_first(list, &device) != 0) {
            puts("failed to get first usb device");
            result = -1;
        } else {
            do
                printf_usb_device(device);
            while (usb_device_list_get_next(list, &device) == 0);
        }
    }
    usb_device_free_device_list(list);
    usb_device_fini();
    return result;
}

int print_current_connected_storage_device_number(void)
{
    printf("Connected storage device : %d\n", usb_get_connected_device_number(USB_CLASS_MASS_STORAGE));
    return 0;
}

int dlog_menu_usb(void)
{
    static const MenuEntry entries[] = {
        action(1, "Print current usb device info", list_class<USB_CLASS_ALL>),
        action(2, "Print current usb mass storage info", list_class<USB_CLASS_MASS_STORAGE>),
        action(3, "Print current usb camera info", list_class<USB_CLASS_CAMERA>),
        action(4, "Print current usb audio info", list_class<USB_CLASS_AUDIO>),
        action(5, "Print device num (mass storage)", call<print_current_connected_storage_device_number>),
    };
    return run_menu(make_menu("USB debug menu", entries));
}
