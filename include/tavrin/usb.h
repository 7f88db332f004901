// USB device inspection.
#ifndef TAVRIN_USB_H
#define TAVRIN_USB_H

TAVRIN_EXPORT int dlog_menu_usb(void);

#endif
