// Factory test loop.
#ifndef TAVRIN_FACTORY_H
#define TAVRIN_FACTORY_H

#include "tavrin/export.h"

TAVRIN_EXPORT void FactoryDebuger(void);

#endif
