// Device power tool.
#ifndef TAVRIN_DEVICED_H
#define TAVRIN_DEVICED_H

TAVRIN_EXPORT int dlog_menu_deviced(void);

#endif
