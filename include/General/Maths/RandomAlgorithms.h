// The ranges, dice, vectors and shuffles that game code draws from any generator with a 32-bit
// iRand32. The mapping from words to results is fixed: saved games and replays rely on a seed
// giving the same results, so floats are formed in double and narrowed once, on return.
#pragma once

#include "General/Core/Export.h"
#include "General/Core/LibAllocator.h"
#include "General/Maths/IsaacRand.h"
#include "General/Maths/MTRand.h"
#include "General/Maths/Vector.h"

#include <bit>
#include <cmath>
#include <cstdint>
#include <cstring>

namespace vlib::detail {
inline constexpr double kWordScale = 1.0 / 4294967296.0;     // 2^-32
inline constexpr double kHalfWordScale = 1.0 / 2147483648.0; // 2^-31
/// The float 6.2831855, two pi, in double.
inline constexpr double kTwoPiFloat = double(6.2831855f);
/// The float 0x3B808081, close to 1/255.
inline constexpr float kOneOver255 = std::bit_cast<float>(0x3B808081u);
/// The float 0x32C80000, exactly 100 * 2^-32.
inline constexpr float kPercentScale = std::bit_cast<float>(0x32C80000u);
} // namespace vlib::detail

/// Range mappings over the generator R, which must offer uint32_t iRand32().
template <class R> class TRandomAlgorithms : public R {
public:
    using R::iRand32;

    TRandomAlgorithms() = default;

    /// r >> 1.
    int iRand31() { return int(iRand32() >> 1); }
    uint32_t GetRandomBits() { return iRand32(); }
    /// The next byte of the bit buffer.
    int iRand8() { return int(iRandBits(8)); }
    /// The next n bits of the bit buffer, n from 0 to 31; the spare bits of a word too short
    /// for the request are dropped.
    uint32_t iRandBits(int n) {
        m_BitsLeft -= n;
        if (m_BitsLeft < 0) {
            m_BitBuffer = iRand32();
            m_BitsLeft = 32 - n;
        }
        const uint32_t result = m_BitBuffer & ((1u << n) - 1u);
        m_BitBuffer >>= n;
        return result;
    }

    /// 0 to below 1 (a word near 2^32 may round up to 1 in the narrowing).
    float fRand() { return float(double(iRand32()) * vlib::detail::kWordScale); }
    float fRandExc() { return fRand(); }
    float GetRandom() { return fRand(); }
    /// Above 0 to below 1.
    float fRandExc2() { return float((double(iRand32()) + 0.5) * vlib::detail::kWordScale); }
    /// 0 to 1 inclusive, in steps of 1/255.
    float fRand8() { return float(double(iRand8()) * double(vlib::detail::kOneOver255)); }
    float fRand8Exc() { return float(double(iRand8()) * (1.0 / 256.0)); }
    float fRand8Exc2() { return float((double(iRand8()) + 0.5) * (1.0 / 256.0)); }

    /// 0 to n - 1 from the low 16 bits of a word.
    int iRandm(int n) { return int(((iRand32() & 0xFFFFu) * uint32_t(n)) >> 16); }
    int GetRandom(int n) { return iRandm(n); }
    /// 0 to below x.
    float fRandm(float x) {
        return float(double(iRand32()) * double(x) * vlib::detail::kWordScale);
    }
    /// a to below b.
    float fRandRange(float a, float b) {
        return float(double(iRand32()) * (double(b) - double(a)) * vlib::detail::kWordScale +
                     double(a));
    }
    float fRandRange(const TVector2 &v) { return fRandRange(v.x, v.y); }
    /// a to b inclusive.
    int iRandRange(int a, int b) {
        return int(((iRand32() & 0xFFFFu) * uint32_t(b - a + 1)) >> 16) + a;
    }
    /// True with a chance of 1 in n.
    bool OnceInNTimes(unsigned n) { return (((iRand32() & 0xFFFFu) * n) >> 16) == 0; }
    /// True when a roll of 1 to sides is at least target.
    bool Dice(unsigned sides, unsigned target) {
        return (((iRand32() & 0xFFFFu) * sides) >> 16) + 1 >= target;
    }
    bool Proportion(float p) { return double(iRand32()) * vlib::detail::kWordScale < p; }
    bool Percent(float p) { return double(iRand32()) * double(vlib::detail::kPercentScale) < p; }

    /// Box-Muller, cosine branch: two words.
    float Gauss(float mean, float deviation) {
        const double u = (double(iRand32()) + 0.5) * vlib::detail::kWordScale;
        const double m = std::sqrt(-2.0 * std::log(1.0 - u));
        const double t = double(iRand32()) * vlib::detail::kTwoPiFloat * vlib::detail::kWordScale;
        return float(double(mean) + double(deviation) * m * std::cos(t));
    }

    /// Each component -1 to below 1; x drawn first.
    TVector2 RandV2_Square() {
        const float x = SignedUnit();
        const float y = SignedUnit();
        return TVector2(x, y);
    }
    TVector3 RandV3_Cube() {
        const float x = SignedUnit();
        const float y = SignedUnit();
        const float z = SignedUnit();
        return TVector3(x, y, z);
    }
    /// (sin, cos) of a random angle: on the unit circle.
    TVector2 RandV2_Circle() {
        const double angle =
            double(iRand32()) * vlib::detail::kTwoPiFloat * vlib::detail::kWordScale;
        return TVector2(float(std::sin(angle)), float(std::cos(angle)));
    }
    /// On the unit sphere; two words.
    TVector3 RandV3_Sphere() {
        const double t = double(iRand32()) * vlib::detail::kTwoPiFloat * vlib::detail::kWordScale;
        const double p = std::acos(double(iRand32()) * vlib::detail::kHalfWordScale - 1.0);
        const double sp = std::sin(p);
        return TVector3(float(std::sin(t) * sp), float(std::cos(t) * sp), float(std::cos(p)));
    }

    void RandomData(unsigned char *p, int n) {
        for (int i = 0; i < n; ++i)
            p[i] = static_cast<unsigned char>(iRand8());
    }
    void RandomFloats(float *p, int n) {
        for (int i = 0; i < n; ++i)
            p[i] = fRand();
    }
    void RandomFloatsRange(float *p, int n, float a, float b) {
        for (int i = 0; i < n; ++i)
            p[i] = fRandRange(a, b);
    }
    /// A permutation of first .. first + n - 1.
    void RandomIndices(int *p, int n, int first) {
        for (int i = 0; i < n; ++i)
            p[i] = i + first;
        for (int i = 0; i < n; ++i) {
            const int j = iRandm(n);
            const int t = p[i];
            p[i] = p[j];
            p[j] = t;
        }
    }
    /// Shuffles n elements of size bytes, each swapped with a different one. Nothing changes
    /// when n is below 2 (no other element exists) or the scratch element cannot be allocated.
    void RandomiseArray(void *p, int n, int size) {
        if (n < 2 || size <= 0)
            return;
        unsigned char *scratch = GetAllocatorInstance().Alloc(static_cast<unsigned long>(size));
        if (scratch == nullptr)
            return;
        unsigned char *bytes = static_cast<unsigned char *>(p);
        const size_t width = static_cast<size_t>(size);
        for (int i = 0; i < n; ++i) {
            int j = iRandm(n);
            while (j == i)
                j = iRandm(n);
            unsigned char *a = bytes + width * static_cast<size_t>(i);
            unsigned char *b = bytes + width * static_cast<size_t>(j);
            std::memcpy(scratch, a, width);
            std::memcpy(a, b, width);
            std::memcpy(b, scratch, width);
        }
        GetAllocatorInstance().Unalloc(scratch);
    }

private:
    float SignedUnit() { return float(double(iRand32()) * vlib::detail::kHalfWordScale - 1.0); }

    int m_BitsLeft = 0;
    uint32_t m_BitBuffer = 0;
};
