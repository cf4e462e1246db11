// The functions of fmt that the tools call, compiled once: a cross-build has only the library's headers, and
// compiling them in every file takes most of its time.
#define FMT_HEADER_ONLY
#include <fmt/format.h>

#include <cstdio>
#include <string>

[[gnu::used]] static std::string (*const format)(fmt::string_view, fmt::format_args) = fmt::vformat;
[[gnu::used]] static void (*const print)(fmt::string_view, fmt::format_args) = fmt::vprint;
[[gnu::used]] static void (*const print_to)(std::FILE*, fmt::string_view, fmt::format_args) = fmt::vprint;
