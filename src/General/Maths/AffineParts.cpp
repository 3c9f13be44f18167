// Polar decomposition of affine matrices after Shoemake and Duff: a scaled Newton iteration
// for the polar factors, Jacobi rotations for the stretch, and the "snuggle" step that picks
// the stretch axes closest to the identity. The method is written for column vectors, so the
// row-vector matrix is transposed on the way in and out. All work is in double.
#include "General/Maths/AffineParts.h"

#include <cmath>

namespace {

enum { X, Y, Z, W };
using Mat = double[3][3];
struct Quat {
    double x, y, z, w;
};

constexpr double kSqrtHalf = 0.7071067811865475244;
constexpr double kTolerance = 1.0e-6;
constexpr int kMaxPolarRounds = 100;
constexpr double kSingularRatio = 1.0e-10;

void Copy(Mat out, const Mat a) {
    for (int i = 0; i < 3; ++i)
        for (int j = 0; j < 3; ++j)
            out[i][j] = a[i][j];
}
void Transpose(Mat out, const Mat a) {
    for (int i = 0; i < 3; ++i)
        for (int j = 0; j < 3; ++j)
            out[i][j] = a[j][i];
}
void Identity(Mat out) {
    for (int i = 0; i < 3; ++i)
        for (int j = 0; j < 3; ++j)
            out[i][j] = i == j ? 1.0 : 0.0;
}
void Multiply(const Mat a, const Mat b, Mat out) {
    Mat r;
    for (int i = 0; i < 3; ++i)
        for (int j = 0; j < 3; ++j)
            r[i][j] = a[i][0] * b[0][j] + a[i][1] * b[1][j] + a[i][2] * b[2][j];
    Copy(out, r);
}
double Dot(const double *a, const double *b) {
    return a[0] * b[0] + a[1] * b[1] + a[2] * b[2];
}
void Cross(const double *a, const double *b, double *out) {
    const double x = a[1] * b[2] - a[2] * b[1];
    const double y = a[2] * b[0] - a[0] * b[2];
    const double z = a[0] * b[1] - a[1] * b[0];
    out[0] = x, out[1] = y, out[2] = z;
}
double Determinant(const Mat m) {
    double c[3];
    Cross(m[1], m[2], c);
    return Dot(m[0], c);
}
void AdjointTranspose(const Mat m, Mat out) {
    Cross(m[1], m[2], out[0]);
    Cross(m[2], m[0], out[1]);
    Cross(m[0], m[1], out[2]);
}
/// The one-norm (largest column sum) with `columns`, else the infinity norm.
double Norm(const Mat m, bool columns) {
    double best = 0.0;
    for (int i = 0; i < 3; ++i) {
        const double sum = columns ? std::fabs(m[0][i]) + std::fabs(m[1][i]) + std::fabs(m[2][i])
                                   : std::fabs(m[i][0]) + std::fabs(m[i][1]) + std::fabs(m[i][2]);
        if (best < sum)
            best = sum;
    }
    return best;
}
/// The column holding the largest magnitude, or -1 when no element exceeds `floor`.
int FindMaxColumn(const Mat m, double floor = 0.0) {
    double best = floor;
    int col = -1;
    for (int i = 0; i < 3; ++i)
        for (int j = 0; j < 3; ++j)
            if (std::fabs(m[i][j]) > best) {
                best = std::fabs(m[i][j]);
                col = j;
            }
    return col;
}
/// A Householder vector that zeroes all components of v but the last.
void MakeReflector(const double *v, double *u) {
    double s = std::sqrt(Dot(v, v));
    u[0] = v[0], u[1] = v[1];
    u[2] = v[2] + (v[2] < 0.0 ? -s : s);
    s = std::sqrt(2.0 / Dot(u, u));
    u[0] *= s, u[1] *= s, u[2] *= s;
}
void ReflectColumns(Mat m, const double *u) {
    for (int i = 0; i < 3; ++i) {
        const double s = u[0] * m[0][i] + u[1] * m[1][i] + u[2] * m[2][i];
        for (int j = 0; j < 3; ++j)
            m[j][i] -= u[j] * s;
    }
}
void ReflectRows(Mat m, const double *u) {
    for (int i = 0; i < 3; ++i) {
        const double s = Dot(u, m[i]);
        for (int j = 0; j < 3; ++j)
            m[i][j] -= u[j] * s;
    }
}

/// The orthogonal factor of a matrix of rank 1 or 0 (the identity for rank 0).
void DoRank1(Mat m, Mat q) {
    Identity(q);
    const int col = FindMaxColumn(m);
    if (col < 0)
        return;
    double v1[3] = {m[0][col], m[1][col], m[2][col]};
    MakeReflector(v1, v1);
    ReflectColumns(m, v1);
    double v2[3] = {m[2][0], m[2][1], m[2][2]};
    MakeReflector(v2, v2);
    ReflectRows(m, v2);
    if (m[2][2] < 0.0)
        q[2][2] = -1.0;
    ReflectColumns(q, v1);
    ReflectRows(q, v2);
}

/// The orthogonal factor of a matrix of rank 2 or less, through its adjoint transpose. An
/// adjoint that is rounding noise against the matrix (below `adjFloor`) means rank 1.
void DoRank2(Mat m, const Mat madjT, Mat q, double adjFloor) {
    const int col = FindMaxColumn(madjT, adjFloor);
    if (col < 0) {
        DoRank1(m, q);
        return;
    }
    double v1[3] = {madjT[0][col], madjT[1][col], madjT[2][col]};
    MakeReflector(v1, v1);
    ReflectColumns(m, v1);
    double v2[3];
    Cross(m[0], m[1], v2);
    MakeReflector(v2, v2);
    ReflectRows(m, v2);
    const double w = m[0][0], x = m[0][1], y = m[1][0], z = m[1][1];
    double c, s, d;
    if (w * z > x * y) {
        c = z + w, s = y - x, d = std::sqrt(c * c + s * s);
        c /= d, s /= d;
        q[0][0] = q[1][1] = c;
        q[1][0] = s;
        q[0][1] = -s;
    } else {
        c = z - w, s = y + x, d = std::sqrt(c * c + s * s);
        c /= d, s /= d;
        q[1][1] = c;
        q[0][0] = -c;
        q[0][1] = q[1][0] = s;
    }
    q[0][2] = q[2][0] = q[1][2] = q[2][1] = 0.0;
    q[2][2] = 1.0;
    ReflectColumns(q, v1);
    ReflectRows(q, v2);
}

/// m = q s with q orthogonal and s symmetric; returns the determinant of the last iterate.
double PolarDecompose(const Mat m, Mat q, Mat s) {
    Mat mk, madjTk, ek;
    Transpose(mk, m);
    double mOne = Norm(mk, true), mInf = Norm(mk, false);
    double det = 0.0;
    for (int round = 0; round < kMaxPolarRounds; ++round) {
        AdjointTranspose(mk, madjTk);
        det = Dot(mk[0], madjTk[0]);
        // A float matrix of lower rank rarely has an exact zero determinant: one that is
        // rounding noise against the size of the matrix counts as zero, or the Newton step
        // would divide by noise.
        const double size = mOne * mInf;
        if (det == 0.0 || std::fabs(det) <= kSingularRatio * size * std::sqrt(size)) {
            Mat work;
            Copy(work, mk);
            DoRank2(work, madjTk, mk, kSingularRatio * size);
            break;
        }
        const double adjOne = Norm(madjTk, true), adjInf = Norm(madjTk, false);
        const double gamma =
            std::sqrt(std::sqrt((adjOne * adjInf) / (mOne * mInf)) / std::fabs(det));
        const double g1 = gamma * 0.5, g2 = 0.5 / (gamma * det);
        Copy(ek, mk);
        for (int i = 0; i < 3; ++i)
            for (int j = 0; j < 3; ++j)
                mk[i][j] = g1 * mk[i][j] + g2 * madjTk[i][j];
        for (int i = 0; i < 3; ++i)
            for (int j = 0; j < 3; ++j)
                ek[i][j] -= mk[i][j];
        const double eOne = Norm(ek, true);
        mOne = Norm(mk, true);
        mInf = Norm(mk, false);
        if (!(eOne > mOne * kTolerance))
            break;
    }
    Transpose(q, mk);
    Multiply(mk, m, s);
    for (int i = 0; i < 3; ++i)
        for (int j = i; j < 3; ++j)
            s[i][j] = s[j][i] = 0.5 * (s[i][j] + s[j][i]);
    return det;
}

/// Jacobi rotations: s = u diag(k) u^T.
void SpectralDecompose(const Mat s, Mat u, double k[3]) {
    static const int kNext[3] = {Y, Z, X};
    double diag[3] = {s[X][X], s[Y][Y], s[Z][Z]};
    double offd[3] = {s[Y][Z], s[Z][X], s[X][Y]}; // by omitted index
    Identity(u);
    for (int sweep = 20; sweep > 0; --sweep) {
        const double sum = std::fabs(offd[X]) + std::fabs(offd[Y]) + std::fabs(offd[Z]);
        if (sum == 0.0)
            break;
        for (int i = Z; i >= X; --i) {
            const int p = kNext[i], q = kNext[p];
            const double absOff = std::fabs(offd[i]);
            const double g = 100.0 * absOff;
            if (absOff > 0.0) {
                const double h = diag[q] - diag[p];
                const double absH = std::fabs(h);
                double t;
                if (absH + g == absH) {
                    t = offd[i] / h;
                } else {
                    const double theta = 0.5 * h / offd[i];
                    t = 1.0 / (std::fabs(theta) + std::sqrt(theta * theta + 1.0));
                    if (theta < 0.0)
                        t = -t;
                }
                const double c = 1.0 / std::sqrt(t * t + 1.0), sn = t * c;
                const double tau = sn / (c + 1.0);
                const double ta = t * offd[i];
                offd[i] = 0.0;
                diag[p] -= ta;
                diag[q] += ta;
                const double offq = offd[q];
                offd[q] -= sn * (offd[p] + tau * offd[q]);
                offd[p] += sn * (offq - tau * offd[p]);
                for (int j = Z; j >= X; --j) {
                    const double a = u[j][p], b = u[j][q];
                    u[j][p] -= sn * (b + tau * a);
                    u[j][q] += sn * (a - tau * b);
                }
            }
        }
    }
    k[0] = diag[X], k[1] = diag[Y], k[2] = diag[Z];
}

Quat QuatFromMatrix(const Mat m) {
    Quat qu;
    const double tr = m[X][X] + m[Y][Y] + m[Z][Z];
    if (tr >= 0.0) {
        double s = std::sqrt(tr + 1.0);
        qu.w = s * 0.5;
        s = 0.5 / s;
        qu.x = (m[Z][Y] - m[Y][Z]) * s;
        qu.y = (m[X][Z] - m[Z][X]) * s;
        qu.z = (m[Y][X] - m[X][Y]) * s;
        return qu;
    }
    int h = X;
    if (m[Y][Y] > m[X][X])
        h = Y;
    if (m[Z][Z] > m[h][h])
        h = Z;
    const int i = h, j = (h + 1) % 3, k = (h + 2) % 3;
    double v[3];
    double s = std::sqrt((m[i][i] - (m[j][j] + m[k][k])) + 1.0);
    v[i] = s * 0.5;
    s = 0.5 / s;
    v[j] = (m[i][j] + m[j][i]) * s;
    v[k] = (m[k][i] + m[i][k]) * s;
    qu.w = (m[k][j] - m[j][k]) * s;
    qu.x = v[0], qu.y = v[1], qu.z = v[2];
    return qu;
}

Quat Mul(const Quat &l, const Quat &r) {
    return Quat{l.w * r.x + l.x * r.w + l.y * r.z - l.z * r.y,
                l.w * r.y + l.y * r.w + l.z * r.x - l.x * r.z,
                l.w * r.z + l.z * r.w + l.x * r.y - l.y * r.x,
                l.w * r.w - l.x * r.x - l.y * r.y - l.z * r.z};
}
Quat Conj(const Quat &q) {
    return Quat{-q.x, -q.y, -q.z, q.w};
}

/// The rotation p from the cube group (or about a repeated stretch axis) that brings q p
/// closest to the identity; k is permuted to match.
Quat Snuggle(Quat q, double k[3]) {
    double ka[4] = {k[0], k[1], k[2], 0.0};
    auto swap = [&](int i, int j) {
        ka[3] = ka[i];
        ka[i] = ka[j];
        ka[j] = ka[3];
    };
    auto cycle = [&](bool forward) {
        if (forward) {
            ka[3] = ka[0], ka[0] = ka[1], ka[1] = ka[2], ka[2] = ka[3];
        } else {
            ka[3] = ka[2], ka[2] = ka[1], ka[1] = ka[0], ka[0] = ka[3];
        }
    };
    auto sgn = [](bool neg, double v) { return neg ? -v : v; };
    Quat p;
    int turn = -1;
    if (ka[X] == ka[Y])
        turn = ka[X] == ka[Z] ? W : Z;
    else if (ka[X] == ka[Z])
        turn = Y;
    else if (ka[Y] == ka[Z])
        turn = X;
    if (turn >= 0) {
        static const Quat qxtoz = {0, kSqrtHalf, 0, kSqrtHalf};
        static const Quat qytoz = {kSqrtHalf, 0, 0, kSqrtHalf};
        static const Quat qppmm = {0.5, 0.5, -0.5, -0.5};
        static const Quat qpppp = {0.5, 0.5, 0.5, 0.5};
        static const Quat qmpmm = {-0.5, 0.5, -0.5, -0.5};
        static const Quat qpppm = {0.5, 0.5, 0.5, -0.5};
        static const Quat q0001 = {0.0, 0.0, 0.0, 1.0};
        static const Quat q1000 = {1.0, 0.0, 0.0, 0.0};
        Quat qtoz;
        switch (turn) {
        case X:
            qtoz = qxtoz;
            q = Mul(q, qtoz);
            swap(X, Z);
            break;
        case Y:
            qtoz = qytoz;
            q = Mul(q, qtoz);
            swap(Y, Z);
            break;
        case Z:
            qtoz = q0001;
            break;
        default:
            return Conj(q); // all factors equal: any axes will do
        }
        q = Conj(q);
        double mag[3] = {q.z * q.z + q.w * q.w - 0.5, q.x * q.z - q.y * q.w, q.y * q.z + q.x * q.w};
        bool neg[3];
        for (int i = 0; i < 3; ++i) {
            neg[i] = mag[i] < 0.0;
            if (neg[i])
                mag[i] = -mag[i];
        }
        int win;
        if (mag[0] > mag[1])
            win = mag[0] > mag[2] ? 0 : 2;
        else
            win = mag[1] > mag[2] ? 1 : 2;
        switch (win) {
        case 0:
            p = neg[0] ? q1000 : q0001;
            break;
        case 1:
            p = neg[1] ? qppmm : qpppp;
            cycle(false);
            break;
        default:
            p = neg[2] ? qmpmm : qpppm;
            cycle(true);
            break;
        }
        const Quat qp = Mul(q, p);
        const double t = std::sqrt(mag[win] + 0.5);
        p = Mul(p, Quat{0.0, 0.0, -qp.z / t, qp.w / t});
        p = Mul(qtoz, Conj(p));
    } else {
        double qa[4] = {q.x, q.y, q.z, q.w}, pa[4] = {0, 0, 0, 0};
        bool neg[4];
        bool parity = false;
        for (int i = 0; i < 4; ++i) {
            neg[i] = qa[i] < 0.0;
            if (neg[i])
                qa[i] = -qa[i];
            parity ^= neg[i];
        }
        // The two largest components, indices hi and lo.
        unsigned lo = qa[0] > qa[1] ? 0 : 1;
        unsigned hi = qa[2] > qa[3] ? 2 : 3;
        if (qa[lo] > qa[hi]) {
            if (qa[lo ^ 1] > qa[hi]) {
                hi = lo;
                lo ^= 1;
            } else {
                const unsigned t = hi;
                hi = lo;
                lo = t;
            }
        } else if (qa[hi ^ 1] > qa[lo]) {
            lo = hi ^ 1;
        }
        const double all = (qa[0] + qa[1] + qa[2] + qa[3]) * 0.5;
        const double two = (qa[hi] + qa[lo]) * kSqrtHalf;
        const double big = qa[hi];
        if (all > two) {
            if (all > big) {
                for (int i = 0; i < 4; ++i)
                    pa[i] = sgn(neg[i], 0.5);
                cycle(parity);
            } else {
                pa[hi] = sgn(neg[hi], 1.0);
            }
        } else if (two > big) {
            pa[hi] = sgn(neg[hi], kSqrtHalf);
            pa[lo] = sgn(neg[lo], kSqrtHalf);
            if (lo > hi) {
                const unsigned t = hi;
                hi = lo;
                lo = t;
            }
            if (hi == W) {
                static const unsigned kNextOf[3] = {1, 2, 0};
                hi = kNextOf[lo];
                lo = 3 - hi - lo;
            }
            swap(int(hi), int(lo));
        } else {
            pa[hi] = sgn(neg[hi], 1.0);
        }
        p = Quat{-pa[0], -pa[1], -pa[2], pa[3]};
    }
    k[0] = ka[X], k[1] = ka[Y], k[2] = ka[Z];
    return p;
}

TQuaternion ToLibrary(const Quat &q) {
    return TQuaternion(float(q.w), float(q.x), float(q.y), float(q.z));
}

/// The column-vector rotation matrix of a unit quaternion, in double.
void RotationOf(const TQuaternion &q, Mat m) {
    const double w = q.w, x = q.x, y = q.y, z = q.z;
    m[0][0] = 1 - 2 * (y * y + z * z), m[0][1] = 2 * (x * y - w * z), m[0][2] = 2 * (x * z + w * y);
    m[1][0] = 2 * (x * y + w * z), m[1][1] = 1 - 2 * (x * x + z * z), m[1][2] = 2 * (y * z - w * x);
    m[2][0] = 2 * (x * z - w * y), m[2][1] = 2 * (y * z + w * x), m[2][2] = 1 - 2 * (x * x + y * y);
}

} // namespace

