// Storage daemon tool.
#ifndef TAVRIN_STORAGED_H
#define TAVRIN_STORAGED_H

TAVRIN_EXPORT int dlog_menu_storaged(void);

#endif
