// The shared table of TFastBits, built once from the linear congruential generator started at 0.
#include "General/Maths/FastBits.h"

uint32_t TFastBits::Bits[256];
float TFastBits::OOWord = 1.0f / 4294967296.0f;
bool TFastBits::Initialised = false;

namespace {

bool BuildFastBitsTable() {
    uint32_t v = 0;
    for (uint32_t &entry : TFastBits::Bits) {
        uint32_t word = 0;
        for (int k = 0; k < 4; ++k) {
            v = ((v << 12) + 150889u) % 714025u;
            word |= (((v >> 8) ^ v) & 255u) << (8 * k);
        }
        entry = word;
    }
    TFastBits::Initialised = true;
    return true;
}

} // namespace

TFastBits::TFastBits() : m_Counter(0) {
    // A function-local static makes the one build safe when threads construct at once.
    static const bool built = BuildFastBitsTable();
    (void)built;
}
