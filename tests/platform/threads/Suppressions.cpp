// libdbus takes its global locks and those of a connection in an order that could deadlock if several threads used one
// connection. Here each connection belongs to one thread, which the thread sanitizer cannot know. No code of this
// project is suppressed: only reports whose locks were taken inside libdbus are.
extern "C" const char* __tsan_default_suppressions();

const char* __tsan_default_suppressions() { return "deadlock:libdbus-1.so"; }
