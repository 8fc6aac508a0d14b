// Part of every test program that is built with a sanitizer: libraries stay loaded to the end.
//
// The OpenGL driver is unloaded before the leak check, which then finds the driver's static data without an owner, in
// a module without a name that no suppression can match.
extern "C" __attribute__((visibility("default"))) int dlclose(void*) { return 0; }
