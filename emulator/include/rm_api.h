// Resource manager: consumers register, allocate hardware devices by
// category and give them back. When another consumer needs a device that is
// held, the manager asks the holder to give it back through the holder's
// callback.
#ifndef RM_API_H
#define RM_API_H

#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

#define RM_OK 0
#define RM_ERROR (-1)
#define RM_ERROR_INVALID_PARAMETER (-2)
#define RM_ERROR_NOT_REGISTERED (-3)
#define RM_ERROR_RESOURCE_UNAVAILABLE (-4)

// Entries of one request; a request names at most this many categories or
// devices.
#define RM_REQUEST_MAX 10

typedef enum {
    RM_CALLBACK_TYPE_RESOURCE_CONFLICT = 1,
} rm_callback_type;

// How a category is asked for.
typedef enum {
    RM_STATE_PASSIVE = 0,
    RM_STATE_SHARABLE = 1,
    RM_STATE_EXCLUSIVE = 2,
} rm_resource_state;

// Categories asked for by rm_allocate_resources: 164 bytes.
typedef struct {
    int32_t request_num;
    int32_t category_id[RM_REQUEST_MAX];
    int32_t category_option[RM_REQUEST_MAX];
    int32_t state[RM_REQUEST_MAX];  // rm_resource_state
    int32_t reserved[RM_REQUEST_MAX];
} rm_category_request_s;

// Devices handed out by rm_allocate_resources, entry i for category i.
// The texts are allocated by the manager and belong to the caller, who
// frees them with free().
//
// On the TV (32-bit) the record is 1408 bytes and device_id,
// device_node and omx_comp_name lie at offsets 4, 44 and 84. On a 64-bit
// build the pointers are 8 bytes wide and 8-aligned, so the two text
// arrays move to 48 and 128 and the record grows to 1496 bytes: code must
// read it through these members, never through fixed offsets.
typedef struct {
    int32_t allocated_num;
    int32_t device_id[RM_REQUEST_MAX];
    char *device_node[RM_REQUEST_MAX];
    char *omx_comp_name[RM_REQUEST_MAX];
    int32_t reserved[321];  // fields the manager does not fill
} rm_device_return_s;

// Devices named in a release, and in a conflict callback: 84 bytes.
typedef struct {
    int32_t request_num;
    int32_t device_id[RM_REQUEST_MAX];
    int32_t reserved[RM_REQUEST_MAX];
} rm_device_request_s;

#ifdef __cplusplus
#define RM_LAYOUT_CHECK(cond) static_assert(cond, #cond)
#else
#define RM_LAYOUT_CHECK(cond) _Static_assert(cond, #cond)
#endif
RM_LAYOUT_CHECK(sizeof(rm_category_request_s) == 164);
RM_LAYOUT_CHECK(offsetof(rm_category_request_s, category_id) == 4);
RM_LAYOUT_CHECK(offsetof(rm_category_request_s, category_option) == 44);
RM_LAYOUT_CHECK(offsetof(rm_category_request_s, state) == 84);
RM_LAYOUT_CHECK(sizeof(rm_device_request_s) == 84);
RM_LAYOUT_CHECK(offsetof(rm_device_request_s, device_id) == 4);
RM_LAYOUT_CHECK(offsetof(rm_device_return_s, device_id) == 4);
#if UINTPTR_MAX == 0xffffffffu
RM_LAYOUT_CHECK(sizeof(rm_device_return_s) == 1408);
RM_LAYOUT_CHECK(offsetof(rm_device_return_s, device_node) == 44);
RM_LAYOUT_CHECK(offsetof(rm_device_return_s, omx_comp_name) == 84);
#elif UINTPTR_MAX == 0xffffffffffffffffu
RM_LAYOUT_CHECK(sizeof(rm_device_return_s) == 1496);
RM_LAYOUT_CHECK(offsetof(rm_device_return_s, device_node) == 48);
RM_LAYOUT_CHECK(offsetof(rm_device_return_s, omx_comp_name) == 128);
#endif
#undef RM_LAYOUT_CHECK

// Called when the manager takes the devices of REQUEST back from the
// consumer HANDLE; the consumer gives them back with
// rm_deallocate_resources. It comes on the thread that asked for the
// devices when the holder lives in the same process, else on a thread of
// the library's own.
typedef int (*rm_resource_cb)(int handle, rm_callback_type event, rm_device_request_s *request,
                              void *user_data);

typedef struct rm_consumer_info rm_consumer_info;

int rm_register(rm_resource_cb callback, void *user_data, int *handle, rm_consumer_info *consumer_info);
int rm_unregister(int handle);
int rm_allocate_resources(int handle, const rm_category_request_s *requests, rm_device_return_s *devices);
int rm_deallocate_resources(int handle, rm_device_request_s *requests);

#ifdef __cplusplus
}
#endif

#endif
