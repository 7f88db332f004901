// What the tools share with the menu shell: the console frame's texts, the
// image gates and an owner for what is freed.
#ifndef TAVRIN_COMMON_H
#define TAVRIN_COMMON_H

#include <cstdlib>
#include <memory>

namespace tavrin {

// What the C library or a platform library hands out to be freed.
struct Free {
    void operator()(void *p) const { std::free(p); }
};
template <typename T>
using Owned = std::unique_ptr<T, Free>;

// The console frame.
inline constexpr char kBoundary[] = "====================================\n";
inline constexpr char kPrompt[] = "Please Select a menu >> ";
inline constexpr char kReleaseImageNotice[] = "\n[INFO] Feature not supported in Release Image\n";

// The marker files are tested at every call: removing /etc/debug turns the
// running TV into a release image at once.
bool debug_image();
// Debug or performance image; on any other prints kReleaseImageNotice.
bool debug_or_perf_image_else_notice();

// FN(ARGS...) on a debug image; elsewhere nothing happens and nothing is
// printed, and the result is 0 (or nothing, for a void FN).
template <typename Fn, typename... Args>
auto debug_only(Fn fn, Args... args) -> decltype(fn(args...))
{
    if (!debug_image())
        return decltype(fn(args...))();
    return fn(args...);
}

}  // namespace tavrin

#endif
