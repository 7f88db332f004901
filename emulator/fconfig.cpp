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

// Fetches NAME for the getter FUNCTION, which wants TYPE; 0 or the negative
// result.
int fetch(const char *function, const char *name, const char *type, std::string *value)
{
    tvemul::KeyFile kf = tvemul::load_state();
    Item item;
    int result = find(kf.get(), name, &item);
    if (result == 0 && item.type != type)
        result = -EINVAL;
    if (result < 0) {
        tvemul::log(kTag, "%s: %s refused (%d)", function, name ? name : "(null)", result);
        return result;
    }
    *value = item.value;
    return 0;
}

// Writes VALUE to NAME for the setter FUNCTION; NAME must exist with TYPE.
int store(const char *function, const char *name, const char *type, const std::string &value)
{
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
        tvemul::log(kTag, "%s: %s refused (%d)", function, name ? name : "(null)", result);
    else
        tvemul::log(kTag, "%s: %s = %s", function, name, value.c_str());
    return result;
}

}  // namespace

extern "C" {

char *fconfig_get_type(const char *name)
{
    TVEMUL_ENTER(name);
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
    TVEMUL_ENTER(name);
    std::string text;
    const int result = fetch(__func__, name, kBoolean, &text);
    if (result < 0)
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
    TVEMUL_ENTER(name);
    std::string text;
    const int result = fetch(__func__, name, kInt, &text);
    if (result < 0)
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
    TVEMUL_ENTER(name);
    std::string text;
    if (fetch(__func__, name, kString, &text) < 0)
        return nullptr;
    tvemul::log(kTag, "fconfig_get_str: %s = %s", name, text.c_str());
    return strdup(text.c_str());
}

int fconfig_set_bool(const char *name, bool value)
{
    TVEMUL_ENTER(name, value);
    return store(__func__, name, kBoolean, value ? "true" : "false");
}

int fconfig_set_int(const char *name, int value)
{
    TVEMUL_ENTER(name, value);
    return store(__func__, name, kInt, std::to_string(value));
}

int fconfig_set_str(const char *name, const char *value)
{
    if (!value) {
        // A missing value is refused before [fail] is consulted.
        TVEMUL_RECORD(name, value);
        tvemul::log(kTag, "fconfig_set_str: %s refused (no value)", name ? name : "(null)");
        return -EINVAL;
    }
    TVEMUL_ENTER(name, value);
    return store(__func__, name, kString, value);
}

}  // extern "C"
