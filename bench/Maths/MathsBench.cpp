// The maths hot paths against their usual peers, on the same data in the same run: matrix
// products, point transforms and quaternions against glm, 32-bit words from the generators
// against std::mt19937, and noise samples against stb_perlin. The summary at the end gives our
// time over the peer's for each pair: below 1 means the library is faster.
#include <benchmark/benchmark.h>

#include "Support/RatioReporter.h"

#include "General/Maths/IsaacRand.h"
#include "General/Maths/MTRand.h"
#include "General/Maths/Matrix.h"
#include "General/Maths/Perlin.h"
#include "General/Maths/Quaternion.h"

#include <glm/glm.hpp>
#include <glm/gtc/quaternion.hpp>
#define STB_PERLIN_IMPLEMENTATION
#include <stb/stb_perlin.h>

#include <random>
#include <vector>

namespace {

constexpr int kMatrices = 256;
constexpr int kPoints = 1000000;
constexpr int kQuaternions = 1024;
constexpr int kWords = 4096;

/// The same random inputs for both sides of each pair.
struct Inputs {
    std::vector<TMatrix4> ourA, ourB;
    std::vector<glm::mat4> glmA, glmB;
    std::vector<TVector3> ourPoints;
    std::vector<glm::vec3> glmPoints;
    std::vector<TQuaternion> ourP, ourQ;
    std::vector<glm::quat> glmP, glmQ;
    std::vector<float> t;

