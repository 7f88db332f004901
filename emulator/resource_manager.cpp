// Resource manager stand-in: a pool of [rm] decoders shared by every process
// of the device. Consumers and allocations live in [rm-state] so that two
// debug menus compete for the same decoders:
//
//   next_handle=3
//   consumers=1:PID:START;2:PID:START;   handle, owning process and its start time
//   held=10:1;                            device:handle, oldest allocation first
//
// A held device is taken back from its consumer through the consumer's
// callback, in whichever process registered it (rm_peers.cpp).
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "rm_api.h"
#include "rm_peers.h"
#include "tvemul.h"

namespace {

const char kTag[] = "RSC_MNG";
const char kGroup[] = "rm-state";

struct Consumer {
    int handle;
    long pid;
    unsigned long long start;
};

struct Hold {
    int device;
    int handle;
};

struct Pool {
    int decoders;
    int first_id;
    std::string node;
    std::string omx;
};

struct RmState {
    int next_handle = 1;
    std::vector<Consumer> consumers;
    std::vector<Hold> held;

    const Consumer *consumer(int handle) const
    {
        for (const Consumer &c : consumers)
            if (c.handle == handle)
                return &c;
        return nullptr;
    }
    const Hold *holder(int device) const
    {
        for (const Hold &h : held)
            if (h.device == device)
                return &h;
        return nullptr;
    }
};

template <typename T, typename Pred>
void drop_if(std::vector<T> &items, Pred pred)
{
    items.erase(std::remove_if(items.begin(), items.end(), pred), items.end());
}

bool contains(const std::vector<int> &items, int item)
{
    return std::find(items.begin(), items.end(), item) != items.end();
}

Pool read_pool(GKeyFile *kf)
{
    Pool pool;
    pool.decoders = static_cast<int>(tvemul::get_int(kf, "rm", "decoders", 1));
    pool.first_id = static_cast<int>(tvemul::get_int(kf, "rm", "device_id", 10));
    pool.node = tvemul::get_str(kf, "rm", "device_node", "/dev/emul-dec0");
    pool.omx = tvemul::get_str(kf, "rm", "omx_comp_name", "OMX.EMUL.VDEC");
    return pool;
}

// The node of the pool's INDEXth decoder: the number that ends the first
// decoder's node counts up ("/dev/emul-dec0", "/dev/emul-dec1", ...).
std::string node_of(const Pool &pool, int index)
{
    size_t digits = pool.node.size();
    while (digits > 0 && isdigit(static_cast<unsigned char>(pool.node[digits - 1])))
        --digits;
    if (digits == pool.node.size())
        return index == 0 ? pool.node : pool.node + std::to_string(index);
    const long base = strtol(pool.node.c_str() + digits, nullptr, 10);
    return pool.node.substr(0, digits) + std::to_string(base + index);
}

std::vector<std::string> get_list(GKeyFile *kf, const char *key)
{
    std::vector<std::string> items;
    gsize count = 0;
    gchar **list = g_key_file_get_string_list(kf, kGroup, key, &count, nullptr);
    for (gsize i = 0; list && i < count; ++i)
        if (*list[i])
            items.emplace_back(list[i]);
    g_strfreev(list);
    return items;
}

void set_list(GKeyFile *kf, const char *key, const std::vector<std::string> &items)
{
    std::vector<const gchar *> list;
    for (const std::string &item : items)
        list.push_back(item.c_str());
    g_key_file_set_string_list(kf, kGroup, key, list.data(), list.size());
}

RmState read_state(GKeyFile *kf)
{
    RmState s;
    s.next_handle = static_cast<int>(tvemul::get_int(kf, kGroup, "next_handle", 1));
    for (const std::string &item : get_list(kf, "consumers")) {
        Consumer c{};
        if (sscanf(item.c_str(), "%d:%ld:%llu", &c.handle, &c.pid, &c.start) == 3)
            s.consumers.push_back(c);
    }
    for (const std::string &item : get_list(kf, "held")) {
        Hold h{};
        if (sscanf(item.c_str(), "%d:%d", &h.device, &h.handle) == 2)
            s.held.push_back(h);
    }
    return s;
}

void write_state(GKeyFile *kf, const RmState &s)
{
    g_key_file_set_integer(kf, kGroup, "next_handle", s.next_handle);
    std::vector<std::string> items;
    for (const Consumer &c : s.consumers)
        items.push_back(std::to_string(c.handle) + ":" + std::to_string(c.pid) + ":" + std::to_string(c.start));
    set_list(kf, "consumers", items);
    items.clear();
    for (const Hold &h : s.held)
        items.push_back(std::to_string(h.device) + ":" + std::to_string(h.handle));
    set_list(kf, "held", items);
}

bool alive(const Consumer &c)
{
    return tvemul::rm_peers::process_start(c.pid) == c.start;
}

// A consumer whose process has ended is dropped with everything it held, as
// the manager does when a client goes away.
bool reap(RmState &s)
{
    std::vector<int> dead;
    for (const Consumer &c : s.consumers)
        if (!alive(c))
            dead.push_back(c.handle);
    for (const Hold &h : s.held)
        if (!s.consumer(h.handle))
            dead.push_back(h.handle);  // a hold without a consumer is free
    if (dead.empty())
        return false;
    drop_if(s.consumers, [&](const Consumer &c) { return contains(dead, c.handle); });
    drop_if(s.held, [&](const Hold &h) { return contains(dead, h.handle); });
    for (int handle : dead)
        tvemul::log(kTag, "consumer %d is gone; its devices are free", handle);
    return true;
}

bool still_held(int device, int handle)
{
    tvemul::KeyFile kf = tvemul::load_state();
    const RmState s = read_state(kf.get());
    const Hold *h = s.holder(device);
    return h && h->handle == handle;
}

// Asks HOLDER to give DEVICE back, in whichever process it lives.
void reclaim(const Consumer &holder, int device)
{
    tvemul::log(kTag, "resource conflict: taking device %d back from consumer %d", device, holder.handle);
    tvemul::rm_peers::take_back(holder.pid, holder.handle, device, still_held);
}

// One attempt at a decoder.
struct Take {
    enum Outcome { Taken, Busy, Failed } outcome = Failed;
    int device = 0;     // Taken: the decoder; Busy: the oldest allocation's
    Consumer holder{};  // Busy: the consumer to ask for DEVICE
    int error = RM_ERROR_RESOURCE_UNAVAILABLE;  // Failed: why
};

// A free decoder of the pool, else the oldest allocation that is not in
// MINE (the devices taken for the same request are never asked back).
Take choose(const RmState &s, const Pool &pool, const std::vector<int> &mine)
{
    Take take;
    for (int i = 0; i < pool.decoders; ++i) {
        if (!s.holder(pool.first_id + i)) {
            take.outcome = Take::Taken;
            take.device = pool.first_id + i;
            return take;
        }
    }
    for (const Hold &oldest : s.held) {
        if (!contains(mine, oldest.device)) {
            take.outcome = Take::Busy;
            take.device = oldest.device;
            take.holder = *s.consumer(oldest.handle);
            return take;
        }
    }
    return take;
}

// Takes a decoder for HANDLE when one is free.
Take take_free(int handle, const std::vector<int> &mine)
{
    tvemul::StateUpdate update;
    RmState s = read_state(update.get());
    const bool reaped = reap(s);
    Take take;
    if (s.consumer(handle))
        take = choose(s, read_pool(update.get()), mine);
    else
        take.error = RM_ERROR_NOT_REGISTERED;
    if (take.outcome == Take::Taken)
        s.held.push_back({take.device, handle});
    if (reaped || take.outcome == Take::Taken) {
        write_state(update.get(), s);
        update.commit();
    }
    return take;
}

int take_device(int handle, const std::vector<int> &mine, int *device)
{
    Take take = take_free(handle, mine);
    if (take.outcome == Take::Busy) {
        // The state lock is not held here: the holder gives back through
        // rm_deallocate_resources, perhaps on this very thread.
        reclaim(take.holder, take.device);
        const int asked = take.device;
        take = take_free(handle, mine);
        if (take.outcome != Take::Taken) {
            tvemul::log(kTag, "device %d was not given back", asked);
            return RM_ERROR_RESOURCE_UNAVAILABLE;
        }
    }
    if (take.outcome == Take::Failed)
        return take.error;
    *device = take.device;
    return RM_OK;
}

void give_back(int handle, const std::vector<int> &devices)
{
    tvemul::StateUpdate update;
    RmState s = read_state(update.get());
    drop_if(s.held, [&](const Hold &h) { return h.handle == handle && contains(devices, h.device); });
    write_state(update.get(), s);
    update.commit();
}

}  // namespace

