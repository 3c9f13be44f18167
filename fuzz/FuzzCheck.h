// The fuzz targets' assertion: a broken promise stops the run at once with a trap, which
// libFuzzer reports as a crash and keeps as an artifact, in every build type.
#pragma once

namespace vlib::fuzz {

inline void Check(bool condition) {
    if (!condition)
        __builtin_trap();
}

} // namespace vlib::fuzz
