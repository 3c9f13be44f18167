// StrToID folds case byte by byte as it hashes, instead of lower-casing a copy of the name
// first: the result is the same and nothing is copied. FNV-1 is one serial multiply chain,
// so the loop is kept to a load, a table look-up, a multiply and an XOR per byte, and the
// 255-byte limit is checked once every five bytes.
#include "General/Core/StrToID.h"

#include "General/Core/Detail/AsciiText.h"

namespace {

constexpr uint32_t kFnvOffsetBasis = 0x811C9DC5u;
constexpr uint32_t kFnvPrime = 0x01000193u;
// Names are hashed as the fixed 255-character buffer they were once copied into held them.
constexpr int kMaxNameLength = 255;
constexpr int kUnroll = 5;
static_assert(kMaxNameLength % kUnroll == 0);

} // namespace

uint32_t StrToID(const char *name) {
    uint32_t hash = kFnvOffsetBasis;
    if (name == nullptr)
        return hash;
    const unsigned char *p = reinterpret_cast<const unsigned char *>(name);
    const unsigned char *const limit = p + kMaxNameLength;
    for (; p < limit; p += kUnroll) {
#pragma GCC unroll 5
        for (int k = 0; k < kUnroll; ++k) {
            const unsigned char c = p[k];
            if (c == 0)
                return hash;
            hash = (hash * kFnvPrime) ^ vlib::detail::kAsciiLowerTable[c];
        }
    }
    return hash;
}
