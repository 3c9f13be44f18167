// Lattice value noise and the tiling height field. The hash, the spline weights and the octave
// sums follow one fixed recipe so that a position or a seed always gives the same value:
// weights are held as floats, sums are formed in double and narrowed on return.
#include "General/Maths/Perlin.h"

#include "General/Core/LibAllocator.h"
#include "General/Maths/MTRand.h"
#include "General/Maths/RandomAlgorithms.h"

#include <cmath>
#include <cstring>

namespace {

/// The float 0.16666667.
constexpr float kSixth = 1.0f / 6.0f;
/// The float with the bits of 2^-30.
constexpr double kHashScale = 1.0 / 1073741824.0;
/// The float 0x477FFFE6: just under 65536.
constexpr float kSampleScale = 65535.8984375f;
constexpr size_t kScratchBytes = 0x100000;

/// The integer lattice cell of a coordinate (truncated towards zero) and the fraction in it.
struct Cell {
    uint32_t i;
    float f;
};

Cell CellOf(float v) {
    if (!std::isfinite(v))
        return Cell{0u, 0.0f};
    const long long i = static_cast<long long>(v);
    return Cell{static_cast<uint32_t>(i), float(double(v) - double(i))};
}

/// The cubic B-spline weights for the cells -1, 0, 1 and 2.
inline __attribute__((always_inline)) void SplineWeights(float t, float w[4]) {
    const double t1 = t, t2 = t1 * t1, t3 = t2 * t1;
    w[0] = float((1.0 - 3.0 * t1 + 3.0 * t2 - t3) * kSixth);
    w[1] = float((4.0 - 6.0 * t2 + 3.0 * t3) * kSixth);
    w[2] = float((3.0 * (t2 + t1) + 1.0 - 3.0 * t3) * kSixth);
    w[3] = float(t3 * kSixth);
}

/// Twice the derivatives of the spline weights.
inline __attribute__((always_inline)) void SplineSlopes(float t, float d[4]) {
    const double t1 = t, t2 = t1 * t1;
    d[0] = float(2.0 * t1 - 1.0 - t2);
    d[1] = float(3.0 * t2 - 4.0 * t1);
    d[2] = float(2.0 * t1 + 1.0 - 3.0 * t2);
    d[3] = float(t2);
}

// Four lanes of lattice work. The hash and the conversions are done lane by lane with exactly
// the operations of RawNoise, so each lane gives RawNoise's value bit for bit; the four lanes
// are the four rows of a neighbourhood, which the sums below keep apart anyway.
using TU4 = uint32_t __attribute__((vector_size(16)));
using TI4 = int32_t __attribute__((vector_size(16)));
using TF4 = float __attribute__((vector_size(16)));
using TD4 = double __attribute__((vector_size(32)));

/// RawNoise of four lattice indices n = y * 57 + x, widened to double. (Written to `out`:
/// a 32-byte vector is passed differently with and without AVX.)
inline __attribute__((always_inline)) void RawNoise4(TU4 n, TD4 &out) {
    n = (n << 13) ^ n;
    const TU4 v = ((n * n * 15731u + 789221u) * n - 771171059u) & 0x7FFFFFFFu;
    // v is below 2^31, so its signed reading converts to the same double.
    const TD4 scaled =
        1.0 - __builtin_convertvector(reinterpret_cast<const TI4 &>(v), TD4) * kHashScale;
    out = __builtin_convertvector(__builtin_convertvector(scaled, TF4), TD4);
}

/// The 16 lattice values around a cell as four columns, i = -1 to 2; lane j of a column is
/// the row j - 1.
inline __attribute__((always_inline)) void Neighbourhood(uint32_t ix, uint32_t iy, TD4 columns[4]) {
    const TU4 rows = {0u, 57u, 114u, 171u};
    const TU4 first = (iy - 1u) * 57u + (ix - 1u) + rows;
    for (uint32_t i = 0; i < 4; ++i)
        RawNoise4(first + i, columns[i]);
}

/// The cubic sample; inlined into a baseline and an AVX2 entry point below.
inline __attribute__((always_inline)) float CubicNoise(float x, float y) {
    const Cell cx = CellOf(x), cy = CellOf(y);
    float wx[4], wy[4];
    TD4 v[4];
    SplineWeights(cx.f, wx);
    SplineWeights(cy.f, wy);
    Neighbourhood(cx.i, cy.i, v);
    // Each row of four along x first (the four rows side by side in the lanes), then the rows
    // along y; the order of the additions is fixed, so the result is too.
    const TD4 rows =
        double(wx[0]) * v[0] + double(wx[1]) * v[1] + double(wx[2]) * v[2] + double(wx[3]) * v[3];
    return float(double(wy[0]) * rows[0] + double(wy[1]) * rows[1] + double(wy[2]) * rows[2] +
                 double(wy[3]) * rows[3]);
}

/// The cubic sample and its slope; inlined like CubicNoise.
inline __attribute__((always_inline)) float CubicNoiseGradient(float x, float y, TVector2 &g) {
    const Cell cx = CellOf(x + 1.0f), cy = CellOf(y + 1.0f);
    float wx[4], wy[4], dx[4], dy[4];
    TD4 v[4];
    SplineWeights(cx.f, wx);
    SplineWeights(cy.f, wy);
    SplineSlopes(cx.f, dx);
    SplineSlopes(cy.f, dy);
    Neighbourhood(cx.i, cy.i, v);
    // The same order as InterpolatedNoise: rows along x (in the lanes), then along y.
    TD4 row = {0.0, 0.0, 0.0, 0.0}, slopeRow = row;
    for (int i = 0; i < 4; ++i) {
        row += double(wx[i]) * v[i];
        slopeRow += double(dx[i]) * v[i];
    }
    double sum = 0.0, gx = 0.0, gy = 0.0;
    for (int j = 0; j < 4; ++j) {
        sum += double(wy[j]) * row[j];
        gx += double(wy[j]) * slopeRow[j];
        gy += double(dy[j]) * row[j];
    }
    g.Set(float(gx), float(gy));
    return float(sum);
}

// The cubic samples are built twice, for the baseline and for AVX2, and the entry point is
// picked on first use. (An ifunc picked by the loader runs before sanitizer and coverage
// runtimes are ready, which crashes instrumented builds as they load.)
__attribute__((target("avx2"))) float CubicNoiseAvx2(float x, float y) {
    return CubicNoise(x, y);
}
float CubicNoiseBase(float x, float y) {
    return CubicNoise(x, y);
}
__attribute__((target("avx2"))) float CubicNoiseGradientAvx2(float x, float y, TVector2 &g) {
    return CubicNoiseGradient(x, y, g);
}
float CubicNoiseGradientBase(float x, float y, TVector2 &g) {
    return CubicNoiseGradient(x, y, g);
}

bool HasAvx2() {
    __builtin_cpu_init();
    return __builtin_cpu_supports("avx2");
}

} // namespace

