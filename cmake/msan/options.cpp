// How MemorySanitizer works in every program; programs.cmake says why.
extern "C" const char *__msan_default_options();
extern "C" const char *__msan_default_options() { return "poison_in_malloc=0:poison_in_free=0"; }
