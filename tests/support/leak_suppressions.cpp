// For the leak sanitizer, in programs that are built with it: the font library keeps a few bytes of its first set-up.
extern "C" const char* __lsan_default_suppressions();

extern "C" const char* __lsan_default_suppressions() {
    return "leak:libfontconfig\n";
}
