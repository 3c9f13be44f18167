// A table-driven arctangent: 1,025 samples of atan over [0, 1], filled once at start-up, read
// with linear interpolation by Atan2 and directly by the polar conversions of TVector3.
#pragma once

#include "General/Core/Export.h"

/// Arctangent tables and the interpolating Atan2 built on them.
class VLIB_API TFastAtan {
public:
    static constexpr int TableSize = 1025;
    /// AtanTab[i] = atan(i / 1024).
    static float AtanTab[TableSize];
    /// AtanTabO8[i] = atan(i / 1024) as a fraction of a turn: index 1024 gives 0.125.
    static float AtanTabO8[TableSize];

    /// Fills the tables; the library's one static instance does so at start-up.
    TFastAtan();

    static float Atan(int i) { return AtanTab[i]; }
    static float AtanO8(int i) { return AtanTabO8[i]; }
    /// The angle of (x, y) in radians, -pi to pi, from the interpolated table; (0, 0) gives pi.
    static float Atan2(float y, float x);
};
