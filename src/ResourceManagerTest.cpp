// Resource manager consumer tool.
#include "tavrin_debugmenu.h"

void rm_register_consumer(void) {}

void rm_allocate_resource(void) {}

void rm_deallocate_resource(void) {}

void rm_unregister_consumer(void) {}

void rm_enable_resource_monitor(void) {}

void rm_disable_resource_monitor(void) {}

void rc_request_switch_best_quality_zone(void) {}
