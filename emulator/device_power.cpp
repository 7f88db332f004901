// Device power and display stand-in over [power] and [panel] screen.
// Power-off, reboot and low-power requests are recorded, never carried out.
#include <thread>

#include "device/display.h"
#include "device/power.h"
#include "tvemul.h"

namespace {

const char kTag[] = "DEVICED";
const char kPower[] = "power";

// The platform's answers to a bad argument and to a state it cannot keep.
constexpr int kInvalidParameter = -22;
constexpr int kOperationFailed = -5;

// Records the call; true when [fail] names it, with what it returns then.
bool failing(tvemul::Call &call, int *result)
{
    call.record();
    long long forced;
    if (!call.failing(&forced))
        return false;
    *result = static_cast<int>(forced);
    return true;
}

bool in_range(int value, int low, int high)
{
    return value >= low && value <= high;
}

int read_power(const char *key)
{
    tvemul::KeyFile kf = tvemul::load_state();
    return static_cast<int>(tvemul::get_int(kf.get(), kPower, key, 0));
}

int write_state(const char *group, const char *key, int value)
{
    if (!tvemul::set_int(group, key, value))
        return kOperationFailed;
    tvemul::log(kTag, "%s %s = %d", group, key, value);
    return 0;
}

// A getter: the [power] key, or what [fail] forces.
int get_power(const char *function, const char *key)
{
    tvemul::Call call(function);
    int result;
    if (failing(call, &result))
        return result;
    return read_power(key);
}

// A request that the development machine must never carry out.
int request(tvemul::Call &call, const char *what)
{
    int result;
    if (failing(call, &result))
        return result;
    tvemul::log(kTag, "%s requested (recorded only)", what);
    return 0;
}

}  // namespace

extern "C" {

int device_power_set_state(int state, int flag)
{
    tvemul::Call call("device_power_set_state");
    call.num(state).num(flag);
    int result;
    if (failing(call, &result))
        return result;
    if (!in_range(state, 0, 2))
        return kInvalidParameter;
    return write_state(kPower, "state", state);
}

int device_power_get_state(void)
{
    return get_power("device_power_get_state", "state");
}

int device_power_lock_state(int state, int timeout_ms)
{
    tvemul::Call call("device_power_lock_state");
    call.num(state).num(timeout_ms);
    int result;
    if (failing(call, &result))
        return result;
    if (!in_range(state, 0, 3))
        return kInvalidParameter;
    tvemul::log(kTag, "state %d locked for %d ms", state, timeout_ms);
    return 0;
}

int device_power_unlock_state(int state)
{
    tvemul::Call call("device_power_unlock_state");
    call.num(state);
    int result;
    if (failing(call, &result))
        return result;
    if (!in_range(state, 0, 3))
        return kInvalidParameter;
    tvemul::log(kTag, "state %d unlocked", state);
    return 0;
}

int device_power_request_poweroff(int request_word)
{
    tvemul::Call call("device_power_request_poweroff");
    call.num(request_word);
    return request(call, "power-off");
}

int device_power_request_reboot(int request_word)
{
    tvemul::Call call("device_power_request_reboot");
    call.num(request_word);
    return request(call, "reboot");
}

int device_power_set_wakeup_reason(int reason)
{
    tvemul::Call call("device_power_set_wakeup_reason");
    call.num(reason);
    int result;
    if (failing(call, &result))
        return result;
    return write_state(kPower, "wakeup_reason", reason);
}

int device_power_get_wakeup_reason(void)
{
    return get_power("device_power_get_wakeup_reason", "wakeup_reason");
}

int device_power_set_direct_lpm_entry_mode(int wakeup_reason)
{
    tvemul::Call call("device_power_set_direct_lpm_entry_mode");
    call.num(wakeup_reason);
    return request(call, "direct low-power mode");
}

int device_power_set_ambient_mode(int mode)
{
    tvemul::Call call("device_power_set_ambient_mode");
    call.num(mode);
    int result;
    if (failing(call, &result))
        return result;
    if (!in_range(mode, 0, 3))
        return kInvalidParameter;
    return write_state(kPower, "ambient_mode", mode);
}

int device_power_request_ambient_mode_change(int mode, device_power_ambient_change_cb callback,
                                             void *user_data)
{
    tvemul::Call call("device_power_request_ambient_mode_change");
    call.num(mode).ptr(reinterpret_cast<const void *>(callback)).ptr(user_data);
    int result;
    if (failing(call, &result))
        return result;
    if (!in_range(mode, 0, 3) || !callback)
        return kInvalidParameter;

    const int change_result = read_power("ambient_change_result");
    if (change_result == 0 && write_state(kPower, "ambient_mode", mode) != 0)
        return kOperationFailed;
    // The platform answers from its own thread; waiting for it keeps the
    // callback's output ahead of the caller's.
    std::thread delivery([=] { callback(change_result, user_data); });
    delivery.join();
    return 0;
}

int device_power_get_ambient_mode(void)
{
    return get_power("device_power_get_ambient_mode", "ambient_mode");
}

int device_power_set_ambient_mode_type(int type)
{
    tvemul::Call call("device_power_set_ambient_mode_type");
    call.num(type);
    int result;
    if (failing(call, &result))
        return result;
    return write_state(kPower, "ambient_type", type);
}

int device_power_unset_ambient_mode_type(int type)
{
    tvemul::Call call("device_power_unset_ambient_mode_type");
    call.num(type);
    int result;
    if (failing(call, &result))
        return result;
    return write_state(kPower, "ambient_type", 0);
}

int device_power_get_ambient_type(void)
{
    return get_power("device_power_get_ambient_type", "ambient_type");
}

int device_power_request_ambient_poweroff(void)
{
    tvemul::Call call("device_power_request_ambient_poweroff");
    return request(call, "ambient power-off");
}

int device_set_screen_state(int state)
{
    tvemul::Call call("device_set_screen_state");
    call.num(state);
    int result;
    if (failing(call, &result))
        return result;
    if (!in_range(state, 0, 1))
        return kInvalidParameter;
    return write_state("panel", "screen", state);
}

}  // extern "C"
