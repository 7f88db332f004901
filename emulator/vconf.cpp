// vconf stand-in over the [vconf] section of state.ini: one key per vconf
// key, value "TYPE:VALUE" with TYPE int, bool, double or string. An entry
// with any other TYPE, or with none, is a key of a type that no getter or
// setter here handles; the key list reports it as VCONF_TYPE_NONE.
#include <algorithm>
#include <cerrno>
#include <climits>
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
    bool layer = false;
    for (const char *prefix : {"db/", "file/", "memory/"})
        if (strncmp(key, prefix, strlen(prefix)) == 0)
            layer = true;
    if (!layer)
        return false;
    // Names that state.ini could not hold as one key line.
    for (const char *p = key; *p; ++p) {
        const unsigned char c = static_cast<unsigned char>(*p);
        if (c <= ' ' || c == 0x7f || c == '=' || c == '[' || c == ']')
            return false;
    }
    return true;
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

// Splits "TYPE:VALUE"; an entry without a type is VCONF_TYPE_NONE.
void split(const char *raw, int *type, std::string *value)
{
    const char *colon = strchr(raw, ':');
    if (!colon) {
        *type = VCONF_TYPE_NONE;
        *value = raw;
        return;
    }
    *type = type_code(std::string(raw, colon));
    *value = colon + 1;
}

// The stored value of KEY when it exists with WANT_TYPE.
bool lookup(const char *key, int want_type, std::string *value)
{
    if (!valid_key(key))
        return false;
    tvemul::KeyFile kf = tvemul::load_state();
    gchar *raw = g_key_file_get_value(kf.get(), kGroup, key, nullptr);
    if (!raw)
        return false;
    int type;
    split(raw, &type, value);
    g_free(raw);
    return type == want_type;
}

// Writes KEY for the setter FUNCTION; a missing key is made with TYPE.
int store(const char *function, const char *key, int type, const std::string &value)
{
    if (!valid_key(key) || value.find_first_of("\r\n") != std::string::npos) {
        tvemul::log(kTag, "%s: refused", function);
        return -1;
    }

    tvemul::StateUpdate update;
    gchar *raw = g_key_file_get_value(update.get(), kGroup, key, nullptr);
    if (raw) {
        int old_type;
        std::string old_value;
        split(raw, &old_type, &old_value);
        g_free(raw);
        if (old_type != type) {
            tvemul::log(kTag, "%s: %s has another type", function, key);
            return -1;
        }
    }
    const std::string entry = std::string(type_word(type)) + ":" + value;
    g_key_file_set_value(update.get(), kGroup, key, entry.c_str());
    if (!update.commit())
        return -1;
    tvemul::log(kTag, "%s: %s = %s", function, key, entry.c_str());
    return 0;
}

// Whole-text conversions: a malformed entry is a failed read, not a 0.
bool parse_int(const std::string &text, int *out)
{
    const char *s = text.c_str();
    char *end = nullptr;
    errno = 0;
    const long long n = strtoll(s, &end, 10);
    if (end == s || *end != '\0' || errno != 0 || n < INT_MIN || n > INT_MAX)
        return false;
    *out = static_cast<int>(n);
    return true;
}

bool parse_bool(const std::string &text, int *out)
{
    if (text != "0" && text != "1")
        return false;
    *out = text == "1";
    return true;
}

bool parse_double(const std::string &text, double *out)
{
    const char *s = text.c_str();
    char *end = nullptr;
    const double d = g_ascii_strtod(s, &end);
    if (end == s || *end != '\0')
        return false;
    *out = d;
    return true;
}

// The stored text of KEY for the getter FUNCTION, which wants TYPE.
bool fetch(const char *function, const char *key, int type, std::string *value)
{
    if (!lookup(key, type, value)) {
        tvemul::log(kTag, "%s: %s not found", function, key ? key : "(null)");
        return false;
    }
    return true;
}

}  // namespace

