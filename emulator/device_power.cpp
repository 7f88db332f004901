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

// A request that the development machine must never carry out.
int request(const char *what)
{
    tvemul::log(kTag, "%s requested (recorded only)", what);
    return 0;
}

}  // namespace

extern "C" {

int device_power_set_state(int state, int flag)
{
    TVEMUL_ENTER(state, flag);
    if (!in_range(state, 0, 2))
        return kInvalidParameter;
    return write_state(kPower, "state", state);
}

int device_power_get_state(void)
{
    TVEMUL_ENTER();
    return read_power("state");
}

int device_power_lock_state(int state, int timeout_ms)
{
    TVEMUL_ENTER(state, timeout_ms);
    if (!in_range(state, 0, 3))
        return kInvalidParameter;
    tvemul::log(kTag, "state %d locked for %d ms", state, timeout_ms);
    return 0;
}

int device_power_unlock_state(int state)
{
    TVEMUL_ENTER(state);
    if (!in_range(state, 0, 3))
        return kInvalidParameter;
    tvemul::log(kTag, "state %d unlocked", state);
    return 0;
}

int device_power_request_poweroff(int request_word)
{
    TVEMUL_ENTER(request_word);
    return request("power-off");
}

int device_power_request_reboot(int request_word)
{
    TVEMUL_ENTER(request_word);
    return request("reboot");
}

int device_power_set_wakeup_reason(int reason)
{
    TVEMUL_ENTER(reason);
    return write_state(kPower, "wakeup_reason", reason);
}

int device_power_get_wakeup_reason(void)
{
    TVEMUL_ENTER();
    return read_power("wakeup_reason");
}

int device_power_set_direct_lpm_entry_mode(int wakeup_reason)
{
    TVEMUL_ENTER(wakeup_reason);
    return request("direct low-power mode");
}

int device_power_set_ambient_mode(int mode)
{
    TVEMUL_ENTER(mode);
    if (!in_range(mode, 0, 3))
        return kInvalidParameter;
    return write_state(kPower, "ambient_mode", mode);
}

int device_power_request_ambient_mode_change(int mode, device_power_ambient_change_cb callback,
                                             void *user_data)
{
    TVEMUL_ENTER(mode, callback, user_data);
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
    TVEMUL_ENTER();
    return read_power("ambient_mode");
}

int device_power_set_ambient_mode_type(int type)
{
    TVEMUL_ENTER(type);
    return write_state(kPower, "ambient_type", type);
}

int device_power_unset_ambient_mode_type(int type)
{
    TVEMUL_ENTER(type);
    return write_state(kPower, "ambient_type", 0);
}

int device_power_get_ambient_type(void)
{
    TVEMUL_ENTER();
    return read_power("ambient_type");
}

int device_power_request_ambient_poweroff(void)
{
    TVEMUL_ENTER();
    return request("ambient power-off");
}

int device_set_screen_state(int state)
{
    TVEMUL_ENTER(state);
    if (!in_range(state, 0, 1))
        return kInvalidParameter;
    return write_state("panel", "screen", state);
}

}  // extern "C"
