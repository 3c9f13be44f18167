// Memory files for the text-format tests: one filled with given bytes for reading, and the
// bytes that a writer left in one.
#pragma once

#include <cstdio>
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

#include <cstdlib>
#include <filesystem>
#include <fstream>

namespace vlib::test {

/// Writes `bytes` as seed `n` of the fuzz corpus `format` under `directory`.
inline void WriteSeed(const char *directory, const char *format, int n, const std::string &bytes) {
    namespace fs = std::filesystem;
    const fs::path folder = fs::path(directory) / format;
    fs::create_directories(folder);
    char name[32];
    std::snprintf(name, sizeof(name), "seed_%02d", n);
    std::ofstream out(folder / name, std::ios::binary);
    out.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
}

} // namespace vlib::test
