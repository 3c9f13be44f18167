// TEigen: eigenpairs satisfy A v = lambda v for each solver size, sorting, diagonal input,
// and the empty object.
#include "General/Maths/Eigen.h"

#include "General/Core/LibAllocator.h"

#include <gtest/gtest.h>

#include <random>

namespace {

/// Checks A v = lambda v for every column of a solved problem against the original matrix.
void ExpectEigenpairs(const TEigen &e, const std::vector<std::vector<float>> &a, float tol) {
    const int n = e.size;
    for (int col = 0; col < n; ++col) {
        for (int row = 0; row < n; ++row) {
            double av = 0.0;
            for (int k = 0; k < n; ++k)
                av += double(a[row][k]) * e.Eigenvector(k, col);
            EXPECT_NEAR(av, double(e.Eigenvalue(col)) * e.Eigenvector(row, col), tol)
                << "column " << col << " row " << row;
        }
    }
}

std::vector<std::vector<float>> RandomSymmetric(int n, std::mt19937 &gen) {
    std::uniform_real_distribution<float> d(-3.0f, 3.0f);
    std::vector<std::vector<float>> a(n, std::vector<float>(n));
    for (int i = 0; i < n; ++i)
        for (int j = 0; j <= i; ++j)
            a[i][j] = a[j][i] = d(gen);
    return a;
}

TEST(Eigen, SolvesEverySize) {
    std::mt19937 gen(9);
    for (int n : {2, 3, 4, 5, 7}) {
        SCOPED_TRACE(n);
        for (int trial = 0; trial < 5; ++trial) {
            const auto a = RandomSymmetric(n, gen);
            TEigen e;
            e.Set(n);
            for (int i = 0; i < n; ++i)
                for (int j = 0; j < n; ++j)
                    e.Set(i, j, a[i][j]);
            e.DecrSortEigenStuff();
            ExpectEigenpairs(e, a, 2e-4f);
            for (int i = 1; i < n; ++i)
                EXPECT_GE(e.Eigenvalue(i - 1), e.Eigenvalue(i));
            e.Set(n);
            for (int i = 0; i < n; ++i)
                for (int j = 0; j < n; ++j)
                    e.Set(i, j, a[i][j]);
            e.IncrSortEigenStuffN();
            ExpectEigenpairs(e, a, 2e-4f);
            for (int i = 1; i < n; ++i)
                EXPECT_LE(e.Eigenvalue(i - 1), e.Eigenvalue(i));
        }
    }
}

TEST(Eigen, DiagonalInputKeepsIdentityVectors) {
    TEigen e;
    e.Set(3);
    e.Set(TMatrix3(2, 0, 0, 0, -1, 0, 0, 0, 5));
    e.EigenStuff3();
    for (int i = 0; i < 3; ++i)
        for (int j = 0; j < 3; ++j)
            EXPECT_EQ(e.Eigenvector(i, j), i == j ? 1.0f : 0.0f);
    EXPECT_EQ(e.Eigenvalue(0), 2.0f);
    EXPECT_EQ(e.Eigenvalue(1), -1.0f);
    EXPECT_EQ(e.Eigenvalue(2), 5.0f);

    e.Set(2);
    e.Set(TMatrix2(2, 1, 1, 2));
    e.IncrSortEigenStuff2();
    EXPECT_NEAR(e.Eigenvalue(0), 1.0f, 1e-6f);
    EXPECT_NEAR(e.Eigenvalue(1), 3.0f, 1e-6f);
}

TEST(Eigen, EmptyAndZeroProblemsAreHarmless) {
    TEigen empty;
    empty.EigenStuff();
    empty.DecrSortEigenStuff3();
    EXPECT_EQ(empty.diag, nullptr);

    TEigen zero;
    zero.Set(4);
    zero.DecrSortEigenStuff4();
    for (int i = 0; i < 4; ++i)
        EXPECT_EQ(zero.Eigenvalue(i), 0.0f);
}

TEST(Eigen, ReleasesItsArrays) {
    TLibAllocator &heap = GetAllocatorInstance();
    const size_t live = heap.GetLiveBlocks();
    {
        TEigen e;
        e.Set(6);
        e.Set(3);
    }
    EXPECT_EQ(heap.GetLiveBlocks(), live);
    for (int fail = 1; fail <= 4; ++fail) {
        heap.Faults().Arm(uint64_t(fail));
        {
            TEigen e;
            e.Set(5);
            EXPECT_EQ(e.matrix, nullptr);
            e.EigenStuff();
        }
        heap.Faults().Disarm();
        EXPECT_EQ(heap.GetLiveBlocks(), live);
    }
}

} // namespace
