// vconf stand-in over the [vconf] section of state.ini: one key per vconf
// key, value "TYPE:VALUE".
#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "tvemul.h"
#include "vconf.h"

struct _keynode_t {
    std::string name;
    int type;
    std::string value;  // as stored, without the type
};

struct _keylist_t {
    std::vector<_keynode_t> nodes;
    size_t next = 0;
};

namespace {

const char kGroup[] = "vconf";
const char kTag[] = "VCONF";

bool valid_key(const char *key)
{
    if (!key)
        return false;
    for (const char *prefix : {"db/", "file/", "memory/"})
        if (strncmp(key, prefix, strlen(prefix)) == 0)
            return true;
    return false;
}

int type_code(const std::string &word)
{
    if (word == "int")
        return VCONF_TYPE_INT;
    if (word == "bool")
        return VCONF_TYPE_BOOL;
    if (word == "double")
        return VCONF_TYPE_DOUBLE;
    if (word == "string")
        return VCONF_TYPE_STRING;
    return VCONF_TYPE_NONE;
}

const char *type_word(int type)
{
    switch (type) {
    case VCONF_TYPE_INT: return "int";
    case VCONF_TYPE_BOOL: return "bool";
    case VCONF_TYPE_DOUBLE: return "double";
    default: return "string";
    }
}

// Splits "TYPE:VALUE"; false when the entry has no type.
bool split(const std::string &raw, int *type, std::string *value)
{
    size_t colon = raw.find(':');
    if (colon == std::string::npos)
        return false;
    *type = type_code(raw.substr(0, colon));
    *value = raw.substr(colon + 1);
    return true;
}

bool lookup(const char *key, int want_type, std::string *value)
{
    if (!valid_key(key))
        return false;
    tvemul::KeyFile kf = tvemul::load_state();
    gchar *raw = g_key_file_get_value(kf.get(), kGroup, key, nullptr);
    if (!raw)
        return false;
    int type;
    bool ok = split(raw, &type, value) && type == want_type;
    g_free(raw);
    return ok;
}

int store(const char *function, const char *key, int type, const std::string &value, tvemul::Call &call)
{
    call.record();
    long long result;
    if (call.failing(&result))
        return static_cast<int>(result);
    if (!valid_key(key))
        return -1;

    tvemul::StateUpdate update;
    gchar *raw = g_key_file_get_value(update.get(), kGroup, key, nullptr);
    if (raw) {
        int old_type;
        std::string old_value;
        bool same = split(raw, &old_type, &old_value) && old_type == type;
        g_free(raw);
        if (!same)
            return -1;
    }
    const std::string entry = std::string(type_word(type)) + ":" + value;
    g_key_file_set_value(update.get(), kGroup, key, entry.c_str());
    if (!update.commit())
        return -1;
    tvemul::log(kTag, "%s: %s = %s", function, key, entry.c_str());
    return 0;
}

bool parse_int(const std::string &text, long long *out)
{
    char *end = nullptr;
    *out = strtoll(text.c_str(), &end, 10);
    return end != text.c_str();
}

}  // namespace