    Inputs() {
        std::mt19937 gen(7);
        std::uniform_real_distribution<float> d(-1.0f, 1.0f);
        for (int i = 0; i < kMatrices; ++i) {
            TMatrix4 a, b;
            glm::mat4 ga, gb;
            for (int r = 0; r < 4; ++r)
                for (int c = 0; c < 4; ++c) {
                    a.m[r][c] = d(gen);
                    b.m[r][c] = d(gen);
                    // glm is column-major with column vectors: the same numbers, transposed
                    // roles, so the same arithmetic is done.
                    ga[r][c] = a.m[r][c];
                    gb[r][c] = b.m[r][c];
                }
            ourA.push_back(a), ourB.push_back(b), glmA.push_back(ga), glmB.push_back(gb);
        }
        for (int i = 0; i < kPoints; ++i) {
            const float x = d(gen), y = d(gen), z = d(gen);
            ourPoints.emplace_back(x, y, z);
            glmPoints.emplace_back(x, y, z);
        }
        for (int i = 0; i < kQuaternions; ++i) {
            float v[8];
            for (float &e : v)
                e = d(gen);
            const float np = std::sqrt(v[0] * v[0] + v[1] * v[1] + v[2] * v[2] + v[3] * v[3]);
            const float nq = std::sqrt(v[4] * v[4] + v[5] * v[5] + v[6] * v[6] + v[7] * v[7]);
            // Both on one hemisphere, so glm's shortest-arc flip never fires and both do the
            // same interpolation.
            const float sign = (v[0] * v[4] + v[1] * v[5] + v[2] * v[6] + v[3] * v[7]) < 0 ? -1 : 1;
            ourP.emplace_back(v[0] / np, v[1] / np, v[2] / np, v[3] / np);
            ourQ.emplace_back(sign * v[4] / nq, sign * v[5] / nq, sign * v[6] / nq,
                              sign * v[7] / nq);
            glmP.emplace_back(ourP.back().w, ourP.back().x, ourP.back().y, ourP.back().z);
            glmQ.emplace_back(ourQ.back().w, ourQ.back().x, ourQ.back().y, ourQ.back().z);
            t.push_back((d(gen) + 1.0f) * 0.5f);
        }
    }
};

const Inputs &GetInputs() {
    static const Inputs inputs;
    return inputs;
}

void Mat4MulVLib(benchmark::State &state) {
    const Inputs &in = GetInputs();
    std::vector<TMatrix4> out(kMatrices);
    for (auto _ : state) {
        for (int i = 0; i < kMatrices; ++i)
            out[i].SetMul(in.ourA[i], in.ourB[i]);
        benchmark::DoNotOptimize(out.data());
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(state.iterations() * kMatrices);
}

void Mat4MulGlm(benchmark::State &state) {
    const Inputs &in = GetInputs();
    std::vector<glm::mat4> out(kMatrices);
    for (auto _ : state) {
        for (int i = 0; i < kMatrices; ++i)
            out[i] = in.glmB[i] * in.glmA[i];
        benchmark::DoNotOptimize(out.data());
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(state.iterations() * kMatrices);
}

void TransformVLib(benchmark::State &state) {
    const Inputs &in = GetInputs();
    TMatrix43 m;
    m.MakeRotateAxis(TVector3(0.6f, 0.8f, 0.0f), 0.7f);
    m.PostScale(TVector3(1.5f, 2.0f, 0.5f));
    m.PostTranslate(TVector3(1.0f, 2.0f, 3.0f));
    std::vector<TVector3> out(kPoints);
    for (auto _ : state) {
        const TVector3 *src = in.ourPoints.data();
        TVector3 *dst = out.data();
        for (int i = 0; i < kPoints; ++i)
            dst[i].SetMul(src[i], m);
        benchmark::DoNotOptimize(out.data());
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(state.iterations() * kPoints);
}

void TransformGlm(benchmark::State &state) {
    const Inputs &in = GetInputs();
    glm::mat4 m(1.0f);
    TMatrix43 ours;
    ours.MakeRotateAxis(TVector3(0.6f, 0.8f, 0.0f), 0.7f);
    ours.PostScale(TVector3(1.5f, 2.0f, 0.5f));
    ours.PostTranslate(TVector3(1.0f, 2.0f, 3.0f));
    for (int r = 0; r < 4; ++r)
        for (int c = 0; c < 3; ++c)
            m[r][c] = ours.m[r][c];
    std::vector<glm::vec3> out(kPoints);
    for (auto _ : state) {
        const glm::vec3 *src = in.glmPoints.data();
        glm::vec3 *dst = out.data();
        for (int i = 0; i < kPoints; ++i)
            dst[i] = glm::vec3(m * glm::vec4(src[i], 1.0f));
        benchmark::DoNotOptimize(out.data());
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(state.iterations() * kPoints);
}

void QuatMulVLib(benchmark::State &state) {
    const Inputs &in = GetInputs();
    std::vector<TQuaternion> out(kQuaternions);
    for (auto _ : state) {
        for (int i = 0; i < kQuaternions; ++i)
            out[i] = in.ourP[i] * in.ourQ[i];
        benchmark::DoNotOptimize(out.data());
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(state.iterations() * kQuaternions);
}

void QuatMulGlm(benchmark::State &state) {
    const Inputs &in = GetInputs();
    std::vector<glm::quat> out(kQuaternions);
    for (auto _ : state) {
        for (int i = 0; i < kQuaternions; ++i)
            out[i] = in.glmP[i] * in.glmQ[i];
        benchmark::DoNotOptimize(out.data());
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(state.iterations() * kQuaternions);
}

void SlerpVLib(benchmark::State &state) {
    const Inputs &in = GetInputs();
    std::vector<TQuaternion> out(kQuaternions);
    for (auto _ : state) {
        for (int i = 0; i < kQuaternions; ++i)
            out[i] = TQuaternion::Slerp(in.t[i], in.ourP[i], in.ourQ[i]);
        benchmark::DoNotOptimize(out.data());
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(state.iterations() * kQuaternions);
}

void SlerpGlm(benchmark::State &state) {
    const Inputs &in = GetInputs();
    std::vector<glm::quat> out(kQuaternions);
    for (auto _ : state) {
        for (int i = 0; i < kQuaternions; ++i)
            out[i] = glm::slerp(in.glmP[i], in.glmQ[i], in.t[i]);
        benchmark::DoNotOptimize(out.data());
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(state.iterations() * kQuaternions);
}

/// 32-bit words per second from one generator.
template <class F> void Words(benchmark::State &state, F &&gen) {
    for (auto _ : state) {
        uint32_t acc = 0;
        for (int i = 0; i < kWords; ++i)
            acc ^= uint32_t(gen());
        benchmark::DoNotOptimize(acc);
    }
    state.SetItemsProcessed(state.iterations() * kWords);
}

void WordsMTRand(benchmark::State &state) {
    TMTRand r;
    Words(state, [&] { return r.iRand32(); });
}
void WordsIsaac8(benchmark::State &state) {
    TIsaacRand<8> r;
    Words(state, [&] { return r.iRand32(); });
}
void WordsIsaac4(benchmark::State &state) {
    TIsaacRand<4> r;
    Words(state, [&] { return r.iRand32(); });
}
void WordsStdMt19937(benchmark::State &state) {
    std::mt19937 r(5489u);
    Words(state, [&] { return r(); });
}

constexpr int kSamples = 4096;

/// Noise over a grid of sample positions; `sample` maps (x, y) to a value.
template <class F> void NoiseSamples(benchmark::State &state, F &&sample) {
    for (auto _ : state) {
        float acc = 0.0f;
        for (int i = 0; i < kSamples; ++i) {
            const float x = float(i & 63) * 0.173f + 0.05f, y = float(i >> 6) * 0.211f + 0.07f;
            acc += sample(x, y);
        }
        benchmark::DoNotOptimize(acc);
    }
    state.SetItemsProcessed(state.iterations() * kSamples);
}

// One octave: our bilinear lattice noise, and our cubic one, against stb's gradient noise.
void PerlinVLib(benchmark::State &state) {
    const TPerlin2D noise(1.0f, 1.0f, 0.5f, 1);
    NoiseSamples(state, [&](float x, float y) { return noise.EvaluateFast(TVector2(x, y)); });
}
void PerlinCubicVLib(benchmark::State &state) {
    const TPerlin2D noise(1.0f, 1.0f, 0.5f, 1);
    NoiseSamples(state, [&](float x, float y) { return noise.EvaluateSlow(TVector2(x, y)); });
}
void PerlinStb(benchmark::State &state) {
    NoiseSamples(state, [](float x, float y) { return stb_perlin_noise3(x, y, 0.0f, 0, 0, 0); });
}
// Four octaves, frequency doubling and amplitude halving.
void PerlinFbmVLib(benchmark::State &state) {
    const TPerlin2D noise(1.0f, 1.0f, 0.5f, 4);
    NoiseSamples(state, [&](float x, float y) { return noise.EvaluateFast(TVector2(x, y)); });
}
void PerlinFbmStb(benchmark::State &state) {
    NoiseSamples(state,
                 [](float x, float y) { return stb_perlin_fbm_noise3(x, y, 0.0f, 2.0f, 0.5f, 4); });
}

BENCHMARK(Mat4MulVLib);
BENCHMARK(Mat4MulGlm);
BENCHMARK(TransformVLib);
BENCHMARK(TransformGlm);
BENCHMARK(QuatMulVLib);
BENCHMARK(QuatMulGlm);
BENCHMARK(SlerpVLib);
BENCHMARK(SlerpGlm);
BENCHMARK(WordsMTRand);
BENCHMARK(WordsIsaac8);
BENCHMARK(WordsIsaac4);
BENCHMARK(WordsStdMt19937);
BENCHMARK(PerlinVLib);
BENCHMARK(PerlinCubicVLib);
BENCHMARK(PerlinStb);
BENCHMARK(PerlinFbmVLib);
BENCHMARK(PerlinFbmStb);

} // namespace

int main(int argc, char **argv) {
    return vlib::bench::RunWithRatios(
        argc, argv,
        {{"Mat4MulVLib", "Mat4MulGlm", "4x4 matrix multiply / glm"},
         {"TransformVLib", "TransformGlm", "affine transform of 1M points / glm"},
         {"QuatMulVLib", "QuatMulGlm", "quaternion multiply / glm"},
         {"SlerpVLib", "SlerpGlm", "quaternion slerp / glm"},
         {"WordsMTRand", "WordsStdMt19937", "TMTRand words / std::mt19937"},
         {"WordsIsaac8", "WordsStdMt19937", "TIsaacRand<8> words / std::mt19937"},
         {"WordsIsaac4", "WordsStdMt19937", "TIsaacRand<4> words / std::mt19937"},
         {"PerlinVLib", "PerlinStb", "noise sample, bilinear / stb_perlin_noise3"},
         {"PerlinCubicVLib", "PerlinStb", "noise sample, cubic / stb_perlin_noise3"},
         {"PerlinFbmVLib", "PerlinFbmStb", "4-octave noise / stb_perlin_fbm_noise3"}});
}
