// Resource manager consumer tool.
#ifndef TAVRIN_RESOURCE_MANAGER_H
#define TAVRIN_RESOURCE_MANAGER_H

TAVRIN_EXPORT void rm_register_consumer(void);
TAVRIN_EXPORT void rm_allocate_resource(void);
TAVRIN_EXPORT void rm_deallocate_resource(void);
TAVRIN_EXPORT void rm_unregister_consumer(void);
TAVRIN_EXPORT void rm_enable_resource_monitor(void);
TAVRIN_EXPORT void rm_disable_resource_monitor(void);
TAVRIN_EXPORT void rc_request_switch_best_quality_zone(void);

#endif
