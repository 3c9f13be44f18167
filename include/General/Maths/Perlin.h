// Value noise. TPerlin2D is a pure function of position: a hashed integer lattice smoothed by
// a cubic B-spline or bilinearly, summed over octaves, with analytic gradients. TRepeatingPerlin2D
// fills a tiling 16-bit height field from random lattices drawn from TMTRand. Both are plain
// values; the exact results are fixed, since generated terrain is saved by seed.
#pragma once

#include "General/Core/Export.h"
#include "General/Maths/Vector.h"

#include <cstdint>
#include <type_traits>

/// Octaves of lattice value noise over the plane.
class VLIB_API TPerlin2D {
public:
    /// 4 octaves, persistence 0.5, amplitude 1, frequency 1.
    TPerlin2D() : octaves(4), persistence(0.5f), amplitude(1.0f), frequency(1.0f) {}
    /// Note the order, which is not that of the fields.
    TPerlin2D(float amplitude_, float frequency_, float persistence_, int octaves_)
        : octaves(octaves_), persistence(persistence_), amplitude(amplitude_),
          frequency(frequency_) {}

    int GetOctaves() const { return octaves; }
    void SetOctaves(int v) { octaves = v; }
    float GetPersistence() const { return persistence; }
    void SetPersistence(float v) { persistence = v; }
    float GetAmplitude() const { return amplitude; }
    void SetAmplitude(float v) { amplitude = v; }
    float GetFrequency() const { return frequency; }
    void SetFrequency(float v) { frequency = v; }

    /// The first cubicOctaves octaves cubic, the rest bilinear.
    float Evaluate(const TVector2 &pos, int cubicOctaves) const;
    /// Every octave cubic; 0 for fewer than one octave.
    float EvaluateSlow(const TVector2 &pos) const;
    /// Every octave bilinear; 0 for fewer than one octave.
    float EvaluateFast(const TVector2 &pos) const;
    /// The value and its gradient, sampled one lattice cell further along both axes than
    /// Evaluate. Cubic octaves give twice the slope; the amplitude does not enter the gradient.
    float EvaluateGradient(const TVector2 &pos, TVector2 &gradient, int cubicOctaves) const;

    /// The lattice hash, in (-1, 1]. Public for tests and tools that need the raw lattice.
    static float RawNoise(uint32_t x, uint32_t y);

private:
    static float InterpolatedNoise(float x, float y);
    static float InterpolatedNoiseFast(float x, float y);
    static float InterpolatedNoiseGradient(float x, float y, TVector2 &g);
    static float InterpolatedNoiseFastGradient(float x, float y, TVector2 &g);

    int octaves;
    float persistence;
    float amplitude;
    float frequency;
};

/// A tiling height field of 16-bit samples from random lattices of 2^k cells per side.
class VLIB_API TRepeatingPerlin2D {
public:
    static constexpr int MaxOctaves = 16;
    /// Cells of the scratch buffer: width * height may not exceed it.
    static constexpr int MaxSamples = 262144;

    /// Persistence 0.5, no lattices.
    TRepeatingPerlin2D();

    /// Fills out (width * height samples, row by row) from the seed. Needs 1 to 16 octaves,
    /// width and height at least 2^octaves and at most MaxSamples samples; otherwise, or
    /// when memory runs out, out is left alone. A flat field comes out as zeros.
    void CreateIntPerlin(unsigned short *out, int seed, int octaves, int width, int height,
                         float persistence);
    /// One raw sample; it reads the lattices, so it only works inside CreateIntPerlin (0
    /// otherwise).
    int GetInt(int x, int y) const;

private:
    float Bound(int octave, int x, int y) const;
    void ReleaseLattices();

    float m_Persistence;
    int m_Octaves;
    int m_Width, m_Height;
    float *m_Lattice[MaxOctaves]; // owned during CreateIntPerlin only
    int m_LatticeWidth[MaxOctaves];
    int m_LatticeHeight[MaxOctaves];
};

static_assert(sizeof(TPerlin2D) == 16 && std::is_trivially_copyable_v<TPerlin2D>);
static_assert(std::is_trivially_copyable_v<TRepeatingPerlin2D>);
