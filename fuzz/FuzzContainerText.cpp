// Fuzz target of the container file's text form: any input loads into an ordered and a hashed
// store without a crash, a hang or a leak, whatever the load's result.
#include <cstddef>
#include <cstdint>

#include "ContainerFuzzDriver.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    vlib::fuzz::LoadContainer(data, size, 1);
    return 0;
}
