// Temporary directories for tests.
#include "Support/TempDir.h"

#include <cstdlib>
#include <filesystem>
#include <stdexcept>

namespace vlib::test {

TTempDir::TTempDir() {
    const char *base = std::getenv("TMPDIR");
    std::string pattern = std::string(base && *base ? base : "/tmp") + "/vlibtest-XXXXXX";
    if (mkdtemp(pattern.data()) == nullptr)
        throw std::runtime_error("cannot create a temporary directory");
    m_Path = pattern;
}

TTempDir::~TTempDir() {
    std::error_code ignored;
    std::filesystem::remove_all(m_Path, ignored);
}

} // namespace vlib::test
