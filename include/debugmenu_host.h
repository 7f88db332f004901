// Interface of the debug-menu host that loads the plug-in.
#ifndef DEBUGMENU_HOST_H
#define DEBUGMENU_HOST_H

#ifdef __cplusplus
extern "C" {
#endif

int menu_print(int level, const char *format, ...) __attribute__((format(printf, 2, 3)));
int waitkeyresponse(void);
int startdlogtag(const char *tag);
int stopdlogtag(int handle);

#ifdef __cplusplus
}
#endif

#endif
