// Symmetric eigenproblems: the tridiagonal reductions for 2, 3 and general sizes, the QL
// iteration and the two sorts. The arrays are float; each step computes in double and
// stores floats.
#include "General/Maths/Eigen.h"

#include "General/Core/LibAllocator.h"

#include <cmath>
#include <cstring>

namespace {
constexpr int kMaxIterations = 30;
}

TEigen::~TEigen() {
    Release();
}

void TEigen::Release() {
    TLibAllocator &heap = GetAllocatorInstance();
    if (matrix != nullptr) {
        heap.Unalloc(reinterpret_cast<unsigned char *>(matrix[0]));
        heap.Unalloc(reinterpret_cast<unsigned char *>(matrix));
    }
    heap.Unalloc(reinterpret_cast<unsigned char *>(diag));
    heap.Unalloc(reinterpret_cast<unsigned char *>(subd));
    matrix = nullptr;
    diag = subd = nullptr;
    size = m_Capacity = 0;
}

void TEigen::Set(int n) {
    Release();
    if (n <= 0)
        return;
    TLibAllocator &heap = GetAllocatorInstance();
    const size_t count = size_t(n);
    auto *rows = reinterpret_cast<float **>(heap.Alloc(sizeof(float *) * count));
    auto *cells = reinterpret_cast<float *>(heap.Alloc(sizeof(float) * count * count));
    auto *d = reinterpret_cast<float *>(heap.Alloc(sizeof(float) * count));
    auto *s = reinterpret_cast<float *>(heap.Alloc(sizeof(float) * count));
    if (rows == nullptr || cells == nullptr || d == nullptr || s == nullptr) {
        heap.Unalloc(reinterpret_cast<unsigned char *>(rows));
        heap.Unalloc(reinterpret_cast<unsigned char *>(cells));
        heap.Unalloc(reinterpret_cast<unsigned char *>(d));
        heap.Unalloc(reinterpret_cast<unsigned char *>(s));
        return;
    }
    std::memset(cells, 0, sizeof(float) * count * count);
    std::memset(d, 0, sizeof(float) * count);
    std::memset(s, 0, sizeof(float) * count);
    for (size_t i = 0; i < count; ++i)
        rows[i] = cells + i * count;
    matrix = rows;
    diag = d;
    subd = s;
    size = m_Capacity = n;
}

void TEigen::Set(const TMatrix2 &m) {
    if (m_Capacity < 2)
        return; // the rows are too short: nothing to copy into
    for (int i = 0; i < 2; ++i)
        for (int j = 0; j < 2; ++j)
            matrix[i][j] = m.m[i][j];
    size = 2;
}

void TEigen::Set(const TMatrix3 &m) {
    if (m_Capacity < 3)
        return;
    for (int i = 0; i < 3; ++i)
        for (int j = 0; j < 3; ++j)
            matrix[i][j] = m.m[i][j];
    size = 3;
}

void TEigen::Tridiagonal2() {
    diag[0] = matrix[0][0];
    diag[1] = matrix[1][1];
    subd[0] = matrix[0][1];
    subd[1] = 0.0f;
    matrix[0][0] = 1.0f, matrix[0][1] = 0.0f;
    matrix[1][0] = 0.0f, matrix[1][1] = 1.0f;
}

void TEigen::Tridiagonal3() {
    const double a = matrix[0][0], d = matrix[1][1], e = matrix[1][2], f = matrix[2][2];
    double b = matrix[0][1], c = matrix[0][2];
    diag[0] = float(a);
    subd[2] = 0.0f;
    if (c != 0.0) {
        const double len = std::sqrt(b * b + c * c);
        b /= len;
        c /= len;
        const double q = 2.0 * b * e + c * (f - d);
        diag[1] = float(d + c * q);
        diag[2] = float(f - c * q);
        subd[0] = float(len);
        subd[1] = float(e - b * q);
        const float rows[3][3] = {{1, 0, 0}, {0, float(b), float(c)}, {0, float(c), float(-b)}};
        for (int i = 0; i < 3; ++i)
            for (int j = 0; j < 3; ++j)
                matrix[i][j] = rows[i][j];
    } else {
        diag[1] = float(d);
        diag[2] = float(f);
        subd[0] = float(b);
        subd[1] = float(e);
        for (int i = 0; i < 3; ++i)
            for (int j = 0; j < 3; ++j)
                matrix[i][j] = i == j ? 1.0f : 0.0f;
    }
}

