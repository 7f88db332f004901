// Buxton database tool and vconf key tool.
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>

#include "debugmenu_host.h"
#include "menu_table.h"
#include "tavrin_debugmenu.h"
#include "vconf.h"

int dlog_menu_buxton(void) { return 99; }

// vconf key tool: single keys through the vconf library, and listings of
// the keys under a prefix with their current values.

namespace {

constexpr std::size_t kVconfKeySize = 512;      // "%511s"
constexpr std::size_t kVconfStringSize = 4096;  // "%4095s"

const char kVconfSetPrompt[] = "Please enter command for set or 'exit' (eg. {keyname} {value}\n";
const char kVconfGetPrompt[] = "Please enter command for get or 'exit' (eg. {keyname}\n";

struct VconfKeylistFree {
    void operator()(keylist_t *list) const { vconf_keylist_free(list); }
};
using VconfKeylist = std::unique_ptr<keylist_t, VconfKeylistFree>;

struct VconfTextFree {
    void operator()(char *text) const { free(text); }
};
using VconfText = std::unique_ptr<char, VconfTextFree>;

// A setter's "key number" line, read in one go. False when nothing is to be
// written: end of input, the exit word, or a value that is not a number
// (writing the untouched 0 would lose the key's real value).
bool vconf_read_key_number(char (&key)[kVconfKeySize], int *value)
{
    menu_print(1, "%s", kVconfSetPrompt);
    return scanf("%511s %d", key, value) == 2 && !is_exit(key);
}

// A getter's key. End of input counts as the exit word.
bool vconf_read_key(const char *prompt, char (&key)[kVconfKeySize])
{
    menu_print(1, "%s", prompt);
    return scanf("%511s", key) == 1 && !is_exit(key);
}

int vconf_get_number(const char *prompt, int (*get)(const char *, int *))
{
    char key[kVconfKeySize];
    if (!vconf_read_key(prompt, key))
        return 0;
    int value = 0;
    if (get(key, &value) == 0)
        menu_print(1, "succeeded to get (%s:%d)\n", key, value);
    else
        menu_print(1, "failed to get (%s:%d)\n", key, value);
    return 0;
}

// One line of a listing; the value is read now, by the node's type.
void vconf_print_node(int number, const char *key, int type)
{
    switch (type) {
    case VCONF_TYPE_STRING: {
        VconfText text(vconf_get_str(key));
        if (text) {
            menu_print(1, "[%d] key(%s) value(%s)\n", number, key, text.get());
            return;
        }
        break;
    }
    case VCONF_TYPE_INT: {
        int value = 0;
        if (vconf_get_int(key, &value) == 0) {
            menu_print(1, "[%d] key(%s) value(%d)\n", number, key, value);
            return;
        }
        break;
    }
    case VCONF_TYPE_DOUBLE: {
        double value = 0;
        if (vconf_get_dbl(key, &value) == 0) {
            menu_print(1, "[%d] key(%s) value(%f)\n", number, key, value);
            return;
        }
        break;
    }
    case VCONF_TYPE_BOOL: {
        int value = 0;
        if (vconf_get_bool(key, &value) == 0) {
            menu_print(1, "[%d] key(%s) value(%d)\n", number, key, value);
            return;
        }
        break;
    }
    default:
        return;  // not a value type; the number stays used
    }
    menu_print(1, "failed to get %s\n", key);
}

}  // namespace

int vconf_test_set_int(void)
{
    char key[kVconfKeySize];
    int value = 0;
    if (!vconf_read_key_number(key, &value))
        return 0;
    if (vconf_set_int(key, value) == 0)
        menu_print(1, "succeeded to set (%s:%d)\n", key, value);
    else
        menu_print(1, "failed to set (%s:%d)\n", key, value);
    return 0;
}

int vconf_test_set_bool(void)
{
    char key[kVconfKeySize];
    int value = 0;
    for (;;) {
        if (!vconf_read_key_number(key, &value))
            return 0;
        if (static_cast<unsigned>(value) <= 1)
            break;
        menu_print(1, "Invalid input value (%d)\n", value);
    }
    if (vconf_set_bool(key, value) == 0)
        menu_print(1, "succeeded to set (%s:%d)\n", key, value);
    else
        menu_print(1, "failed to set (%s:%d)\n", key, value);
    return 0;
}

int vconf_test_set_str(void)
{
    char key[kVconfKeySize];
    char value[kVconfStringSize];
    menu_print(1, "%s", kVconfSetPrompt);
    // A key without a value (end of input) writes nothing.
    if (scanf("%511s %4095s", key, value) != 2 || is_exit(key))
        return 0;
    if (vconf_set_str(key, value) == 0)
        menu_print(1, "succeeded to set (%s:%s)\n", key, value);
    else
        menu_print(1, "failed to set (%s:%s)\n", key, value);
    return 0;
}

int vconf_test_get_int(void)
{
    return vconf_get_number(kVconfGetPrompt, vconf_get_int);
}

int vconf_test_get_bool(void)
{
    return vconf_get_number("Please enter command for set or 'exit' (eg. {keyname}\n", vconf_get_bool);
}

int vconf_test_get_str(void)
{
    char key[kVconfKeySize];
    if (!vconf_read_key(kVconfGetPrompt, key))
        return 0;
    VconfText text(vconf_get_str(key));
    if (text)
        menu_print(1, "succeeded to get (%s:%s)\n", key, text.get());
    else
        menu_print(1, "failed to get %s\n", key);
    return 0;
}

int vconf_test_get(void)
{
    char prefix[kVconfKeySize];
    if (!vconf_read_key("Please enter command for vconf_get or 'exit' (eg. {keyname}\n", prefix))
        return 0;
    menu_print(1, "vconf_get test starts....(%s)\n", prefix);

    VconfKeylist list(vconf_keylist_new());
    if (vconf_get(list.get(), prefix, VCONF_GET_KEY) != 0) {
        menu_print(1, "failed to get vconf key list starts with %s", prefix);
        return 0;
    }
    // A list that comes round to its first key again is at its end.
    std::string first;
    int number = 0;
    while (keynode_t *node = vconf_keylist_nextnode(list.get())) {
        const char *name = vconf_keynode_get_name(node);
        if (!name)
            name = "";
        if (++number == 1)
            first = name;
        else if (first == name)
            break;
        vconf_print_node(number, name, vconf_keynode_get_type(node));
    }
    list.reset();
    menu_print(1, "succeeded to get (%s)\n", prefix);
    return 0;
}

int dlog_menu_vconf(void)
{
    using tavrin::action;
    using tavrin::call;
    static const tavrin::MenuEntry entries[] = {
        action(1, "Set vconf key (int)", call<vconf_test_set_int>),
        action(2, "Set vconf key (bool)", call<vconf_test_set_bool>),
        action(3, "Set vconf key (string)", call<vconf_test_set_str>),
        action(4, "Set vconf key (double)", nullptr),
        action(5, "Get vconf key (int)", call<vconf_test_get_int>),
        action(6, "Get vconf key (bool)", call<vconf_test_get_bool>),
        action(7, "Get vconf key (string)", call<vconf_test_get_str>),
        action(8, "Get vconf list starts with ...", call<vconf_test_get>),
    };
    return tavrin::run_menu(tavrin::make_menu("vconf debug menu", entries));
}
