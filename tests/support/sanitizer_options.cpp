// What the sanitizers are told, in programs that are built with them.
extern "C" {

// The font library keeps a few bytes of its first set-up.
const char* __lsan_default_suppressions() {
    return "leak:libfontconfig\n";
}

// The program's own handler ends it from signal context, while only its waits are open to signals.
const char* __tsan_default_options() {
    return "report_signal_unsafe=0";
}

}  // extern "C"