float TPerlin2D::RawNoise(uint32_t x, uint32_t y) {
    uint32_t n = y * 57u + x;
    n = (n << 13) ^ n;
    const uint32_t v = ((n * n * 15731u + 789221u) * n - 771171059u) & 0x7FFFFFFFu;
    return float(1.0 - double(v) * kHashScale);
}

float TPerlin2D::InterpolatedNoiseFast(float x, float y) {
    const Cell cx = CellOf(x), cy = CellOf(y);
    const double fx = cx.f, fy = cy.f;
    const double bottom = (1.0 - fx) * RawNoise(cx.i, cy.i) + fx * RawNoise(cx.i + 1, cy.i);
    const double top = (1.0 - fx) * RawNoise(cx.i, cy.i + 1) + fx * RawNoise(cx.i + 1, cy.i + 1);
    return float((1.0 - fy) * bottom + fy * top);
}

float TPerlin2D::InterpolatedNoise(float x, float y) {
    static float (*const pick)(float, float) = HasAvx2() ? CubicNoiseAvx2 : CubicNoiseBase;
    return pick(x, y);
}

float TPerlin2D::InterpolatedNoiseGradient(float x, float y, TVector2 &g) {
    static float (*const pick)(float, float, TVector2 &) =
        HasAvx2() ? CubicNoiseGradientAvx2 : CubicNoiseGradientBase;
    return pick(x, y, g);
}

float TPerlin2D::InterpolatedNoiseFastGradient(float x, float y, TVector2 &g) {
    const Cell cx = CellOf(x + 1.0f), cy = CellOf(y + 1.0f);
    const double fx = cx.f, fy = cy.f;
    const double p00 = RawNoise(cx.i, cy.i), p10 = RawNoise(cx.i + 1, cy.i);
    const double p01 = RawNoise(cx.i, cy.i + 1), p11 = RawNoise(cx.i + 1, cy.i + 1);
    const double bottom = (1.0 - fx) * p00 + fx * p10;
    const double top = (1.0 - fx) * p01 + fx * p11;
    g.Set(float((1.0 - fy) * (p10 - p00) + fy * (p11 - p01)), float(top - bottom));
    return float((1.0 - fy) * bottom + fy * top);
}

float TPerlin2D::Evaluate(const TVector2 &pos, int cubicOctaves) const {
    double sum = 0.0;
    float freq = frequency, amp = amplitude;
    for (int i = 0; i < octaves; ++i) {
        const float x = freq * pos.x, y = freq * pos.y;
        const float n = i < cubicOctaves ? InterpolatedNoise(x, y) : InterpolatedNoiseFast(x, y);
        sum += double(amp) * n;
        freq = freq + freq;
        amp = amp * persistence;
    }
    return float(sum);
}

float TPerlin2D::EvaluateSlow(const TVector2 &pos) const {
    return Evaluate(pos, octaves);
}

float TPerlin2D::EvaluateFast(const TVector2 &pos) const {
    double sum = 0.0;
    float freq = frequency, amp = amplitude;
    for (int i = 0; i < octaves; ++i) {
        sum += double(amp) * InterpolatedNoiseFast(freq * pos.x, freq * pos.y);
        freq = freq + freq;
        amp = amp * persistence;
    }
    return float(sum);
}

