// USB device API stand-in over [usb] devices and [usb-device NAME]. With no
// [usb] section, or one that names a sysfs_root (a directory laid out like
// /sys), it lists the machine's own devices from sysfs instead, mount paths
// from [usb] mounts (default /proc/self/mounts).
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
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

// --- The machine's devices, as sysfs shows them. ---

long long read_num(const std::string &path, int base, long long def)
{
    long long value;
    return tvemul::read_number(path, base, &value) ? value : def;
}

// KEY=value of a uevent file, "" when missing.
std::string uevent_value(const std::string &dir, const char *key)
{
    std::ifstream in(dir + "/uevent");
    std::string line;
    const std::string prefix = std::string(key) + "=";
    while (std::getline(in, line)) {
        if (line.compare(0, prefix.size(), prefix) == 0)
            return line.substr(prefix.size());
    }
    return "";
}

bool is_dir(const std::string &path)
{
    struct stat st;
    return stat(path.c_str(), &st) == 0 && S_ISDIR(st.st_mode);
}

// Where PATH really lies below the sysfs root ("/devices/..."), "" when
// outside it.
std::string sysfs_path(const std::string &sys_root, const std::string &path)
{
    std::string result;
    char *real = realpath(path.c_str(), nullptr);
    char *real_root = realpath(sys_root.c_str(), nullptr);
    if (real && real_root) {
        const size_t n = strcmp(real_root, "/") == 0 ? 0 : strlen(real_root);
        if (strncmp(real, real_root, n) == 0 && real[n] == '/')
            result = real + n;
    }
    free(real);
    free(real_root);
    return result;
}

// "2.1" -> {2, 1}: the port chain below the root hub (a root hub is "0").
std::vector<int> port_chain(const std::string &devpath)
{
    std::vector<int> ports;
    const char *p = devpath.c_str();
    while (*p) {
        char *end = nullptr;
        ports.push_back(static_cast<int>(strtol(p, &end, 10)));
        if (end == p)
            break;
        p = *end == '.' ? end + 1 : end;
    }
    return ports;
}

// The SCSI disk of a mass-storage interface: the directory holding
// "block" somewhere below the interface (host*/target*/H:C:T:L).
std::string find_scsi_device(const std::string &dir, int depth)
{
    if (is_dir(dir + "/block"))
        return dir;
    if (depth == 0)
        return "";
    for (const std::string &name : tvemul::sorted_entries(dir)) {
        // Only the host adapter's own tree; links lead back up.
        if (name.compare(0, 4, "host") != 0 && name.compare(0, 6, "target") != 0 &&
            !isdigit(static_cast<unsigned char>(name[0])))
            continue;
        struct stat st;
        const std::string child = dir + "/" + name;
        if (lstat(child.c_str(), &st) != 0 || !S_ISDIR(st.st_mode))
            continue;
        std::string found = find_scsi_device(child, depth - 1);
        if (!found.empty())
            return found;
    }
    return "";
}

// Undoes the octal escapes of blanks and the like in a mounts file.
std::string unescape_mount_field(const std::string &field)
{
    std::string out;
    for (size_t i = 0; i < field.size(); ++i) {
        if (field[i] == '\\' && i + 3 < field.size() && isdigit(static_cast<unsigned char>(field[i + 1]))) {
            out += static_cast<char>(strtol(field.substr(i + 1, 3).c_str(), nullptr, 8));
            i += 3;
        } else {
            out += field[i];
        }
    }
    return out;
}

bool find_mount(const std::string &mounts, const std::string &devname, std::string *dir, std::string *fstype)
{
    std::ifstream in(mounts);
    std::string source, target, type, rest;
    while (in >> source >> target >> type && std::getline(in, rest)) {
        if (unescape_mount_field(source) == devname) {
            *dir = unescape_mount_field(target);
            *fstype = type;
            return true;
        }
    }
    return false;
}

