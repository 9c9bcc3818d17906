// What the sanitizers take for faults of libraries that are not built with them.

// Cairo hands its objects from thread to thread through pools with atomic exchanges, which the thread
// sanitizer does not see in a library without it.
extern "C" const char* __tsan_default_suppressions();
extern "C" const char* __tsan_default_suppressions() {
    return "race:libcairo.so.2\n";
}

// Fontconfig keeps some of its patterns behind offsets that the leak sanitizer does not follow.
extern "C" const char* __lsan_default_suppressions();
extern "C" const char* __lsan_default_suppressions() {
    return "leak:libfontconfig\n";
}