extern "C" {

int vconf_set_int(const char *in_key, const int intval)
{
    TVEMUL_ENTER(in_key, intval);
    return store(__func__, in_key, VCONF_TYPE_INT, std::to_string(intval));
}

int vconf_set_bool(const char *in_key, const int boolval)
{
    TVEMUL_ENTER(in_key, boolval);
    return store(__func__, in_key, VCONF_TYPE_BOOL, boolval ? "1" : "0");
}

int vconf_set_dbl(const char *in_key, const double dblval)
{
    TVEMUL_ENTER(in_key, dblval);
    gchar buf[G_ASCII_DTOSTR_BUF_SIZE];
    g_ascii_formatd(buf, sizeof buf, "%.17g", dblval);
    return store(__func__, in_key, VCONF_TYPE_DOUBLE, buf);
}

int vconf_set_str(const char *in_key, const char *strval)
{
    if (!strval) {
        // A missing value is refused before [fail] is consulted.
        TVEMUL_RECORD(in_key, strval);
        return -1;
    }
    TVEMUL_ENTER(in_key, strval);
    return store(__func__, in_key, VCONF_TYPE_STRING, strval);
}

int vconf_get_int(const char *in_key, int *intval)
{
    TVEMUL_ENTER(in_key);
    std::string value;
    if (!fetch(__func__, in_key, VCONF_TYPE_INT, &value))
        return -1;
    if (!intval || !parse_int(value, intval))
        return -1;
    tvemul::log(kTag, "vconf_get_int: %s = %d", in_key, *intval);
    return 0;
}

int vconf_get_bool(const char *in_key, int *boolval)
{
    TVEMUL_ENTER(in_key);
    std::string value;
    if (!fetch(__func__, in_key, VCONF_TYPE_BOOL, &value))
        return -1;
    if (!boolval || !parse_bool(value, boolval))
        return -1;
    tvemul::log(kTag, "vconf_get_bool: %s = %d", in_key, *boolval);
    return 0;
}

int vconf_get_dbl(const char *in_key, double *dblval)
{
    TVEMUL_ENTER(in_key);
    std::string value;
    if (!fetch(__func__, in_key, VCONF_TYPE_DOUBLE, &value))
        return -1;
    if (!dblval || !parse_double(value, dblval))
        return -1;
    tvemul::log(kTag, "vconf_get_dbl: %s = %s", in_key, value.c_str());
    return 0;
}

char *vconf_get_str(const char *in_key)
{
    TVEMUL_ENTER(in_key);
    std::string value;
    if (!fetch(__func__, in_key, VCONF_TYPE_STRING, &value))
        return nullptr;
    tvemul::log(kTag, "vconf_get_str: %s = %s", in_key, value.c_str());
    return strdup(value.c_str());
}

keylist_t *vconf_keylist_new(void)
{
    TVEMUL_FAILABLE();
    return new _keylist_t;
}

int vconf_keylist_free(keylist_t *keylist)
{
    delete keylist;
    return 0;
}

int vconf_keylist_rewindnode(keylist_t *keylist)
{
    TVEMUL_FAILABLE();
    if (!keylist)
        return -1;
    keylist->next = 0;
    return 0;
}

keynode_t *vconf_keylist_nextnode(keylist_t *keylist)
{
    TVEMUL_FAILABLE();
    if (!keylist || keylist->next >= keylist->nodes.size())
        return nullptr;
    return &keylist->nodes[keylist->next++];
}

int vconf_get(keylist_t *keylist, const char *in_parentDIR, get_option_t option)
{
    TVEMUL_ENTER(in_parentDIR, option);
    if (!keylist || !in_parentDIR)
        return -1;

    tvemul::KeyFile kf = tvemul::load_state();
    gchar **keys = g_key_file_get_keys(kf.get(), kGroup, nullptr, nullptr);
    const size_t prefix_len = strlen(in_parentDIR);
    std::vector<_keynode_t> found;
    for (gchar **key = keys; key && *key; ++key) {
        if (strncmp(*key, in_parentDIR, prefix_len) != 0)
            continue;
        gchar *raw = g_key_file_get_value(kf.get(), kGroup, *key, nullptr);
        _keynode_t node{*key, VCONF_TYPE_NONE, ""};
        if (raw)
            split(raw, &node.type, &node.value);
        g_free(raw);
        found.push_back(std::move(node));
    }
    g_strfreev(keys);
    std::sort(found.begin(), found.end(),
              [](const _keynode_t &a, const _keynode_t &b) { return strcmp(a.name.c_str(), b.name.c_str()) < 0; });
    // A list filled again holds the new keys only.
    keylist->nodes = std::move(found);
    keylist->next = 0;
    tvemul::log(kTag, "vconf_get: %zu keys under \"%s\"", keylist->nodes.size(), in_parentDIR);
    return 0;
}

char *vconf_keynode_get_name(keynode_t *keynode)
{
    TVEMUL_FAILABLE();
    return keynode ? const_cast<char *>(keynode->name.c_str()) : nullptr;
}

int vconf_keynode_get_type(keynode_t *keynode)
{
    TVEMUL_FAILABLE();
    return keynode ? keynode->type : -1;
}

int vconf_keynode_get_int(const keynode_t *keynode)
{
    TVEMUL_FAILABLE();
    int n = 0;
    return keynode && keynode->type == VCONF_TYPE_INT && parse_int(keynode->value, &n) ? n : -1;
}

int vconf_keynode_get_bool(const keynode_t *keynode)
{
    TVEMUL_FAILABLE();
    int b = 0;
    return keynode && keynode->type == VCONF_TYPE_BOOL && parse_bool(keynode->value, &b) ? b : -1;
}

double vconf_keynode_get_dbl(const keynode_t *keynode)
{
    TVEMUL_FAILABLE();
    double d = 0;
    return keynode && keynode->type == VCONF_TYPE_DOUBLE && parse_double(keynode->value, &d) ? d : -1.0;
}

char *vconf_keynode_get_str(const keynode_t *keynode)
{
    TVEMUL_FAILABLE();
    return keynode && keynode->type == VCONF_TYPE_STRING ? const_cast<char *>(keynode->value.c_str()) : nullptr;
}

}  // extern "C"