float TPerlin2D::EvaluateGradient(const TVector2 &pos, TVector2 &gradient, int cubicOctaves) const {
    gradient.Set(0.0f, 0.0f);
    double sum = 0.0;
    float freq = frequency, amp = amplitude;
    for (int i = 0; i < octaves; ++i) {
        const float x = freq * pos.x, y = freq * pos.y;
        TVector2 g;
        const float n = i < cubicOctaves ? InterpolatedNoiseGradient(x, y, g)
                                         : InterpolatedNoiseFastGradient(x, y, g);
        gradient.x = float(gradient.x + double(g.x) * freq);
        gradient.y = float(gradient.y + double(g.y) * freq);
        sum += double(amp) * n;
        freq = freq + freq;
        amp = amp * persistence;
    }
    return float(sum);
}

// TRepeatingPerlin2D --------------------------------------------------------------------------

TRepeatingPerlin2D::TRepeatingPerlin2D()
    : m_Persistence(0.5f), m_Octaves(0), m_Width(0),
      m_Height(0), m_Lattice{}, m_LatticeWidth{}, m_LatticeHeight{} {}

void TRepeatingPerlin2D::ReleaseLattices() {
    TLibAllocator &heap = GetAllocatorInstance();
    for (float *&lattice : m_Lattice) {
        heap.Unalloc(reinterpret_cast<unsigned char *>(lattice));
        lattice = nullptr;
    }
}

float TRepeatingPerlin2D::Bound(int octave, int x, int y) const {
    const int w = m_LatticeWidth[octave], h = m_LatticeHeight[octave];
    while (x < 0)
        x += w;
    while (x >= w)
        x -= w;
    while (y < 0)
        y += h;
    while (y >= h)
        y -= h;
    return m_Lattice[octave][y * w + x];
}

int TRepeatingPerlin2D::GetInt(int x, int y) const {
    double sum = 0.0;
    float amp = 1.0f;
    for (int i = 0; i < m_Octaves; ++i) {
        if (m_Lattice[i] == nullptr)
            return 0;
        const int stepX = m_Width / m_LatticeWidth[i], stepY = m_Height / m_LatticeHeight[i];
        const int ix = x / stepX, iy = y / stepY;
        const double fx = float(x % stepX) / float(stepX);
        const double fy = float(y % stepY) / float(stepY);
        const double value =
            (1.0 - fy) * ((1.0 - fx) * Bound(i, ix, iy) + fx * Bound(i, ix + 1, iy)) +
            fy * ((1.0 - fx) * Bound(i, ix, iy + 1) + fx * Bound(i, ix + 1, iy + 1));
        sum += value * amp;
        amp *= m_Persistence;
    }
    return int((sum + 1.0) * 0.5 * double(kSampleScale));
}

void TRepeatingPerlin2D::CreateIntPerlin(unsigned short *out, int seed, int octaves, int width,
                                         int height, float persistence) {
    if (out == nullptr || octaves < 1 || octaves > MaxOctaves || width < (1 << octaves) ||
        height < (1 << octaves) || (long long)width * height > MaxSamples)
        return;
    TRandomAlgorithms<TMTRand> random;
    TLibAllocator &heap = GetAllocatorInstance();
    auto *scratch = reinterpret_cast<int32_t *>(heap.Alloc(kScratchBytes));
    if (scratch == nullptr)
        return;
    m_Persistence = persistence;
    m_Octaves = octaves;
    m_Width = width;
    m_Height = height;
    for (int k = 0; k < octaves; ++k) {
        const int side = 1 << (k + 1);
        m_LatticeWidth[k] = m_LatticeHeight[k] = side;
        m_Lattice[k] = reinterpret_cast<float *>(heap.Alloc(sizeof(float) * size_t(side) * side));
        if (m_Lattice[k] == nullptr) {
            ReleaseLattices();
            heap.Unalloc(reinterpret_cast<unsigned char *>(scratch));
            return;
        }
    }
    random.SetSeed(uint32_t(seed));
    for (int k = 0; k < octaves; ++k) {
        const int cells = m_LatticeWidth[k] * m_LatticeHeight[k];
        for (int i = 0; i < cells; ++i)
            m_Lattice[k][i] =
                float(2.0 * (double(random.iRand32()) * vlib::detail::kWordScale - 0.5));
    }
    int highest = 0, lowest = 65535;
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x) {
            const int v = GetInt(x, y);
            scratch[y * width + x] = v;
            highest = v > highest ? v : highest;
            lowest = v < lowest ? v : lowest;
        }
    const long long range = (long long)highest - lowest;
    for (int i = 0; i < width * height; ++i)
        out[i] =
            range == 0
                ? 0
                : static_cast<unsigned short>(((long long)(scratch[i] - lowest) * 65535) / range);
    ReleaseLattices();
    heap.Unalloc(reinterpret_cast<unsigned char *>(scratch));
}