int filesystem_code(const std::string &fstype)
{
    if (fstype == "vfat")
        return 0;
    if (fstype == "exfat")
        return 1;
    if (fstype == "ext4")
        return 2;
    if (fstype == "ntfs" || fstype == "ntfs3" || fstype == "fuseblk")
        return 3;
    return -1;
}

// Disk, partition, model and mount of a mass-storage device.
void add_storage(usb_device_s *device, const std::string &interface, const std::string &sys_root,
                 const std::string &mounts)
{
    device->numbers["disk_type"] = 1;  // attached over USB
    device->numbers["filesystem"] = -1;
    device->numbers["storage_state"] = 2;  // nothing mounted: no usable filesystem
    const std::string scsi = find_scsi_device(interface, 4);
    if (scsi.empty())
        return;  // a card reader without a card
    std::string model;
    if (tvemul::read_attr(scsi + "/model", &model))
        device->texts["model"] = model;
    const std::vector<std::string> disks = tvemul::sorted_entries(scsi + "/block");
    if (disks.empty())
        return;
    std::string block = scsi + "/block/" + disks[0];
    for (const std::string &name : tvemul::sorted_entries(block)) {
        if (access((block + "/" + name + "/partition").c_str(), F_OK) == 0) {
            block += "/" + name;
            break;
        }
    }
    const std::string name = block.substr(block.rfind('/') + 1);
    const std::string devname = "/dev/" + name;
    device->texts["devname"] = devname;
    const std::string path = sysfs_path(sys_root, block);
    if (!path.empty())
        device->texts["devpath"] = path;
    const std::string partname = uevent_value(block, "PARTNAME");
    if (!partname.empty())
        device->texts["partlabel"] = partname;
    std::string dir, fstype;
    if (find_mount(mounts, devname, &dir, &fstype)) {
        device->texts["mountpath"] = dir;
        device->numbers["filesystem"] = filesystem_code(fstype);
        device->numbers["storage_state"] = filesystem_code(fstype) < 0 ? 3 : 0;
    }
}

std::unique_ptr<usb_device_s> sysfs_device(const std::string &sys_root, const std::string &dir,
                                           const std::string &name, const std::string &mounts)
{
    auto device = std::make_unique<usb_device_s>();
    auto &n = device->numbers;
    auto &t = device->texts;
    n["class"] = read_num(dir + "/bDeviceClass", 16, 0);
    n["sub_class"] = read_num(dir + "/bDeviceSubClass", 16, 0);
    n["protocol"] = read_num(dir + "/bDeviceProtocol", 16, 0);
    // Class 0: each interface has its own; the first one names the device.
    std::string interface;
    for (const std::string &entry : tvemul::sorted_entries(dir)) {
        if (entry.size() > name.size() && entry.compare(0, name.size(), name) == 0 && entry[name.size()] == ':') {
            interface = dir + "/" + entry;
            break;
        }
    }
    if (n["class"] == 0 && !interface.empty()) {
        n["class"] = read_num(interface + "/bInterfaceClass", 16, 0);
        n["sub_class"] = read_num(interface + "/bInterfaceSubClass", 16, 0);
        n["protocol"] = read_num(interface + "/bInterfaceProtocol", 16, 0);
    }
    const long long vendor = read_num(dir + "/idVendor", 16, 0);
    const long long product = read_num(dir + "/idProduct", 16, 0);
    n["vendor_id"] = vendor;
    n["product_id"] = product;
    n["bus"] = read_num(dir + "/busnum", 10, 0);
    n["address"] = read_num(dir + "/devnum", 10, 0);
    n["number"] = n["address"];
    std::string devpath;
    tvemul::read_attr(dir + "/devpath", &devpath);
    const std::vector<int> chain = port_chain(devpath);
    n["port"] = chain.empty() ? 0 : chain.back();
    n["filesystem"] = n["disk_type"] = n["storage_state"] = -1;

    t["ports"] = name;
    std::string value;
    for (const char *attr : {"manufacturer", "product", "serial"}) {
        if (tvemul::read_attr(dir + "/" + attr, &value))
            t[attr] = value;
    }
    const std::string devnode = uevent_value(dir, "DEVNAME");
    if (!devnode.empty())
        t["devname"] = "/dev/" + devnode;
    const std::string path = sysfs_path(sys_root, dir);
    if (!path.empty())
        t["devpath"] = path;
    char id[16];
    snprintf(id, sizeof id, "%04llx:%04llx", vendor & 0xffff, product & 0xffff);
    t["device_id"] = id;
    if (n["class"] == USB_CLASS_MASS_STORAGE && !interface.empty())
        add_storage(device.get(), interface, sys_root, mounts);
    return device;
}