extern "C" {

int vconf_set_int(const char *in_key, const int intval)
{
    tvemul::Call call("vconf_set_int");
    call.text(in_key).num(intval);
    return store("vconf_set_int", in_key, VCONF_TYPE_INT, std::to_string(intval), call);
}

int vconf_set_bool(const char *in_key, const int boolval)
{
    tvemul::Call call("vconf_set_bool");
    call.text(in_key).num(boolval);
    return store("vconf_set_bool", in_key, VCONF_TYPE_BOOL, boolval ? "1" : "0", call);
}

int vconf_set_dbl(const char *in_key, const double dblval)
{
    tvemul::Call call("vconf_set_dbl");
    call.text(in_key);
    gchar buf[G_ASCII_DTOSTR_BUF_SIZE];
    g_snprintf(buf, sizeof buf, "%.17g", dblval);
    return store("vconf_set_dbl", in_key, VCONF_TYPE_DOUBLE, buf, call);
}

int vconf_set_str(const char *in_key, const char *strval)
{
    tvemul::Call call("vconf_set_str");
    call.text(in_key).text(strval);
    if (!strval) {
        call.record();
        return -1;
    }
    return store("vconf_set_str", in_key, VCONF_TYPE_STRING, strval, call);
}

int vconf_get_int(const char *in_key, int *intval)
{
    tvemul::Call call("vconf_get_int");
    call.text(in_key).record();
    long long result;
    if (call.failing(&result))
        return static_cast<int>(result);
    std::string value;
    long long n;
    if (!intval || !lookup(in_key, VCONF_TYPE_INT, &value) || !parse_int(value, &n))
        return -1;
    *intval = static_cast<int>(n);
    return 0;
}

int vconf_get_bool(const char *in_key, int *boolval)
{
    tvemul::Call call("vconf_get_bool");
    call.text(in_key).record();
    long long result;
    if (call.failing(&result))
        return static_cast<int>(result);
    std::string value;
    long long n;
    if (!boolval || !lookup(in_key, VCONF_TYPE_BOOL, &value) || !parse_int(value, &n))
        return -1;
    *boolval = n != 0;
    return 0;
}

int vconf_get_dbl(const char *in_key, double *dblval)
{
    tvemul::Call call("vconf_get_dbl");
    call.text(in_key).record();
    long long result;
    if (call.failing(&result))
        return static_cast<int>(result);
    std::string value;
    if (!dblval || !lookup(in_key, VCONF_TYPE_DOUBLE, &value))
        return -1;
    *dblval = strtod(value.c_str(), nullptr);
    return 0;
}

char *vconf_get_str(const char *in_key)
{
    tvemul::Call call("vconf_get_str");
    call.text(in_key).record();
    long long result;
    if (call.failing(&result))
        return nullptr;
    std::string value;
    if (!lookup(in_key, VCONF_TYPE_STRING, &value))
        return nullptr;
    return strdup(value.c_str());
}

keylist_t *vconf_keylist_new(void)
{
    return new _keylist_t;
}

int vconf_keylist_free(keylist_t *keylist)
{
    delete keylist;
    return 0;
}

int vconf_keylist_rewindnode(keylist_t *keylist)
{
    if (!keylist)
        return -1;
    keylist->next = 0;
    return 0;
}

keynode_t *vconf_keylist_nextnode(keylist_t *keylist)
{
    if (!keylist || keylist->next >= keylist->nodes.size())
        return nullptr;
    return &keylist->nodes[keylist->next++];
}

int vconf_get(keylist_t *keylist, const char *in_parentDIR, get_option_t option)
{
    tvemul::Call call("vconf_get");
    call.ptr(keylist).text(in_parentDIR).num(option).record();
    long long result;
    if (call.failing(&result))
        return static_cast<int>(result);
    if (!keylist || !in_parentDIR)
        return -1;

    tvemul::KeyFile kf = tvemul::load_state();
    gsize count = 0;
    gchar **keys = g_key_file_get_keys(kf.get(), kGroup, &count, nullptr);
    const size_t prefix_len = strlen(in_parentDIR);
    for (gsize i = 0; keys && i < count; ++i) {
        if (strncmp(keys[i], in_parentDIR, prefix_len) != 0)
            continue;
        gchar *raw = g_key_file_get_value(kf.get(), kGroup, keys[i], nullptr);
        _keynode_t node{keys[i], VCONF_TYPE_NONE, raw ? raw : ""};
        int type;
        std::string value;
        if (raw && split(raw, &type, &value)) {
            node.type = type;
            node.value = value;
        }
        g_free(raw);
        keylist->nodes.push_back(std::move(node));
    }
    g_strfreev(keys);
    std::sort(keylist->nodes.begin(), keylist->nodes.end(),
              [](const _keynode_t &a, const _keynode_t &b) { return strcmp(a.name.c_str(), b.name.c_str()) < 0; });
    keylist->next = 0;
    return 0;
}

char *vconf_keynode_get_name(keynode_t *keynode)
{
    return keynode ? const_cast<char *>(keynode->name.c_str()) : nullptr;
}

int vconf_keynode_get_type(keynode_t *keynode)
{
    return keynode ? keynode->type : -1;
}

int vconf_keynode_get_int(const keynode_t *keynode)
{
    long long n = 0;
    return keynode && keynode->type == VCONF_TYPE_INT && parse_int(keynode->value, &n) ? static_cast<int>(n) : -1;
}

int vconf_keynode_get_bool(const keynode_t *keynode)
{
    long long n = 0;
    return keynode && keynode->type == VCONF_TYPE_BOOL && parse_int(keynode->value, &n) ? n != 0 : -1;
}

double vconf_keynode_get_dbl(const keynode_t *keynode)
{
    return keynode && keynode->type == VCONF_TYPE_DOUBLE ? strtod(keynode->value.c_str(), nullptr) : -1.0;
}

char *vconf_keynode_get_str(const keynode_t *keynode)
{
    return keynode && keynode->type == VCONF_TYPE_STRING ? const_cast<char *>(keynode->value.c_str()) : nullptr;
}

}  // extern "C"
