// libopen-debugmenu: the console functions that the plug-in imports.
#include <atomic>
#include <cctype>
#include <climits>
#include <cstdarg>
#include <cstdio>

#include "debugmenu_host.h"
#include "tvemul.h"

namespace {

std::atomic<int> next_handle{1};

void discard_line()
{
    int c;
    while ((c = getchar()) != EOF && c != '\n') {
    }
}

}  // namespace

extern "C" int menu_print(int level, const char *format, ...)
{
    (void)level;  // every level is shown
    va_list ap;
    va_start(ap, format);
    int n = vprintf(format, ap);
    va_end(ap);
    return n;
}

extern "C" int waitkeyresponse(void)
{
    // Blanks and line ends before the number are not an answer: a plug-in
    // prompt usually leaves its line end unread.
    int c;
    do {
        c = getchar();
    } while (c != EOF && isspace(c));
    if (c == EOF)
        return 99;

    bool negative = false;
    if (c == '-' || c == '+') {
        negative = (c == '-');
        c = getchar();
    }
    if (c == EOF || !isdigit(c)) {
        if (c != EOF && c != '\n')
            discard_line();
        return -1;
    }

    long long value = 0;
    while (c != EOF && isdigit(c)) {
        if (value <= INT_MAX)
            value = value * 10 + (c - '0');
        c = getchar();
    }
    // What follows the number stays in the input, as after scanf("%d").
    if (c != EOF)
        ungetc(c, stdin);
    if (negative)
        value = -value;
    if (value > INT_MAX)
        return INT_MAX;
    if (value < INT_MIN)
        return INT_MIN;
    return static_cast<int>(value);
}

extern "C" int startdlogtag(const char *tag)
{
    const int handle = next_handle++;
    tvemul::Call(__func__, tvemul::Args(tag)).record_handle(handle);
    tvemul::show_tag(handle, tag);
    return handle;
}

extern "C" int stopdlogtag(int handle)
{
    TVEMUL_RECORD(handle);
    tvemul::hide_tag(handle);
    return 0;
}
