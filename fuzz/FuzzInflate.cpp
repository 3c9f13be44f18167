// Fuzz target of the inflate filter: arbitrary compressed bytes, read in uneven pieces until
// the filter reports the end. A damaged stream must end the reads (with Bad set) instead of
// looping, and the output is capped so a bomb cannot exhaust memory.
#include <cstdint>
#include <vector>

#include "General/Streams/DeflateFilter.h"
#include "General/Streams/FileBuf.h"

#include "FuzzCheck.h"

namespace {

using vlib::fuzz::Check;

constexpr long long kOutputCap = 64ll << 20;

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    if (size > (1u << 20))
        return 0;
    std::vector<unsigned char> bytes(data, data + size);
    TFixedFileBuf file;
    file.Open(bytes.data(), int(size), 2);
    TInflateFilter inflate;
    Check(inflate.Open(&file));
    static unsigned char buffer[70000];
    const int pieces[] = {1, 4095, 70000, 33};
    long long total = 0;
    int stalls = 0;
    for (int i = 0; !inflate.AtEOF() && total < kOutputCap; ++i) {
        const int n = inflate.Read(buffer, pieces[i % 4]);
        Check(n >= 0 && n <= pieces[i % 4]);
        total += n;
        // A filter that is not at its end delivers something within a few calls.
        stalls = n == 0 ? stalls + 1 : 0;
        Check(stalls < 8);
    }
    inflate.CloseLayer();
    Check(file.IsOpen());
    return 0;
}
