// Fuzz target of the TCompressRaw decoder. Arbitrary blocks go through the checked decoder,
// which must never read or write outside the buffers it is given; and the input itself is
// compressed and must come back unchanged within the stated bound.
#include <cstdint>
#include <cstring>
#include <memory>
#include <vector>

#include "General/Streams/CompressRaw.h"

#include "FuzzCheck.h"

namespace {

using vlib::fuzz::Check;

constexpr int kOutputCap = 1 << 20;

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    if (size > (1u << 20))
        return 0;
    // Decode: the destination is exactly the declared size, when that is within reason.
    if (size >= 4) {
        const int declared = TCompressRaw::GetDecompSize(data);
        if (declared >= 0 && declared <= kOutputCap) {
            // Left uninitialised, so the sanitizer sees any read of a byte never written.
            std::unique_ptr<unsigned char[]> out(new unsigned char[size_t(declared) + 1]);
            const unsigned char *end =
                TCompressRaw::Decompress(data, int(size), out.get(), declared);
            Check(end == nullptr || (end > data && end <= data + size));
        }
    }
    // Encode and decode again; the encoder's plain scan is slow under the sanitizers, so only
    // small inputs take this path and the decoder gets most of the time.
    if (size >= 1 && size <= 512) {
        std::vector<unsigned char> packed(
            static_cast<size_t>(TCompressRaw::GetMaxCompSize(int(size))));
        unsigned char *end = TCompressRaw::Compress(data, int(size), packed.data());
        Check(end != nullptr && end <= packed.data() + packed.size());
        std::vector<unsigned char> back(size);
        const unsigned char *stop = TCompressRaw::Decompress(
            packed.data(), int(end - packed.data()), back.data(), int(size));
        Check(stop == end);
        Check(std::memcmp(back.data(), data, size) == 0);
    }
    return 0;
}