extern "C" {

int rm_register(rm_resource_cb callback, void *user_data, int *handle, rm_consumer_info *consumer_info)
{
    // Written after the fact: a registration's line ends with its handle.
    const tvemul::Call call(__func__, tvemul::Args(callback, user_data, consumer_info));
    long long result;
    if (call.failing(&result)) {
        call.record();
        return static_cast<int>(result);
    }
    if (!callback || !handle) {
        call.record();
        return RM_ERROR_INVALID_PARAMETER;
    }
    int made;
    {
        tvemul::StateUpdate update;
        RmState s = read_state(update.get());
        reap(s);
        made = std::max(s.next_handle, 1);
        s.next_handle = made + 1;
        s.consumers.push_back({made, static_cast<long>(getpid()), tvemul::rm_peers::process_start(getpid())});
        write_state(update.get(), s);
        if (!update.commit()) {
            call.record();
            return RM_ERROR;
        }
    }
    tvemul::rm_peers::add_consumer(made, callback, user_data);
    call.record_handle(made);
    tvemul::log(kTag, "consumer %d registered", made);
    *handle = made;
    return RM_OK;
}

int rm_unregister(int handle)
{
    TVEMUL_ENTER(handle);
    {
        tvemul::StateUpdate update;
        RmState s = read_state(update.get());
        const bool reaped = reap(s);
        const bool known = s.consumer(handle) != nullptr;
        if (known) {
            drop_if(s.consumers, [&](const Consumer &c) { return c.handle == handle; });
            drop_if(s.held, [&](const Hold &h) { return h.handle == handle; });
        }
        if (known || reaped) {
            write_state(update.get(), s);
            update.commit();
        }
        if (!known) {
            tvemul::log(kTag, "unregister: consumer %d is not registered", handle);
            return RM_ERROR_NOT_REGISTERED;
        }
    }
    tvemul::rm_peers::remove_consumer(handle);
    tvemul::log(kTag, "consumer %d unregistered", handle);
    return RM_OK;
}

int rm_allocate_resources(int handle, const rm_category_request_s *requests, rm_device_return_s *devices)
{
    TVEMUL_ENTER(handle, requests ? tvemul::Args(requests->request_num, requests->category_id[0],
                                                 requests->category_option[0], requests->state[0])
                                  : tvemul::Args(requests));
    if (!requests || !devices || requests->request_num < 1 || requests->request_num > RM_REQUEST_MAX)
        return RM_ERROR_INVALID_PARAMETER;
    const int count = requests->request_num;
    for (int i = 0; i < count; ++i) {
        if (requests->category_id[i] <= 0) {
            tvemul::log(kTag, "allocate: no category %d", requests->category_id[i]);
            return RM_ERROR_INVALID_PARAMETER;
        }
    }

    std::vector<int> taken;
    for (int i = 0; i < count; ++i) {
        int device = 0;
        const int rc = take_device(handle, taken, &device);
        if (rc != RM_OK) {
            // All or nothing.
            if (!taken.empty())
                give_back(handle, taken);
            tvemul::log(kTag, "consumer %d: allocation failed (%d)", handle, rc);
            return rc;
        }
        taken.push_back(device);
    }

    tvemul::KeyFile kf = tvemul::load_state();
    const Pool pool = read_pool(kf.get());
    devices->allocated_num = count;
    for (int i = 0; i < count; ++i) {
        devices->device_id[i] = taken[static_cast<size_t>(i)];
        devices->device_node[i] = strdup(node_of(pool, taken[static_cast<size_t>(i)] - pool.first_id).c_str());
        devices->omx_comp_name[i] = strdup(pool.omx.c_str());
        tvemul::log(kTag, "consumer %d: category %d (option 0x%x) -> device %d %s", handle,
                    requests->category_id[i], static_cast<unsigned>(requests->category_option[i]),
                    devices->device_id[i], devices->device_node[i]);
    }
    return RM_OK;
}

int rm_deallocate_resources(int handle, rm_device_request_s *requests)
{
    TVEMUL_ENTER(handle,
                 requests ? tvemul::Args(requests->request_num, requests->device_id[0]) : tvemul::Args(requests));
    if (!requests || requests->request_num < 1 || requests->request_num > RM_REQUEST_MAX)
        return RM_ERROR_INVALID_PARAMETER;

    tvemul::StateUpdate update;
    RmState s = read_state(update.get());
    const bool reaped = reap(s);
    int rc = RM_OK;
    if (!s.consumer(handle)) {
        rc = RM_ERROR_NOT_REGISTERED;
    } else {
        // Nothing is released unless every named device is the consumer's.
        for (int i = 0; i < requests->request_num && rc == RM_OK; ++i) {
            const Hold *h = s.holder(requests->device_id[i]);
            if (!h || h->handle != handle) {
                tvemul::log(kTag, "consumer %d does not hold device %d", handle, requests->device_id[i]);
                rc = RM_ERROR_INVALID_PARAMETER;
            }
        }
    }
    if (rc == RM_OK) {
        for (int i = 0; i < requests->request_num; ++i) {
            const int device = requests->device_id[i];
            drop_if(s.held, [&](const Hold &h) { return h.device == device; });
            tvemul::log(kTag, "consumer %d gave device %d back", handle, device);
        }
    }
    if (rc == RM_OK || reaped) {
        write_state(update.get(), s);
        update.commit();
    }
    return rc;
}

}  // extern "C"
