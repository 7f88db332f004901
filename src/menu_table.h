// Menus as data: every menu of the plug-in is a table run by run_menu().
#ifndef TAVRIN_MENU_TABLE_H
#define TAVRIN_MENU_TABLE_H

#include <cstddef>

namespace tavrin {

enum class EntryKind { Action, ActionIn, StartTag, StopTag };

struct MenuEntry {
    int number;
    const char *label;
    EntryKind kind;
    void (*action)();   // Action; null: shown, but choosing it does nothing
    const char *tag;    // StartTag
    int slot;           // StartTag, StopTag: index into the visit's handle slots
    void (*action_in)(void *context) = nullptr;  // ActionIn: given run_menu's context
};

// What a choice that is no entry's number does.
enum class OnUnknown {
    Redisplay,  // show the menu again, no message
    TryAgain,   // "try again!!\n", then the menu again (main menu)
    Return,     // leave as on 99 (feedback menu)
    PassOn,     // hand it to Menu::pass_on; 99 too, before leaving (factory loop)
};

struct Menu {
    const char *title;
    const MenuEntry *entries;
    std::size_t count;
    OnUnknown on_unknown;
    // For tool menus with a frame of their own: the title printer (null:
    // TAVRIN_print_menu_title) and TryAgain's text (null: "try again!!\n").
    void (*print_title)(const char *title) = nullptr;
    const char *try_again = nullptr;
    void (*show)() = nullptr;              // prints the menu instead of the standard layout
    void (*pass_on)(int choice) = nullptr;  // OnUnknown::PassOn
};

constexpr int kMaxSlots = 4;
constexpr int kExitChoice = 99;

constexpr MenuEntry action(int number, const char *label, void (*fn)()) {
    return {number, label, EntryKind::Action, fn, nullptr, 0};
}
constexpr MenuEntry action_in(int number, const char *label, void (*fn)(void *)) {
    return {number, label, EntryKind::ActionIn, nullptr, nullptr, 0, fn};
}
constexpr MenuEntry start_tag(int number, const char *label, const char *tag, int slot = 0) {
    return {number, label, EntryKind::StartTag, nullptr, tag, slot};
}
constexpr MenuEntry stop_tag(int number, const char *label, int slot = 0) {
    return {number, label, EntryKind::StopTag, nullptr, nullptr, slot};
}

template <std::size_t N>
constexpr Menu make_menu(const char *title, const MenuEntry (&entries)[N],
                         OnUnknown on_unknown = OnUnknown::Redisplay) {
    return {title, entries, N, on_unknown};
}

// A menu that prints itself; its entries' labels are its own business.
template <std::size_t N>
constexpr Menu make_menu(void (*show)(), const MenuEntry (&entries)[N],
                         OnUnknown on_unknown = OnUnknown::Redisplay, void (*pass_on)(int) = nullptr) {
    return {nullptr, entries, N, on_unknown, nullptr, nullptr, show, pass_on};
}

// Adapts a tool function to a menu action; menus never use the result.
template <auto Fn, auto... Args>
void call()
{
    Fn(Args...);
}

// Prints the menu, reads a choice, runs it; until 99 (or an unknown
// choice in a Return menu). Returns the choice that ended the loop.
// CONTEXT is handed to ActionIn entries.
int run_menu(const Menu &menu, void *context = nullptr);

}  // namespace tavrin

#endif
