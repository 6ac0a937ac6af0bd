// SPDX-License-Identifier: MIT
// What the leak sanitizer is to overlook in the program, and in tests that draw panels.

/// Asked for by name by the sanitizer. Fontconfig keeps a few of the patterns that it matched fonts with to the end.
extern "C" __attribute__((visibility("default"))) const char* __lsan_default_suppressions() {
    return "leak:libfontconfig";
}

extern "C" __attribute__((visibility("default"))) const char* __lsan_default_options() {
    return "print_suppressions=0";
}