void TEigen::TridiagonalN() {
    float **mat = matrix;
    const int n = size;
    for (int i0 = n - 1, i3 = n - 2; i0 >= 1; --i0, --i3) {
        double h = 0.0;
        if (i3 > 0) {
            double scale = 0.0;
            for (int i2 = 0; i2 <= i3; ++i2)
                scale += std::fabs(mat[i0][i2]);
            if (scale == 0.0) {
                subd[i0] = mat[i0][i3];
            } else {
                const double invScale = 1.0 / scale;
                for (int i2 = 0; i2 <= i3; ++i2) {
                    mat[i0][i2] = float(mat[i0][i2] * invScale);
                    h += double(mat[i0][i2]) * mat[i0][i2];
                }
                double f = mat[i0][i3];
                double g = std::sqrt(h);
                if (f > 0.0)
                    g = -g;
                subd[i0] = float(scale * g);
                h -= f * g;
                mat[i0][i3] = float(f - g);
                f = 0.0;
                const double invH = 1.0 / h;
                for (int i1 = 0; i1 <= i3; ++i1) {
                    mat[i1][i0] = float(mat[i0][i1] * invH);
                    g = 0.0;
                    for (int i2 = 0; i2 <= i1; ++i2)
                        g += double(mat[i1][i2]) * mat[i0][i2];
                    for (int i2 = i1 + 1; i2 <= i3; ++i2)
                        g += double(mat[i2][i1]) * mat[i0][i2];
                    subd[i1] = float(g * invH);
                    f += double(subd[i1]) * mat[i0][i1];
                }
                const double halfFOverH = 0.5 * f * invH;
                for (int i1 = 0; i1 <= i3; ++i1) {
                    f = mat[i0][i1];
                    g = subd[i1] - halfFOverH * f;
                    subd[i1] = float(g);
                    for (int i2 = 0; i2 <= i1; ++i2)
                        mat[i1][i2] = float(mat[i1][i2] - (f * subd[i2] + g * double(mat[i0][i2])));
                }
            }
        } else {
            subd[i0] = mat[i0][i3];
        }
        diag[i0] = float(h);
    }
    diag[0] = 0.0f;
    subd[0] = 0.0f;
    for (int i0 = 0, i3 = -1; i0 <= n - 1; ++i0, ++i3) {
        if (diag[i0] != 0.0f) {
            for (int i1 = 0; i1 <= i3; ++i1) {
                double sum = 0.0;
                for (int i2 = 0; i2 <= i3; ++i2)
                    sum += double(mat[i0][i2]) * mat[i2][i1];
                for (int i2 = 0; i2 <= i3; ++i2)
                    mat[i2][i1] = float(mat[i2][i1] - sum * mat[i2][i0]);
            }
        }
        diag[i0] = mat[i0][i0];
        mat[i0][i0] = 1.0f;
        for (int i1 = 0; i1 <= i3; ++i1)
            mat[i1][i0] = mat[i0][i1] = 0.0f;
    }
    // The QL step wants subd[i] between rows i and i + 1.
    for (int i0 = 1, i3 = 0; i0 < n; ++i0, ++i3)
        subd[i3] = subd[i0];
    subd[n - 1] = 0.0f;
}

