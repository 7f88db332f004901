// Factory interface: the factory software's own debug menu and the factory
// reset.
#ifndef FACTORY_INTERFACE_H
#define FACTORY_INTERFACE_H

#ifdef __cplusplus
extern "C" {
#endif

// Prints the factory debug menu on standard output.
int factory_debug_display_menu(void);
// Carries out the factory debug menu entry CHOICE (99 leaves the menu).
int factory_debug_select_menu(int choice);
// Resets the TV to its factory state; 1 on success.
int factory_reset(int mode);

#ifdef __cplusplus
}
#endif

#endif
