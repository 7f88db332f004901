// Buxton database tool.
#ifndef TAVRIN_BUXTON_H
#define TAVRIN_BUXTON_H

TAVRIN_EXPORT int dlog_menu_buxton(void);

#endif
