// ThreadSanitizer reads these when the tests run instrumented (the hook is an ordinary unused
// function otherwise).
//
// libtirpc's xdr_opaque reads the padding bytes of every opaque it decodes into one static
// scratch buffer that all threads share, and never looks at them again. Links decoding replies
// on several threads at once (and the emulator's server threads in the same process) race on
// that buffer harmlessly; libtirpc is not instrumented, so its frames carry no names and only
// the library can be named here.
extern "C" const char* __tsan_default_suppressions();
extern "C" const char* __tsan_default_suppressions() { return "race:libtirpc.so\n"; }
