// Result codes shared by the device API (battery, power, display).
#ifndef DEVICE_ERROR_H
#define DEVICE_ERROR_H

#ifdef __cplusplus
extern "C" {
#endif

typedef enum {
    DEVICE_ERROR_NONE = 0,
    DEVICE_ERROR_OPERATION_FAILED = -1,
    DEVICE_ERROR_PERMISSION_DENIED = -13,
    DEVICE_ERROR_INVALID_PARAMETER = -22,
    DEVICE_ERROR_NOT_SUPPORTED = -1073741822,  // 0xC0000002
} device_error_e;

#ifdef __cplusplus
}
#endif

#endif
