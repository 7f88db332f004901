// USB device API stand-in over [usb] devices and [usb-device NAME].
#include <cstring>
#include <map>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <vector>

#include "tvemul.h"
#include "usb_device.h"

struct usb_device_s {
    std::map<std::string, long long> numbers;
    std::map<std::string, std::string> texts;
};

struct usb_device_list_s {
    std::vector<std::unique_ptr<usb_device_s>> devices;
    size_t next = 0;
};

namespace {

const char kTag[] = "USB_DEVICE";

const char *const kNumberKeys[] = {"class", "sub_class", "protocol", "vendor_id", "product_id", "bus",
                                   "address", "number", "port", "filesystem", "disk_type", "storage_state"};
const char *const kTextKeys[] = {"ports", "manufacturer", "product", "devname", "devpath",
                                 "mountpath", "serial", "partlabel", "model", "device_id"};

std::mutex lists_mutex;
std::set<usb_device_list_s *> &live_lists()
{
    static std::set<usb_device_list_s *> lists;
    return lists;
}

std::vector<std::unique_ptr<usb_device_s>> connected_devices()
{
    std::vector<std::unique_ptr<usb_device_s>> devices;
    tvemul::KeyFile kf = tvemul::load_state();
    gsize count = 0;
    gchar **names = g_key_file_get_string_list(kf.get(), "usb", "devices", &count, nullptr);
    for (gsize i = 0; names && i < count; ++i) {
        if (!*names[i])
            continue;
        const std::string group = std::string("usb-device ") + names[i];
        auto device = std::make_unique<usb_device_s>();
        for (const char *key : kNumberKeys)
            device->numbers[key] = tvemul::get_int(kf.get(), group.c_str(), key, 0);
        for (const char *key : kTextKeys) {
            if (g_key_file_has_key(kf.get(), group.c_str(), key, nullptr))
                device->texts[key] = tvemul::get_str(kf.get(), group.c_str(), key, "");
        }
        devices.push_back(std::move(device));
    }
    g_strfreev(names);
    return devices;
}

bool of_class(const usb_device_s &device, int device_class)
{
    return device_class == USB_CLASS_ALL || device.numbers.at("class") == device_class;
}

int number(usb_device_h device, const char *key)
{
    if (!device)
        return -1;
    auto it = device->numbers.find(key);
    return it == device->numbers.end() ? -1 : static_cast<int>(it->second);
}

char *text(usb_device_h device, const char *key)
{
    if (!device)
        return nullptr;
    auto it = device->texts.find(key);
    return it == device->texts.end() ? nullptr : const_cast<char *>(it->second.c_str());
}

int simple_call(const char *function)
{
    tvemul::Call call(function);
    call.record();
    long long result;
    if (call.failing(&result))
        return static_cast<int>(result);
    tvemul::log(kTag, "%s", function);
    return 0;
}

}  // namespace

extern "C" {

int usb_device_init(void)
{
    return simple_call("usb_device_init");
}

int usb_device_fini(void)
{
    int result = simple_call("usb_device_fini");
    std::lock_guard<std::mutex> lock(lists_mutex);
    for (usb_device_list_s *list : live_lists())
        delete list;
    live_lists().clear();
    return result;
}

int usb_device_get_device_list(usb_class_e device_class, usb_device_list_h *list)
{
    tvemul::Call call("usb_device_get_device_list");
    call.num(device_class).record();
    long long result;
    if (call.failing(&result))
        return static_cast<int>(result);
    if (!list)
        return -1;
    auto made = new usb_device_list_s;
    for (auto &device : connected_devices())
        if (of_class(*device, device_class))
            made->devices.push_back(std::move(device));
    {
        std::lock_guard<std::mutex> lock(lists_mutex);
        live_lists().insert(made);
    }
    tvemul::log(kTag, "device list of class %d: %zu devices", device_class, made->devices.size());
    *list = made;
    return 0;
}

int usb_device_free_device_list(usb_device_list_h list)
{
    std::lock_guard<std::mutex> lock(lists_mutex);
    if (!list || !live_lists().erase(list))
        return -1;
    delete list;
    return 0;
}

int usb_device_list_get_count(usb_device_list_h list)
{
    return list ? static_cast<int>(list->devices.size()) : -1;
}

int usb_device_list_get_first(usb_device_list_h list, usb_device_h *device)
{
    if (!list || !device || list->devices.empty())
        return -1;
    list->next = 1;
    *device = list->devices[0].get();
    return 0;
}

int usb_device_list_get_next(usb_device_list_h list, usb_device_h *device)
{
    if (!list || !device || list->next >= list->devices.size())
        return -1;
    *device = list->devices[list->next++].get();
    return 0;
}

int usb_device_get_class(usb_device_h device) { return number(device, "class"); }
int usb_device_get_sub_class(usb_device_h device) { return number(device, "sub_class"); }
int usb_device_get_protocol(usb_device_h device) { return number(device, "protocol"); }
int usb_device_get_vendor_id(usb_device_h device) { return number(device, "vendor_id"); }
int usb_device_get_product_id(usb_device_h device) { return number(device, "product_id"); }
int usb_device_get_bus(usb_device_h device) { return number(device, "bus"); }
int usb_device_get_address(usb_device_h device) { return number(device, "address"); }
int usb_device_get_number(usb_device_h device) { return number(device, "number"); }
int usb_device_get_port(usb_device_h device) { return number(device, "port"); }

char *usb_device_get_ports_all(usb_device_h device) { return text(device, "ports"); }
char *usb_device_get_manufacturer(usb_device_h device) { return text(device, "manufacturer"); }
char *usb_device_get_product(usb_device_h device) { return text(device, "product"); }
char *usb_device_get_devname(usb_device_h device) { return text(device, "devname"); }
char *usb_device_get_devpath(usb_device_h device) { return text(device, "devpath"); }
char *usb_device_get_mountpath(usb_device_h device) { return text(device, "mountpath"); }
char *usb_device_get_serial(usb_device_h device) { return text(device, "serial"); }
char *usb_device_get_partlabel(usb_device_h device) { return text(device, "partlabel"); }
char *usb_device_get_model(usb_device_h device) { return text(device, "model"); }
char *usb_device_get_device_id(usb_device_h device) { return text(device, "device_id"); }

int usb_mass_storage_get_filesystem_type(usb_device_h device) { return number(device, "filesystem"); }
int usb_mass_storage_get_disk_type(usb_device_h device) { return number(device, "disk_type"); }
int usb_mass_storage_state(usb_device_h device) { return number(device, "storage_state"); }

int usb_get_connected_device_number(usb_class_e device_class)
{
    tvemul::Call call("usb_get_connected_device_number");
    call.num(device_class).record();
    long long result;
    if (call.failing(&result))
        return static_cast<int>(result);
    int count = 0;
    for (const auto &device : connected_devices())
        count += of_class(*device, device_class);
    return count;
}

}  // extern "C"
