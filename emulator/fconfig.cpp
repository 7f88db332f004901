// Feature-config stand-in over the [fconfig] section of state.ini. The
// section's presence is the daemon running; each key is an item with the
// value "TYPE:VALUE" (Boolean true/false, Int decimal, String as is, or any
// other TYPE word, which no getter or setter accepts). Items are never
// created here: the store decides which items exist and their types.
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <string>

#include "fconfig.h"
#include "tvemul.h"

namespace {

const char kGroup[] = "fconfig";
const char kTag[] = "FCONFIG";

const char kBoolean[] = "Boolean";
const char kInt[] = "Int";
const char kString[] = "String";

struct Item {
    std::string type;
    std::string value;
};

// 0 with the item, or the negative result for a caller.
int find(GKeyFile *kf, const char *name, Item *item)
{
    if (!tvemul::has_group(kf, kGroup))
        return -ECONNREFUSED;
    if (!name)
        return -EINVAL;
    gchar *raw = g_key_file_get_value(kf, kGroup, name, nullptr);
    if (!raw)
        return -EINVAL;
    const char *colon = strchr(raw, ':');
    // An entry without a type is not an item the store can report.
    const int result = colon ? 0 : -EINVAL;
    if (colon) {
        item->type.assign(raw, static_cast<std::size_t>(colon - raw));
        item->value = colon + 1;
    }
    g_free(raw);
    return result;
}

// Fetches NAME for a getter that wants TYPE. False when the getter returns
// at once, with what it returns: [fail]'s result, or a negative one.
bool fetch(tvemul::Call &call, const char *name, const char *type, std::string *value, int *result)
{
    call.record();
    long long failed;
    if (call.failing(&failed)) {
        *result = static_cast<int>(failed);
        return false;
    }
    tvemul::KeyFile kf = tvemul::load_state();
    Item item;
    *result = find(kf.get(), name, &item);
    if (*result == 0 && item.type != type)
        *result = -EINVAL;
    if (*result < 0) {
        tvemul::log(kTag, "%s: %s refused (%d)", call.function(), name ? name : "(null)", *result);
        return false;
    }
    *value = item.value;
    return true;
}

// Writes VALUE to NAME, which must exist with TYPE.
int store(tvemul::Call &call, const char *name, const char *type, const std::string &value)
{
    call.record();
    long long failed;
    if (call.failing(&failed))
        return static_cast<int>(failed);
    tvemul::StateUpdate update;
    Item item;
    int result = find(update.get(), name, &item);
    if (result == 0 && (item.type != type || value.find_first_of("\r\n") != std::string::npos))
        result = -EINVAL;
    if (result == 0) {
        const std::string entry = std::string(type) + ":" + value;
        g_key_file_set_value(update.get(), kGroup, name, entry.c_str());
        if (!update.commit())
            result = -EIO;
    }
    if (result < 0)
        tvemul::log(kTag, "%s: %s refused (%d)", call.function(), name ? name : "(null)", result);
    else
        tvemul::log(kTag, "%s: %s = %s", call.function(), name, value.c_str());
    return result;
}

}  // namespace

extern "C" {

char *fconfig_get_type(const char *name)
{
    tvemul::Call call("fconfig_get_type");
    call.text(name).record();
    long long failed;
    if (call.failing(&failed))
        return nullptr;
    tvemul::KeyFile kf = tvemul::load_state();
    Item item;
    const int result = find(kf.get(), name, &item);
    if (result < 0) {
        tvemul::log(kTag, "fconfig_get_type: %s unknown (%d)", name ? name : "(null)", result);
        return nullptr;
    }
    tvemul::log(kTag, "fconfig_get_type: %s is %s", name, item.type.c_str());
    return strdup(item.type.c_str());
}

int fconfig_get_bool(const char *name, bool *value)
{
    tvemul::Call call("fconfig_get_bool");
    call.text(name);
    std::string text;
    int result;
    if (!fetch(call, name, kBoolean, &text, &result))
        return result;
    if (!value || (text != "true" && text != "false")) {
        tvemul::log(kTag, "fconfig_get_bool: %s holds no truth value (%s)", name, text.c_str());
        return -EIO;
    }
    *value = text == "true";
    tvemul::log(kTag, "fconfig_get_bool: %s = %s", name, text.c_str());
    return 0;
}

int fconfig_get_int(const char *name, int *value)
{
    tvemul::Call call("fconfig_get_int");
    call.text(name);
    std::string text;
    int result;
    if (!fetch(call, name, kInt, &text, &result))
        return result;
    const char *s = text.c_str();
    char *end = nullptr;
    errno = 0;
    const long long n = strtoll(s, &end, 10);
    if (!value || end == s || *end != '\0' || errno != 0 || n < INT_MIN || n > INT_MAX) {
        tvemul::log(kTag, "fconfig_get_int: %s holds no integer (%s)", name, s);
        return -EIO;
    }
    *value = static_cast<int>(n);
    tvemul::log(kTag, "fconfig_get_int: %s = %d", name, *value);
    return 0;
}

char *fconfig_get_str(const char *name)
{
    tvemul::Call call("fconfig_get_str");
    call.text(name);
    std::string text;
    int result;
    if (!fetch(call, name, kString, &text, &result))
        return nullptr;
    tvemul::log(kTag, "fconfig_get_str: %s = %s", name, text.c_str());
    return strdup(text.c_str());
}

int fconfig_set_bool(const char *name, bool value)
{
    tvemul::Call call("fconfig_set_bool");
    call.text(name).num(value);
    return store(call, name, kBoolean, value ? "true" : "false");
}

int fconfig_set_int(const char *name, int value)
{
    tvemul::Call call("fconfig_set_int");
    call.text(name).num(value);
    return store(call, name, kInt, std::to_string(value));
}

int fconfig_set_str(const char *name, const char *value)
{
    tvemul::Call call("fconfig_set_str");
    call.text(name).text(value);
    if (!value) {
        call.record();
        tvemul::log(kTag, "fconfig_set_str: %s refused (no value)", name ? name : "(null)");
        return -EINVAL;
    }
    return store(call, name, kString, value);
}

}  // extern "C"
