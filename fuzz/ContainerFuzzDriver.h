// The load driver shared by the container fuzz targets. The persistent classes that the inputs
// name are the shared container demo classes (tests/Support/ContainerItems.h).
#pragma once

#include <cstddef>
#include <cstdint>

namespace vlib::fuzz {

/// Loads `data` as a container file of `format` into a map and a hash, then empties both.
void LoadContainer(const uint8_t *data, size_t size, int format);

} // namespace vlib::fuzz
