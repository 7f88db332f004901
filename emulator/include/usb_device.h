// USB device API of the TV platform.
#ifndef USB_DEVICE_H
#define USB_DEVICE_H

#ifdef __cplusplus
extern "C" {
#endif

typedef enum {
    USB_CLASS_ALL = -1,
    USB_CLASS_REF_INTERFACE = 0,
    USB_CLASS_AUDIO = 1,
    USB_CLASS_CDC = 2,
    USB_CLASS_HID = 3,
    USB_CLASS_CAMERA = 6,
    USB_CLASS_PRINTER = 7,
    USB_CLASS_MASS_STORAGE = 8,
    USB_CLASS_HUB = 9,
    USB_CLASS_VIDEO = 14,
    USB_CLASS_MISCELLANEOUS = 239,
    USB_CLASS_VENDOR_SPECIFIC = 255,
} usb_class_e;

typedef struct usb_device_s usb_device_s;
typedef usb_device_s *usb_device_h;
typedef struct usb_device_list_s *usb_device_list_h;

int usb_device_init(void);
int usb_device_fini(void);

// Lists are released with usb_device_free_device_list, or at the latest by
// usb_device_fini.
int usb_device_get_device_list(usb_class_e device_class, usb_device_list_h *list);
int usb_device_free_device_list(usb_device_list_h list);
int usb_device_list_get_count(usb_device_list_h list);
int usb_device_list_get_first(usb_device_list_h list, usb_device_h *device);
int usb_device_list_get_next(usb_device_list_h list, usb_device_h *device);

int usb_device_get_class(usb_device_h device);
int usb_device_get_sub_class(usb_device_h device);
int usb_device_get_protocol(usb_device_h device);
int usb_device_get_vendor_id(usb_device_h device);
int usb_device_get_product_id(usb_device_h device);
int usb_device_get_bus(usb_device_h device);
int usb_device_get_address(usb_device_h device);
int usb_device_get_number(usb_device_h device);
int usb_device_get_port(usb_device_h device);

// Texts belong to the device (valid while its list lives); null when the
// device has no such property.
char *usb_device_get_ports_all(usb_device_h device);
char *usb_device_get_manufacturer(usb_device_h device);
char *usb_device_get_product(usb_device_h device);
char *usb_device_get_devname(usb_device_h device);
char *usb_device_get_devpath(usb_device_h device);
char *usb_device_get_mountpath(usb_device_h device);
char *usb_device_get_serial(usb_device_h device);
char *usb_device_get_partlabel(usb_device_h device);
char *usb_device_get_model(usb_device_h device);
char *usb_device_get_device_id(usb_device_h device);

int usb_mass_storage_get_filesystem_type(usb_device_h device);
int usb_mass_storage_get_disk_type(usb_device_h device);
int usb_mass_storage_state(usb_device_h device);

int usb_get_connected_device_number(usb_class_e device_class);

#ifdef __cplusplus
}
#endif

#endif
