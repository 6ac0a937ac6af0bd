// SPDX-License-Identifier: MIT
// What the leak sanitizer is to overlook in the program, and in tests that draw panels.

/// Asked for by name by the sanitizer. Fontconfig keeps a few of the patterns that it matched fonts with to the end,
/// and x265 never frees the copies of its settings.
extern "C" __attribute__((visibility("default"))) const char* __lsan_default_suppressions() {
    return "leak:libfontconfig\nleak:libx265";
}

extern "C" __attribute__((visibility("default"))) const char* __lsan_default_options() {
    return "print_suppressions=0";
}
