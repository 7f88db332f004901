// Feature-config tool.
#ifndef TAVRIN_FEATURE_CONFIG_H
#define TAVRIN_FEATURE_CONFIG_H

TAVRIN_EXPORT int feature_config_test(void);

#endif
