// A dump library for the tests: it writes no dump but tells what it was asked.

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

// The argument of the last call, negative when there was more than one; 0 for none.
int kelDumpsAsked() {
    return times > 1 ? -times : asked;
}

} // extern "C"
