// Fuzz target of the compiled-file header reader and the versioned header behind it, read the
// way a bank reads a compiled file. A header that loads must hold no more records than the
// input has bytes for, and must write back to bytes that load to the same header.
#include <cstdint>
#include <vector>

#include "General/Resources/CompiledResource.h"
#include "General/Streams/FileBuf.h"
#include "General/Streams/VersionedFilter.h"

#include "FuzzCheck.h"

using vlib::fuzz::Check;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    if (size == 0 || size > (1u << 20))
        return 0;
    std::vector<unsigned char> bytes(data, data + size);
    TFixedFileBuf file;
    Check(file.Open(bytes.data(), static_cast<int>(size), 2));

    TCompiledResourceFileHeader header;
    if (header.LoadBinary(&file)) {
        const size_t count = header.GetDependencies().size();
        Check(TCompiledResourceFileHeader::kFixedSize +
                  count * TCompiledResourceFileHeader::kDependencySize <=
              size);
        Check(file.GetPos() == static_cast<int>(TCompiledResourceFileHeader::kFixedSize +
                                                count * TCompiledResourceFileHeader::kDependencySize));

        std::vector<unsigned char> copy(size);
        TFixedFileBuf out;
        Check(out.Open(copy.data(), static_cast<int>(size), 4));
        Check(header.SaveBinary(&out) && header.WriteFileCompleteFlag(&out));
        TFixedFileBuf again;
        Check(again.Open(copy.data(), static_cast<int>(size), 2));
        TCompiledResourceFileHeader reloaded;
        Check(reloaded.LoadBinary(&again));
        Check(reloaded.GetSourceTime() == header.GetSourceTime());
        Check(reloaded.GetDependencies() == header.GetDependencies());
    } else {
        Check(header.GetDependencies().empty());
        // The bank reads such a file as one without a compiled header.
        Check(file.Seek(0, TFileObj::SeekStart));
    }

    TVersionedInFilter in;
    unsigned long version = 0;
    if (in.Open(&file, version)) {
        Check(version <= 0xFFFFFFFFul);
        unsigned char buffer[256];
        long long total = 0;
        int n;
        while ((n = in.Read(buffer, sizeof buffer)) > 0)
            total += n;
        Check(total <= static_cast<long long>(size));
        in.CloseLayer();
    }
    return 0;
}