// Devices (not interfaces) of SYS/bus/usb/devices, by bus and port chain,
// each root hub first on its bus.
std::vector<std::unique_ptr<usb_device_s>> sysfs_devices(const std::string &sys_root, const std::string &mounts)
{
    const std::string base = sys_root + "/bus/usb/devices/";
    struct Found {
        long long bus;
        std::vector<int> chain;
        std::string name;
    };
    std::vector<Found> found;
    for (const std::string &name : tvemul::sorted_entries(base)) {
        if (name.find(':') != std::string::npos)
            continue;
        std::string devpath;
        tvemul::read_attr(base + name + "/devpath", &devpath);
        found.push_back({read_num(base + name + "/busnum", 10, 0), port_chain(devpath), name});
    }
    std::sort(found.begin(), found.end(), [](const Found &a, const Found &b) {
        return a.bus != b.bus ? a.bus < b.bus : a.chain < b.chain;
    });
    std::vector<std::unique_ptr<usb_device_s>> devices;
    for (const Found &f : found)
        devices.push_back(sysfs_device(sys_root, base + f.name, f.name, mounts));
    return devices;
}

std::vector<std::unique_ptr<usb_device_s>> state_devices(GKeyFile *kf)
{
    std::vector<std::unique_ptr<usb_device_s>> devices;
    gsize count = 0;
    gchar **names = g_key_file_get_string_list(kf, "usb", "devices", &count, nullptr);
    for (gsize i = 0; names && i < count; ++i) {
        if (!*names[i])
            continue;
        const std::string group = std::string("usb-device ") + names[i];
        auto device = std::make_unique<usb_device_s>();
        for (const char *key : kNumberKeys)
            device->numbers[key] = tvemul::get_int(kf, group.c_str(), key, 0);
        for (const char *key : kTextKeys) {
            if (g_key_file_has_key(kf, group.c_str(), key, nullptr))
                device->texts[key] = tvemul::get_str(kf, group.c_str(), key, "");
        }
        devices.push_back(std::move(device));
    }
    g_strfreev(names);
    return devices;
}

// [usb] devices, or the machine's own devices from sysfs when the section
// is missing or names a sysfs_root.
std::vector<std::unique_ptr<usb_device_s>> connected_devices()
{
    tvemul::KeyFile kf = tvemul::load_state();
    if (tvemul::has_group(kf.get(), "usb") && !g_key_file_has_key(kf.get(), "usb", "sysfs_root", nullptr))
        return state_devices(kf.get());
    const std::string root = tvemul::get_str(kf.get(), "usb", "sysfs_root", "/sys");
    const std::string mounts = tvemul::get_str(kf.get(), "usb", "mounts", "/proc/self/mounts");
    return sysfs_devices(root, mounts);
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

}  // namespace

