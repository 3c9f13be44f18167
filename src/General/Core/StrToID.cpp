// StrToID folds case byte by byte as it hashes, instead of lower-casing a copy of the name
// first: the result is the same and the hot path touches no buffer. The fold runs beside the
// multiply chain, which is what bounds the speed of FNV-1.
#include "General/Core/StrToID.h"

#include "General/Core/Detail/AsciiText.h"

namespace {

constexpr uint32_t kFnvOffsetBasis = 0x811C9DC5u;
constexpr uint32_t kFnvPrime = 0x01000193u;
// Names are hashed as the fixed 255-character buffer they were once copied into held them.
constexpr int kMaxNameLength = 255;

} // namespace

uint32_t StrToID(const char *name) {
    uint32_t hash = kFnvOffsetBasis;
    if (name == nullptr)
        return hash;
    const unsigned char *p = reinterpret_cast<const unsigned char *>(name);
    for (int i = 0; i < kMaxNameLength && p[i] != 0; ++i)
        hash = (hash * kFnvPrime) ^ vlib::detail::AsciiLower(p[i]);
    return hash;
}
