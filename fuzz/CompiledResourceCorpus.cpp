// Writes the seed corpus of the compiled-header fuzz target with the library's own writers:
// CompiledResourceCorpusTool <corpus-dir>. Each seed is a compiled file as a bank writes it:
// the header, a versioned header and some data; a few are left unfinished or headerless.
#include <cstdio>
#include <random>
#include <string>
#include <vector>

#include <sys/stat.h>

#include "General/Resources/CompiledResource.h"
#include "General/Streams/FileBuf.h"
#include "General/Streams/VersionedFilter.h"

namespace {

constexpr int kSeeds = 24;

bool WriteSeed(const std::string &folder, int index) {
    std::mt19937 random(static_cast<unsigned>(500 + index));
    TCompiledResourceFileHeader header;
    TFileTime time;
    time.SetValue(index % 6 == 0 ? 0 : 132000000000000000ull + random());
    header.SetSourceTime(time);
    const int dependencies = index % 4 == 0 ? 0 : static_cast<int>(random() % (2 + index));
    for (int i = 0; i < dependencies; ++i) {
        TFileTime dependencyTime;
        dependencyTime.SetValue(132000000000000000ull + random());
        header.InsertDependency(static_cast<uint32_t>(random()), dependencyTime);
    }
    std::vector<unsigned char> block(4096);
    TFixedFileBuf file;
    if (!file.Open(block.data(), static_cast<int>(block.size()), 4))
        return false;
    const bool headerless = index % 11 == 5;
    if (!headerless) {
        if (!header.SaveBinary(&file))
            return false;
        // Seeds 7 and 19 stay as a writer that died would leave them.
        if (index % 12 != 7 && !header.WriteFileCompleteFlag(&file))
            return false;
    }
    const int headerEnd = headerless ? 0
                                     : TCompiledResourceFileHeader::kFixedSize +
                                           dependencies * TCompiledResourceFileHeader::kDependencySize;
    if (!file.Seek(headerEnd, TFileObj::SeekStart))
        return false;
    TVersionedOutFilter out;
    if (!out.Open(&file, static_cast<unsigned long>(index % 5)))
        return false;
    std::string payload = "data of seed " + std::to_string(index);
    for (int i = 0; i < index * 3; ++i)
        payload += static_cast<char>(random());
    if (!out.Write(payload.data(), static_cast<int>(payload.size())))
        return false;
    out.CloseLayer();
    const int length = file.GetPos();
    char name[48];
    std::snprintf(name, sizeof name, "/seed-%02d", index);
    std::FILE *disk = std::fopen((folder + name).c_str(), "wb");
    if (disk == nullptr)
        return false;
    const bool ok = std::fwrite(block.data(), 1, static_cast<size_t>(length), disk) ==
                    static_cast<size_t>(length);
    return std::fclose(disk) == 0 && ok;
}

} // namespace

int main(int argc, char **argv) {
    if (argc != 2) {
        std::fprintf(stderr, "usage: %s <corpus-dir>\n", argv[0]);
        return 2;
    }
    const std::string folder = std::string(argv[1]) + "/CompiledResource";
    mkdir(argv[1], 0755);
    mkdir(folder.c_str(), 0755);
    for (int i = 0; i < kSeeds; ++i)
        if (!WriteSeed(folder, i)) {
            std::fprintf(stderr, "seed %d could not be written\n", i);
            return 1;
        }
    return 0;
}
