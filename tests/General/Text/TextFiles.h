// Memory files for the text-format tests: one filled with given bytes for reading, and the
// bytes that a writer left in one.
#pragma once

#include <cstring>
#include <string>

#include <gtest/gtest.h>

#include "General/Streams/FileBuf.h"

namespace vlib::test {

/// A readable memory file holding `bytes`.
struct TSourceFile {
    explicit TSourceFile(const std::string &bytes) {
        EXPECT_TRUE(file.Open(6, static_cast<int>(bytes.size())));
        if (!bytes.empty())
            std::memcpy(file.GetBuffer(), bytes.data(), bytes.size());
    }
    TManagedFileBuf file;
};

/// Everything written to `file`.
inline std::string Contents(TManagedFileBuf &file) {
    return std::string(reinterpret_cast<const char *>(file.GetBuffer()),
                       static_cast<size_t>(file.Length()));
}

} // namespace vlib::test
