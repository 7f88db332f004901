// What the plug-in exports: everything else is hidden.
#ifndef TAVRIN_EXPORT_H
#define TAVRIN_EXPORT_H

#define TAVRIN_EXPORT __attribute__((visibility("default")))

#endif
