// Eigenvalues and eigenvectors of symmetric matrices: a Householder reduction to tridiagonal
// form followed by the QL method with implicit shifts. The work arrays come from the library
// heap and belong to the object.
#pragma once

#include "General/Core/Export.h"
#include "General/Maths/Matrix.h"

/// A symmetric eigenproblem of any size; after a solve, diag holds the eigenvalues and the
/// columns of matrix the eigenvectors.
class VLIB_API TEigen {
public:
    int size;
    float **matrix; // owned: size rows of size floats
    float *diag;    // owned: size floats
    float *subd;    // owned: size floats

    /// Empty: no arrays until Set(int).
    TEigen() : size(0), matrix(nullptr), diag(nullptr), subd(nullptr) {}
    ~TEigen();
    TEigen(const TEigen &) = delete;
    TEigen &operator=(const TEigen &) = delete;

    /// (Re)allocates the arrays for a problem of `n` rows; the matrix starts as zero. A failed
    /// allocation leaves the object empty.
    void Set(int n);
    void Set(int row, int col, float value) { matrix[row][col] = value; }
    /// Copies into the rows made by Set(int) and sets size; rows shorter than 2 are left alone.
    void Set(const TMatrix2 &m);
    /// Copies into the rows made by Set(int) and sets size; rows shorter than 3 are left alone.
    void Set(const TMatrix3 &m);
    float Eigenvalue(int i) const { return diag[i]; }
    float Eigenvector(int row, int col) const { return matrix[row][col]; }

    void EigenStuff2();
    void EigenStuff3();
    void EigenStuff4();
    void EigenStuffN();
    /// The solver for the present size.
    void EigenStuff();
    void DecrSortEigenStuff2();
    void DecrSortEigenStuff3();
    void DecrSortEigenStuff4();
    void DecrSortEigenStuffN();
    void DecrSortEigenStuff();
    void IncrSortEigenStuff2();
    void IncrSortEigenStuff3();
    void IncrSortEigenStuff4();
    void IncrSortEigenStuffN();
    void IncrSortEigenStuff();

private:
    void Release();
    bool Ready() const { return matrix != nullptr && size > 0; }
    void Tridiagonal2();
    void Tridiagonal3();
    void TridiagonalN();
    /// False when an eigenvalue needed more than 30 iterations; the work stops there.
    bool QLAlgorithm();
    void DecreasingSort();
    void IncreasingSort();

    int m_Capacity = 0; // rows the arrays were made for
};