void TAffineParts::DecompAffine(TMatrix4 &m) {
    // The column-vector form of m is its transpose.
    Mat a, qm, s, um;
    for (int i = 0; i < 3; ++i)
        for (int j = 0; j < 3; ++j)
            a[i][j] = m.m[j][i];
    t = TQuaternion(0.0f, m.m30, m.m31, m.m32);
    (void)PolarDecompose(a, qm, s);
    // The sign comes from Q itself: for a singular matrix the fix-up may return a reflection
    // while the last determinant is 0, and a reflection has no quaternion.
    if (Determinant(qm) < 0.0) {
        for (auto &row : qm)
            for (double &v : row)
                v = -v;
        f = -1.0f;
    } else {
        f = 1.0f;
    }
    q = ToLibrary(QuatFromMatrix(qm));
    double kv[3];
    SpectralDecompose(s, um, kv);
    const Quat uq = QuatFromMatrix(um);
    const Quat p = Snuggle(uq, kv);
    u = ToLibrary(Mul(uq, p));
    k = TQuaternion(1.0f, float(kv[0]), float(kv[1]), float(kv[2]));
}

void TAffineParts::InvertAffine(TAffineParts *out) {
    TAffineParts inv;
    inv.f = f;
    inv.q = q.UnitInverse();
    inv.u = q * u;
    inv.k.x = k.x == 0.0f ? 0.0f : 1.0f / k.x;
    inv.k.y = k.y == 0.0f ? 0.0f : 1.0f / k.y;
    inv.k.z = k.z == 0.0f ? 0.0f : 1.0f / k.z;
    inv.k.w = k.w;
    TQuaternion tt(0.0f, -t.x, -t.y, -t.z);
    tt = inv.u.UnitInverse() * (tt * inv.u);
    tt = TQuaternion(0.0f, inv.k.x * tt.x, inv.k.y * tt.y, inv.k.z * tt.z);
    const TQuaternion p = inv.q * inv.u;
    tt = p * (tt * p.UnitInverse());
    inv.t = inv.f > 0.0f ? tt : TQuaternion(0.0f, -tt.x, -tt.y, -tt.z);
    *out = inv;
}

void TAffineParts::MakeMatrix(TMatrix4 &m) {
    // Column form: f * R * U * diag(k) * U^T; the row-vector matrix is its transpose.
    Mat um, rm, stretch, a;
    RotationOf(u, um);
    RotationOf(q, rm);
    for (int i = 0; i < 3; ++i)
        for (int j = 0; j < 3; ++j) {
            double sum = 0.0;
            for (int c = 0; c < 3; ++c)
                sum += um[i][c] * double(c == 0 ? k.x : c == 1 ? k.y : k.z) * um[j][c];
            stretch[i][j] = sum;
        }
    Multiply(rm, stretch, a);
    m = TMatrix4::StaticI;
    for (int i = 0; i < 3; ++i)
        for (int j = 0; j < 3; ++j)
            m.m[j][i] = float(a[i][j] * f);
    m.m30 = t.x, m.m31 = t.y, m.m32 = t.z;
}
