// Run-time settings of the sanitizer build's test programs, compiled in so that a test program started
// by hand reports exactly as it does under ctest. The environment variables still override them.
#define VELMAR_SANITIZER_SETTING extern "C" __attribute__((visibility("default"), used)) const char*

// Leaks are reported (the default on Linux, stated so that nobody turns it off here by accident), and
// initialisation-order bugs between the library's globals are looked for.
VELMAR_SANITIZER_SETTING __asan_default_options()
{
    return "detect_leaks=1:check_initialization_order=1:strict_init_order=1";
}

VELMAR_SANITIZER_SETTING __ubsan_default_options()
{
    return "print_stacktrace=1:halt_on_error=1";
}
