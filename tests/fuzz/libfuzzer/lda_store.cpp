// libFuzzer entry point; see tests/fuzz/run_fuzz.sh.
#include "../FuzzTargets.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) { return fuzzLdaStore(data, size); }
