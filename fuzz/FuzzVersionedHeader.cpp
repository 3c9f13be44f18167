// Fuzz target of the versioned header reader. Whatever the bytes, Open either fails cleanly
// or leaves the file at a position within it, and the data behind the header reads to the end.
#include <cstdint>
#include <vector>

#include "General/Streams/FileBuf.h"
#include "General/Streams/VersionedFilter.h"

#include "FuzzCheck.h"

using vlib::fuzz::Check;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    if (size > (1u << 20))
        return 0;
    std::vector<unsigned char> bytes(data, data + size);
    for (int kind = 0; kind < 2; ++kind) {
        TFixedFileBuf fixed;
        TManagedFileBuf managed;
        TFileObj *file = &fixed;
        if (kind == 0) {
            fixed.Open(bytes.data(), int(size), 2);
        } else {
            managed.Open(4, 0);
            managed.Write(bytes.data(), int(size));
            managed.Close();
            managed.Open(2, 0);
            file = &managed;
        }
        TVersionedInFilter in;
        unsigned long version = 0;
        if (!in.Open(file, version)) {
            Check(!in.IsOpen());
            continue;
        }
        Check(version <= 0xFFFFFFFFul);
        if (!in.HeaderFound())
            Check(version == 0 && in.GetDataStart() == 0);
        Check(in.GetDataStart() >= 0 && in.GetDataStart() <= int(size) + 1);
        unsigned char buffer[256];
        long long total = 0;
        int n;
        while ((n = in.Read(buffer, sizeof buffer)) > 0)
            total += n;
        Check(total <= (long long)size);
        in.CloseLayer();
        Check(file->IsOpen() && !file->IsLayered());
    }
    return 0;
}
