// Feature-config tool: reads and writes single items of the feature-config
// store, always with the call for the type the store reports.
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>

#include "common.h"
#include "debugmenu_host.h"
#include "fconfig.h"
#include "menu_table.h"
#include "tavrin_debugmenu.h"

namespace {

constexpr std::size_t kWordSize = 128;  // "%127s"

const char kInputError[] = "Input error\n\n";
const char kUnknownItem[] = "Invalid key or Daemon not launched or Need DB setup\n\n";
const char kInvalidType[] = "Invalid type\n\n";
const char kStoreFailed[] = "Daemon not launched or Need DB setup\n\n";

using Text = tavrin::Owned<char>;

// Prompts for one word and takes the character after it (the line end), so
// the menu's next read starts on a fresh line.
bool read_word(const char *prompt, char (&word)[kWordSize])
{
    menu_print(1, "%s", prompt);
    if (scanf("%127s", word) != 1)
        return false;
    getchar();
    return true;
}

void get_boolean(const char *name)
{
    bool value = false;
    if (fconfig_get_bool(name, &value) < 0) {
        menu_print(1, "%s", kStoreFailed);
        return;
    }
    // Any non-zero byte is true, whatever the library put there.
    unsigned char byte;
    std::memcpy(&byte, &value, 1);
    menu_print(1, "Value (Boolean) = %s\n\n", byte ? "TRUE" : "FALSE");
}

void get_int(const char *name)
{
    int value = 0;
    if (fconfig_get_int(name, &value) < 0)
        menu_print(1, "%s", kStoreFailed);
    else
        menu_print(1, "Value (Int) = %d\n\n", value);
}

void get_string(const char *name)
{
    Text value(fconfig_get_str(name));
    if (!value)
        menu_print(1, "%s", kStoreFailed);
    else
        menu_print(1, "Value (String) = %s\n\n", value.get());
}

// 1 or 0 for the accepted boolean words, -1 for any other.
int boolean_word(const char *word)
{
    if (!strcmp(word, "TRUE") || !strcmp(word, "true"))
        return 1;
    if (!strcmp(word, "FALSE") || !strcmp(word, "false"))
        return 0;
    return -1;
}

// Unchecked on purpose ("abc" gives 0, "12ab" 12), and out-of-range text
// gives the nearest int, as strtol does on the TV, where long is int.
int item_integer(const char *text)
{
    const long value = strtol(text, nullptr, 10);
    if (value > INT_MAX)
        return INT_MAX;
    if (value < INT_MIN)
        return INT_MIN;
    return static_cast<int>(value);
}

void print_frame_title(const char *title)
{
    menu_print(1, "%s", tavrin::kBoundary);
    menu_print(1, "%s\n", title);
    menu_print(1, "%s", tavrin::kBoundary);
}

}  // namespace

void feature_config_get_data(void)
{
    char name[kWordSize];
    if (!read_word("Input item name : ", name)) {
        menu_print(1, "%s", kInputError);
        return;
    }
    Text type(fconfig_get_type(name));
    if (!type) {
        menu_print(1, "%s", kUnknownItem);
        return;
    }
    if (!strcmp(type.get(), "Boolean"))
        get_boolean(name);
    else if (!strcmp(type.get(), "Int"))
        get_int(name);
    else if (!strcmp(type.get(), "String"))
        get_string(name);
    else
        menu_print(1, "%s", kInvalidType);
}

void feature_config_set_data(void)
{
    char name[kWordSize];
    char value[kWordSize];
    if (!read_word("Input item name : ", name) || !read_word("Input value : ", value)) {
        menu_print(1, "%s", kInputError);
        return;
    }
    Text type(fconfig_get_type(name));
    if (!type) {
        menu_print(1, "%s", kUnknownItem);
        return;
    }
    int result;
    if (!strcmp(type.get(), "Boolean")) {
        const int word = boolean_word(value);
        if (word < 0) {
            menu_print(1, "Invalid value\n\n");
            return;
        }
        result = fconfig_set_bool(name, word == 1);
    } else if (!strcmp(type.get(), "Int")) {
        result = fconfig_set_int(name, item_integer(value));
    } else if (!strcmp(type.get(), "String")) {
        result = fconfig_set_str(name, value);
    } else {
        menu_print(1, "%s", kInvalidType);
        return;
    }
    menu_print(1, "%s", result >= 0 ? "Value setting done\n\n" : kStoreFailed);
}

int feature_config_test(void)
{
    static const tavrin::MenuEntry entries[] = {
        tavrin::action(1, "Get feature-config value", feature_config_get_data),
        tavrin::action(2, "Set feature-config value", feature_config_set_data),
    };
    tavrin::Menu menu = tavrin::make_menu("feature-config test", entries, tavrin::OnUnknown::TryAgain);
    menu.print_title = print_frame_title;
    menu.try_again = "Try again\n\n";
    return tavrin::run_menu(menu);
}
