#include "tests/fuzz/FuzzEntryPoints.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    morvel::fuzzManifest({data, size});
    return 0;
}
