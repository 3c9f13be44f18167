// A small linear congruential generator (modulus 714025) with Gaussian and biased draws. It is
// cheap and its state is one word, so effects and tools use it where quality matters little.
#pragma once

#include "General/Core/Export.h"
#include "General/Maths/Vector.h"

#include <cstdint>

/// seed = ((seed << 12) + 150889) % 714025, in wrapping 32-bit arithmetic.
class VLIB_API TLCGRand {
public:
    static constexpr uint32_t Modulus = 714025;

    TLCGRand() : m_Seed(0), m_HaveSpare(false), m_Spare(0.0f) {}
    explicit TLCGRand(uint32_t seed) : m_Seed(seed), m_HaveSpare(false), m_Spare(0.0f) {}

    /// Writes one word, the seed.
    virtual void SaveState(uint32_t *buffer) { buffer[0] = m_Seed; }
    virtual void LoadState(const uint32_t *buffer) { m_Seed = buffer[0]; }

    void SetSeed(uint32_t seed) { m_Seed = seed; }
    uint32_t GetSeed() const { return m_Seed; }
    static uint32_t ConvertSeed(uint32_t x) { return x % Modulus; }
    /// The low word of the global clock, modulo 714025.
    void SetRandomSeed();

    /// One step; the new seed.
    uint32_t iRand16() { return GetRan(); }
    /// Two steps: the first value shifted left by 16, XOR the low 16 bits of the second.
    uint32_t iRand32() {
        const uint32_t hi = GetRan();
        return (hi << 16) ^ (GetRan() & 0xFFFFu);
    }
    /// Four steps, one byte ((s >> 8) ^ s) & 255 each, lowest byte first.
    uint32_t GetRandomBits() {
        uint32_t bits = 0;
        for (int k = 0; k < 4; ++k) {
            const uint32_t s = GetRan();
            bits |= (((s >> 8) ^ s) & 255u) << (8 * k);
        }
        return bits;
    }
    /// One step scaled to 0 .. below 1.
    float GetRandom();
    /// One step scaled to 0 .. n - 1.
    int GetRandom(int n) { return int(GetRan() * uint32_t(n) / Modulus); }
    /// A standard normal value by the polar method; every second call uses the held spare.
    float GetGauss();
    /// A value in 0 .. 1 with a density rising linearly from a to b.
    float GetBiasedRandom(float a, float b);
    /// A value in 0 .. 1 with a quadratic density through a, b and c.
    float GetBiasedRandom(float a, float b, float c);
    /// A value in 0 .. 1 with a cubic Bezier density of control values a, b, c and d.
    float GetBiasedRandom(float a, float b, float c, float d);
    /// As the cubic form with control values a, b.y, c.y, d; the result is the Bezier abscissa
    /// with inner control abscissae b.x and c.x.
    float GetBiasedRandom(float a, const TVector2 &b, const TVector2 &c, float d);

    /// The integral of the linear density.
    static float RandomFunc(float x, float a, float b);
    /// The integral of the quadratic density, and the density.
    static float RandomFunc(float x, float a, float b, float c);
    static float RandomFuncDeriv(float x, float a, float b, float c);
    /// The integral of the cubic Bezier density, and the density.
    static float RandomFunc(float x, float a, float b, float c, float d);
    static float RandomFuncDeriv(float x, float a, float b, float c, float d);

private:
    uint32_t GetRan() {
        m_Seed = ((m_Seed << 12) + 150889u) % Modulus;
        return m_Seed;
    }
    /// One step as a uniform value of 12 bits.
    float GetUniform12();

    uint32_t m_Seed;
    bool m_HaveSpare;
    float m_Spare;
};
