// The parts of an affine transform: translation, essential rotation, the rotation of the
// stretch axes, the stretch factors and the sign of the determinant. Interpolating the parts
// instead of the matrix keeps animated transforms rigid where they should be.
#pragma once

#include "General/Core/Export.h"
#include "General/Maths/Matrix.h"
#include "General/Maths/Quaternion.h"

#include <type_traits>

/// An affine matrix split as translation * sign * rotation q * stretch (u, k).
class VLIB_API TAffineParts {
public:
    TQuaternion t; ///< translation in x, y, z; w is 0
    TQuaternion q; ///< the essential rotation
    TQuaternion u; ///< the rotation of the stretch axes
    TQuaternion k; ///< the stretch factors in x, y, z
    float f;       ///< the sign of the determinant, +1 or -1

    /// Splits m (row vectors, translation in row 3) into its parts. Singular input has defined
    /// parts: a collapsed axis gets a stretch factor of 0.
    void DecompAffine(TMatrix4 &m);
    /// The parts of the inverse transform; zero stretch factors stay 0.
    void InvertAffine(TAffineParts *out);
    /// The matrix of these parts, with the fourth column (0, 0, 0, 1).
    void MakeMatrix(TMatrix4 &m);
};

static_assert(sizeof(TAffineParts) == 68 && std::is_trivially_copyable_v<TAffineParts>);