bool TEigen::QLAlgorithm() {
    const int n = size;
    for (int i0 = 0; i0 < n; ++i0) {
        int i1;
        for (i1 = 0; i1 < kMaxIterations; ++i1) {
            int i2;
            for (i2 = i0; i2 <= n - 2; ++i2) {
                const float tmp = std::fabs(diag[i2]) + std::fabs(diag[i2 + 1]);
                if (std::fabs(subd[i2]) + tmp == tmp)
                    break;
            }
            if (i2 == i0)
                break;
            double g = (double(diag[i0 + 1]) - diag[i0]) / (2.0 * subd[i0]);
            double r = std::sqrt(g * g + 1.0);
            g = double(diag[i2]) - diag[i0] + subd[i0] / (g < 0.0 ? g - r : g + r);
            double sn = 1.0, cs = 1.0, p = 0.0;
            for (int i3 = i2 - 1; i3 >= i0; --i3) {
                double f = sn * subd[i3];
                const double b = cs * subd[i3];
                if (std::fabs(f) >= std::fabs(g)) {
                    cs = g / f;
                    r = std::sqrt(cs * cs + 1.0);
                    subd[i3 + 1] = float(f * r);
                    sn = 1.0 / r;
                    cs *= sn;
                } else {
                    sn = f / g;
                    r = std::sqrt(sn * sn + 1.0);
                    subd[i3 + 1] = float(g * r);
                    cs = 1.0 / r;
                    sn *= cs;
                }
                g = diag[i3 + 1] - p;
                r = (diag[i3] - g) * sn + 2.0 * b * cs;
                p = sn * r;
                diag[i3 + 1] = float(g + p);
                g = cs * r - b;
                for (int i4 = 0; i4 < n; ++i4) {
                    f = matrix[i4][i3 + 1];
                    matrix[i4][i3 + 1] = float(sn * matrix[i4][i3] + cs * f);
                    matrix[i4][i3] = float(cs * matrix[i4][i3] - sn * f);
                }
            }
            diag[i0] = float(diag[i0] - p);
            subd[i0] = float(g);
            subd[i2] = 0.0f;
        }
        if (i1 == kMaxIterations)
            return false;
    }
    return true;
}

namespace {

/// Selection sort of the eigenvalues, the first of equal values kept, columns swapped along.
template <class Better> void SortEigen(int n, float *diag, float **matrix, Better better) {
    for (int i0 = 0; i0 <= n - 2; ++i0) {
        int i1 = i0;
        float best = diag[i1];
        for (int i2 = i0 + 1; i2 < n; ++i2) {
            if (better(diag[i2], best)) {
                i1 = i2;
                best = diag[i1];
            }
        }
        if (i1 != i0) {
            diag[i1] = diag[i0];
            diag[i0] = best;
            for (int row = 0; row < n; ++row) {
                const float t = matrix[row][i0];
                matrix[row][i0] = matrix[row][i1];
                matrix[row][i1] = t;
            }
        }
    }
}

} // namespace

void TEigen::DecreasingSort() {
    SortEigen(size, diag, matrix, [](float a, float b) { return a > b; });
}

void TEigen::IncreasingSort() {
    SortEigen(size, diag, matrix, [](float a, float b) { return a < b; });
}

void TEigen::EigenStuff2() {
    if (!Ready())
        return;
    Tridiagonal2();
    (void)QLAlgorithm(); // an unconverged value is left as it stands
}

void TEigen::EigenStuff3() {
    if (!Ready())
        return;
    Tridiagonal3();
    (void)QLAlgorithm();
}

void TEigen::EigenStuff4() {
    EigenStuffN();
}

void TEigen::EigenStuffN() {
    if (!Ready())
        return;
    TridiagonalN();
    (void)QLAlgorithm();
}

void TEigen::EigenStuff() {
    switch (size) {
    case 2:
        EigenStuff2();
        break;
    case 3:
        EigenStuff3();
        break;
    default:
        EigenStuffN();
        break;
    }
}

void TEigen::DecrSortEigenStuff2() {
    EigenStuff2();
    if (Ready())
        DecreasingSort();
}
void TEigen::DecrSortEigenStuff3() {
    EigenStuff3();
    if (Ready())
        DecreasingSort();
}
void TEigen::DecrSortEigenStuff4() {
    EigenStuff4();
    if (Ready())
        DecreasingSort();
}
void TEigen::DecrSortEigenStuffN() {
    EigenStuffN();
    if (Ready())
        DecreasingSort();
}
void TEigen::DecrSortEigenStuff() {
    EigenStuff();
    if (Ready())
        DecreasingSort();
}
void TEigen::IncrSortEigenStuff2() {
    EigenStuff2();
    if (Ready())
        IncreasingSort();
}
void TEigen::IncrSortEigenStuff3() {
    EigenStuff3();
    if (Ready())
        IncreasingSort();
}
void TEigen::IncrSortEigenStuff4() {
    EigenStuff4();
    if (Ready())
        IncreasingSort();
}
void TEigen::IncrSortEigenStuffN() {
    EigenStuffN();
    if (Ready())
        IncreasingSort();
}
void TEigen::IncrSortEigenStuff() {
    EigenStuff();
    if (Ready())
        IncreasingSort();
}
