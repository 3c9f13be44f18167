// Replays saved fuzz inputs through a target's LLVMFuzzerTestOneInput, so that every build
// (not only the clang fuzz build) proves the corpus and past crashes still run cleanly.
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size);

int main(int argc, char **argv) {
    namespace fs = std::filesystem;
    size_t count = 0;
    for (int i = 1; i < argc; ++i) {
        std::vector<fs::path> files;
        if (fs::is_directory(argv[i])) {
            for (const auto &entry : fs::recursive_directory_iterator(argv[i]))
                if (entry.is_regular_file())
                    files.push_back(entry.path());
        } else {
            files.emplace_back(argv[i]);
        }
        for (const auto &file : files) {
            std::ifstream in(file, std::ios::binary);
            std::vector<uint8_t> bytes((std::istreambuf_iterator<char>(in)),
                                       std::istreambuf_iterator<char>());
            LLVMFuzzerTestOneInput(bytes.data(), bytes.size());
            ++count;
        }
    }
    std::printf("replayed %zu inputs\n", count);
    return count == 0 ? 1 : 0;
}
