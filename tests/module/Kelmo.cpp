// A dump library for the tests. It writes no dump but records the argument of its calls.

namespace {

int asked = 0;
int times = 0;

} // namespace

extern "C" {

int kelProcessDump(int argument) {
    asked = argument;
    ++times;
    return 0;
}

// Returns the argument of the last call, negative after more than one call, 0 after none.
int kelLastDump() {
    return times > 1 ? -times : asked;
}

} // extern "C"
