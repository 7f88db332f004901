// Factory test loop.
#ifndef TAVRIN_FACTORY_H
#define TAVRIN_FACTORY_H

TAVRIN_EXPORT void FactoryDebuger(void);

#endif
