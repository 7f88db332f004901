// Resource manager consumer tool.
#ifndef TAVRIN_RESOURCE_MANAGER_H
#define TAVRIN_RESOURCE_MANAGER_H

#include "tavrin/export.h"

#include "rm_api.h"

TAVRIN_EXPORT void rm_register_consumer(void);
TAVRIN_EXPORT void rm_allocate_resource(void);
TAVRIN_EXPORT void rm_deallocate_resource(void);
TAVRIN_EXPORT void rm_unregister_consumer(void);
TAVRIN_EXPORT void rm_enable_resource_monitor(void);
TAVRIN_EXPORT void rm_disable_resource_monitor(void);
TAVRIN_EXPORT void rc_request_switch_best_quality_zone(void);

// The consumer's callback: gives back what the resource manager takes.
TAVRIN_EXPORT int conflict_cb(int handle, rm_callback_type event, rm_device_request_s *request, void *user_data);

#endif
