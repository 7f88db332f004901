// Display capture tool.
#ifndef TAVRIN_CAPTURE_H
#define TAVRIN_CAPTURE_H

TAVRIN_EXPORT int capture_size_setter(void);

#endif
