// USB device inspection.
#ifndef TAVRIN_USB_H
#define TAVRIN_USB_H

#include "tavrin/export.h"

#include "usb_device.h"

TAVRIN_EXPORT int dlog_menu_usb(void);
TAVRIN_EXPORT int print_current_usb_device_info(usb_class_e device_class);
TAVRIN_EXPORT int print_current_connected_storage_device_number(void);
TAVRIN_EXPORT void printf_usb_device(usb_device_s *device);

#endif
