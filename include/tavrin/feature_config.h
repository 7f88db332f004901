// Feature-config tool: items of the TV's feature-config store.
#ifndef TAVRIN_FEATURE_CONFIG_H
#define TAVRIN_FEATURE_CONFIG_H

#include "tavrin/export.h"

TAVRIN_EXPORT int feature_config_test(void);
TAVRIN_EXPORT void feature_config_get_data(void);
TAVRIN_EXPORT void feature_config_set_data(void);

#endif