extern "C" {

int usb_device_init(void)
{
    TVEMUL_ENTER();
    tvemul::log(kTag, "%s", __func__);
    return 0;
}

int usb_device_fini(void)
{
    TVEMUL_ENTER();  // a failing fini releases nothing
    tvemul::log(kTag, "%s", __func__);
    std::lock_guard<std::mutex> lock(lists_mutex);
    for (usb_device_list_s *list : live_lists())
        delete list;
    live_lists().clear();
    return 0;
}

int usb_device_get_device_list(usb_class_e device_class, usb_device_list_h *list)
{
    TVEMUL_ENTER(device_class);
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

// The list walk and the getters are not written to calls.log.
int usb_device_free_device_list(usb_device_list_h list)
{
    TVEMUL_FAILABLE();
    std::lock_guard<std::mutex> lock(lists_mutex);
    if (!list || !live_lists().erase(list))
        return -1;
    delete list;
    return 0;
}

int usb_device_list_get_count(usb_device_list_h list)
{
    TVEMUL_FAILABLE();
    return list ? static_cast<int>(list->devices.size()) : -1;
}

int usb_device_list_get_first(usb_device_list_h list, usb_device_h *device)
{
    TVEMUL_FAILABLE();
    if (!list || !device || list->devices.empty())
        return -1;
    list->next = 1;
    *device = list->devices[0].get();
    return 0;
}

int usb_device_list_get_next(usb_device_list_h list, usb_device_h *device)
{
    TVEMUL_FAILABLE();
    if (!list || !device || list->next >= list->devices.size())
        return -1;
    *device = list->devices[list->next++].get();
    return 0;
}

int usb_device_get_class(usb_device_h device) { TVEMUL_FAILABLE(); return number(device, "class"); }
int usb_device_get_sub_class(usb_device_h device) { TVEMUL_FAILABLE(); return number(device, "sub_class"); }
int usb_device_get_protocol(usb_device_h device) { TVEMUL_FAILABLE(); return number(device, "protocol"); }
int usb_device_get_vendor_id(usb_device_h device) { TVEMUL_FAILABLE(); return number(device, "vendor_id"); }
int usb_device_get_product_id(usb_device_h device) { TVEMUL_FAILABLE(); return number(device, "product_id"); }
int usb_device_get_bus(usb_device_h device) { TVEMUL_FAILABLE(); return number(device, "bus"); }
int usb_device_get_address(usb_device_h device) { TVEMUL_FAILABLE(); return number(device, "address"); }
int usb_device_get_number(usb_device_h device) { TVEMUL_FAILABLE(); return number(device, "number"); }
int usb_device_get_port(usb_device_h device) { TVEMUL_FAILABLE(); return number(device, "port"); }

char *usb_device_get_ports_all(usb_device_h device) { TVEMUL_FAILABLE(); return text(device, "ports"); }
char *usb_device_get_manufacturer(usb_device_h device) { TVEMUL_FAILABLE(); return text(device, "manufacturer"); }
char *usb_device_get_product(usb_device_h device) { TVEMUL_FAILABLE(); return text(device, "product"); }
char *usb_device_get_devname(usb_device_h device) { TVEMUL_FAILABLE(); return text(device, "devname"); }
char *usb_device_get_devpath(usb_device_h device) { TVEMUL_FAILABLE(); return text(device, "devpath"); }
char *usb_device_get_mountpath(usb_device_h device) { TVEMUL_FAILABLE(); return text(device, "mountpath"); }
char *usb_device_get_serial(usb_device_h device) { TVEMUL_FAILABLE(); return text(device, "serial"); }
char *usb_device_get_partlabel(usb_device_h device) { TVEMUL_FAILABLE(); return text(device, "partlabel"); }
char *usb_device_get_model(usb_device_h device) { TVEMUL_FAILABLE(); return text(device, "model"); }
char *usb_device_get_device_id(usb_device_h device) { TVEMUL_FAILABLE(); return text(device, "device_id"); }

int usb_mass_storage_get_filesystem_type(usb_device_h device) { TVEMUL_FAILABLE(); return number(device, "filesystem"); }
int usb_mass_storage_get_disk_type(usb_device_h device) { TVEMUL_FAILABLE(); return number(device, "disk_type"); }
int usb_mass_storage_state(usb_device_h device) { TVEMUL_FAILABLE(); return number(device, "storage_state"); }

int usb_get_connected_device_number(usb_class_e device_class)
{
    TVEMUL_ENTER(device_class);
    int count = 0;
    for (const auto &device : connected_devices())
        count += of_class(*device, device_class);
    tvemul::log(kTag, "connected devices of class %d: %d", device_class, count);
    return count;
}

}  // extern "C"
