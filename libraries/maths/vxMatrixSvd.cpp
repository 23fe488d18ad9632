// vxMatrixSvd.cpp - singular value decomposition of a float matrix by the
// Golub-Reinsch method, and the null space built on it.
//
// The matrix is stored in single precision, but every quantity that
// accumulates (norms, Householder scalars, dot products, the bidiagonal's
// off-diagonal, rotation coefficients) is a double, and each element is
// rounded to float only when it is stored back.
#include "vxMatrixArb.h"
#include "vxMatrixIsa.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <vector>

namespace {

// sqrt(a² + b²) without overflow or destructive underflow.
double Hypot(double a, double b) {
    const double x = std::fabs(a), y = std::fabs(b);
    if (x > y) {
        const double t = y / x;
        return x * std::sqrt(1.0 + t * t);
    }
    if (y == 0.0)
        return 0.0;
    const double t = x / y;
    return y * std::sqrt(1.0 + t * t);
}

// The three loops that carry the work, each element-wise over j: a plane
// rotation of two vectors, (p, q) <- (p c + q s, q c - p s); a scaled row
// added to double sums, t[j] += x * row[j]; and a row update, row[j] <-
// row[j] + q[j] x. Written once over vectors of W floats widened to W
// doubles, then compiled for each vector unit. Every lane does the scalar
// loop's operations in the scalar loop's order, so all units give the same
// bits; each t[j] receives its terms in the order of the calls, so sums over
// rows come out as they would column by column.
template <class VF, class VD>
struct RowLoops {
    static constexpr int W = static_cast<int>(sizeof(VD) / sizeof(double));

    static inline __attribute__((always_inline)) void rotate(float* p, float* q, int len, double c,
                                                             double s) {
        const VD cv = c - VD{}, sv = s - VD{};
        int r = 0;
        for (; r + W <= len; r += W) {
            VF pf, qf;
            std::memcpy(&pf, p + r, sizeof pf);
            std::memcpy(&qf, q + r, sizeof qf);
            const VD x = __builtin_convertvector(pf, VD), y = __builtin_convertvector(qf, VD);
            pf = __builtin_convertvector(x * cv + y * sv, VF);
            qf = __builtin_convertvector(y * cv - x * sv, VF);
            std::memcpy(p + r, &pf, sizeof pf);
            std::memcpy(q + r, &qf, sizeof qf);
        }
        for (; r < len; ++r) {
            const double x = p[r], y = q[r];
            p[r] = static_cast<float>(x * c + y * s);
            q[r] = static_cast<float>(y * c - x * s);
        }
    }

    static inline __attribute__((always_inline)) void addScaled(double* t, const float* row,
                                                                double x, int lo, int hi) {
        const VD xv = x - VD{};
        int j = lo;
        for (; j + W <= hi; j += W) {
            VF rf;
            VD tv;
            std::memcpy(&rf, row + j, sizeof rf);
            std::memcpy(&tv, t + j, sizeof tv);
            tv += xv * __builtin_convertvector(rf, VD);
            std::memcpy(t + j, &tv, sizeof tv);
        }
        for (; j < hi; ++j)
            t[j] += x * row[j];
    }

    static inline __attribute__((always_inline)) void update(float* row, const double* q, double x,
                                                             int lo, int hi) {
        const VD xv = x - VD{};
        int j = lo;
        for (; j + W <= hi; j += W) {
            VF rf;
            VD qv;
            std::memcpy(&rf, row + j, sizeof rf);
            std::memcpy(&qv, q + j, sizeof qv);
            rf = __builtin_convertvector(__builtin_convertvector(rf, VD) + qv * xv, VF);
            std::memcpy(row + j, &rf, sizeof rf);
        }
        for (; j < hi; ++j)
            row[j] = static_cast<float>(row[j] + q[j] * x);
    }
};

typedef float F4 __attribute__((vector_size(16)));
typedef double D4 __attribute__((vector_size(32)));
typedef float F8 __attribute__((vector_size(32)));
typedef double D8 __attribute__((vector_size(64)));

void RotateSse2(float* p, float* q, int len, double c, double s) {
    RowLoops<F4, D4>::rotate(p, q, len, c, s);
}
void AddScaledSse2(double* t, const float* row, double x, int lo, int hi) {
    RowLoops<F4, D4>::addScaled(t, row, x, lo, hi);
}
void UpdateSse2(float* row, const double* q, double x, int lo, int hi) {
    RowLoops<F4, D4>::update(row, q, x, lo, hi);
}
__attribute__((target("avx2"))) void RotateAvx2(float* p, float* q, int len, double c, double s) {
    RowLoops<F4, D4>::rotate(p, q, len, c, s);
}
__attribute__((target("avx2"))) void AddScaledAvx2(double* t, const float* row, double x, int lo,
                                                   int hi) {
    RowLoops<F4, D4>::addScaled(t, row, x, lo, hi);
}
__attribute__((target("avx2"))) void UpdateAvx2(float* row, const double* q, double x, int lo,
                                                int hi) {
    RowLoops<F4, D4>::update(row, q, x, lo, hi);
}
__attribute__((target("avx512f"))) void RotateAvx512(float* p, float* q, int len, double c,
                                                     double s) {
    RowLoops<F8, D8>::rotate(p, q, len, c, s);
}
__attribute__((target("avx512f"))) void AddScaledAvx512(double* t, const float* row, double x,
                                                        int lo, int hi) {
    RowLoops<F8, D8>::addScaled(t, row, x, lo, hi);
}
__attribute__((target("avx512f"))) void UpdateAvx512(float* row, const double* q, double x, int lo,
                                                     int hi) {
    RowLoops<F8, D8>::update(row, q, x, lo, hi);
}

struct Loops {
    void (*rotate)(float*, float*, int, double, double);
    void (*addScaled)(double*, const float*, double, int, int);
    void (*update)(float*, const double*, double, int, int);
};

Loops ChooseLoops() {
    switch (VxMatrixDetail::ChosenIsa()) {
    case VxMatrixDetail::kAvx512:
        return {RotateAvx512, AddScaledAvx512, UpdateAvx512};
    case VxMatrixDetail::kAvx2:
        return {RotateAvx2, AddScaledAvx2, UpdateAvx2};
    default:
        return {RotateSse2, AddScaledSse2, UpdateSse2};
    }
}

const Loops& TheLoops() {
    static const Loops loops = ChooseLoops();
    return loops;
}

void Rotate(float* p, float* q, int len, double c, double s) {
    TheLoops().rotate(p, q, len, c, s);
}

// out[c * rows + r] = in[r][c]: the columns of a row array, one after another.
void ColumnsOf(float* const* in, int rows, int columns, float* out) {
    for (int r = 0; r < rows; ++r)
        for (int c = 0; c < columns; ++c)
            out[static_cast<size_t>(c) * rows + r] = in[r][c];
}

void FromColumns(const float* in, int rows, int columns, float** out) {
    for (int r = 0; r < rows; ++r)
        for (int c = 0; c < columns; ++c)
            out[r][c] = in[static_cast<size_t>(c) * rows + r];
}

void AddScaledRow(double* t, const float* row, double x, int lo, int hi) {
    TheLoops().addScaled(t, row, x, lo, hi);
}

void UpdateRow(float* row, const double* q, double x, int lo, int hi) {
    TheLoops().update(row, q, x, lo, hi);
}

// The QR sweeps over the bidiagonal (w, e) of norm `norm`; uc(j) and vc(j)
// give columns j of U (m long) and V (n long). Returns 0 when a singular
// value does not converge within 30 sweeps.
template <class UC, class VC>
int Diagonalise(float* w, double* e, double norm, int m, int n, UC uc, VC vc) {
    double g = 0.0;
    for (int k = n - 1; k >= 0; --k) {
        for (int sweep = 0;; ++sweep) {
            // Find the start l of the unreduced block ending at k: either e[l]
            // is negligible (the block splits there), or w[l - 1] is, in which
            // case e[l] is chased out first. e[0] is always 0.
            int l = k;
            bool cancel = true;
            for (; l >= 0; --l) {
                // l == 0 stops the search even when a NaN spoils the test.
                if (l == 0 || std::fabs(e[l]) + norm == norm) {
                    cancel = false;
                    break;
                }
                if (std::fabs(static_cast<double>(w[l - 1])) + norm == norm)
                    break;
            }
            if (cancel) {
                const int nm = l - 1;
                double c = 0.0, s = 1.0;
                for (int i = l; i <= k; ++i) {
                    const double f = s * e[i];
                    e[i] = c * e[i];
                    if (std::fabs(f) + norm == norm)
                        break;
                    g = w[i];
                    double h = Hypot(f, g);
                    w[i] = static_cast<float>(h);
                    h = 1.0 / h;
                    c = g * h;
                    s = -f * h;
                    Rotate(uc(nm), uc(i), m, c, s);
                }
            }
            const double z = w[k];
            if (l == k) {
                // Converged: make the singular value non-negative.
                if (z < 0.0) {
                    w[k] = static_cast<float>(-z);
                    for (int j = 0; j < n; ++j)
                        vc(k)[j] = -vc(k)[j];
                }
                break;
            }
            if (sweep == 30)
                return 0;
            // Shift from the trailing 2 x 2 minor, then chase the bulge down
            // from l to k with Givens rotations on both sides.
            double x = w[l];
            const int nm = k - 1;
            double y = w[nm];
            g = e[nm];
            double h = e[k];
            double f = ((y - z) * (y + z) + (g - h) * (g + h)) / (2.0 * h * y);
            g = Hypot(f, 1.0);
            f = ((x - z) * (x + z) + h * ((y / (f + std::copysign(g, f))) - h)) / x;
            double c = 1.0, s = 1.0;
            for (int j = l; j <= nm; ++j) {
                const int i = j + 1;
                g = e[i];
                y = w[i];
                h = s * g;
                g = c * g;
                double zz = Hypot(f, h);
                e[j] = zz;
                c = f / zz;
                s = h / zz;
                f = x * c + g * s;
                g = g * c - x * s;
                h = y * s;
                y = y * c;
                Rotate(vc(j), vc(i), n, c, s);
                zz = Hypot(f, h);
                w[j] = static_cast<float>(zz);
                if (zz != 0.0) {
                    zz = 1.0 / zz;
                    c = f * zz;
                    s = h * zz;
                }
                f = c * g + s * y;
                x = c * y - s * g;
                Rotate(uc(j), uc(i), m, c, s);
            }
            e[l] = 0.0;
            e[k] = f;
            w[k] = static_cast<float>(x);
        }
    }
    return 1;
}

} // namespace

int dsvd(float** a, int m, int n, float* w, float** v) {
    if (m < n) {
        std::fputs("#rows must be > #cols \n", stderr);
        return 0;
    }
    if (n <= 0)
        return 1;
    // The bidiagonal's super-diagonal: e[i] couples w[i - 1] and w[i].
    std::vector<double> e(static_cast<size_t>(n), 0.0);
    // Per-column sums of the reflector updates.
    std::vector<double> t(static_cast<size_t>(n), 0.0);
    double g = 0.0, scale = 0.0, norm = 0.0;

    // Householder reduction to bidiagonal form: alternately clear column i
    // below the diagonal (from the left) and row i right of the
    // super-diagonal (from the right). The reflectors stay in a.
    for (int i = 0; i < n; ++i) {
        const int l = i + 1;
        e[i] = scale * g;
        g = scale = 0.0;
        double s = 0.0;
        for (int k = i; k < m; ++k)
            scale += std::fabs(a[k][i]);
        if (scale != 0.0) {
            for (int k = i; k < m; ++k) {
                a[k][i] = static_cast<float>(a[k][i] / scale);
                s += static_cast<double>(a[k][i]) * a[k][i];
            }
            const double f = a[i][i];
            g = -std::copysign(std::sqrt(s), f);
            const double h = f * g - s;
            a[i][i] = static_cast<float>(f - g);
            // Dot products of column i with the columns right of it, each
            // summed down the rows in order, then the update; both walk rows.
            std::fill(t.begin() + l, t.end(), 0.0);
            for (int k = i; k < m; ++k)
                AddScaledRow(t.data(), a[k], a[k][i], l, n);
            for (int j = l; j < n; ++j)
                t[static_cast<size_t>(j)] /= h;
            for (int k = i; k < m; ++k)
                UpdateRow(a[k], t.data(), a[k][i], l, n);
            for (int k = i; k < m; ++k)
                a[k][i] = static_cast<float>(a[k][i] * scale);
        }
        w[i] = static_cast<float>(scale * g);
        g = scale = 0.0;
        s = 0.0;
        if (i != n - 1) {
            for (int k = l; k < n; ++k)
                scale += std::fabs(a[i][k]);
            if (scale != 0.0) {
                for (int k = l; k < n; ++k) {
                    a[i][k] = static_cast<float>(a[i][k] / scale);
                    s += static_cast<double>(a[i][k]) * a[i][k];
                }
                const double f = a[i][l];
                g = -std::copysign(std::sqrt(s), f);
                const double h = f * g - s;
                a[i][l] = static_cast<float>(f - g);
                for (int k = l; k < n; ++k)
                    e[k] = a[i][k] / h;
                for (int j = l; j < m; ++j) {
                    double dot = 0.0;
                    for (int k = l; k < n; ++k)
                        dot += static_cast<double>(a[j][k]) * a[i][k];
                    for (int k = l; k < n; ++k)
                        a[j][k] = static_cast<float>(a[j][k] + dot * e[k]);
                }
                for (int k = l; k < n; ++k)
                    a[i][k] = static_cast<float>(a[i][k] * scale);
            }
        }
        norm = std::max(norm, std::fabs(static_cast<double>(w[i])) + std::fabs(e[i]));
    }

    // V: the product of the right-hand reflectors, built from the last.
    for (int i = n - 1; i >= 0; --i) {
        const int l = i + 1;
        if (i < n - 1) {
            if (g != 0.0) {
                // Divided twice rather than by the product, which may underflow.
                for (int j = l; j < n; ++j)
                    v[j][i] = static_cast<float>((a[i][j] / static_cast<double>(a[i][l])) / g);
                std::fill(t.begin() + l, t.end(), 0.0);
                for (int k = l; k < n; ++k)
                    AddScaledRow(t.data(), v[k], a[i][k], l, n);
                for (int k = l; k < n; ++k)
                    UpdateRow(v[k], t.data(), v[k][i], l, n);
            }
            for (int j = l; j < n; ++j)
                v[i][j] = v[j][i] = 0.0f;
        }
        v[i][i] = 1.0f;
        g = e[i];
    }

    // U, in place of a: the product of the left-hand reflectors.
    for (int i = n - 1; i >= 0; --i) {
        const int l = i + 1;
        g = w[i];
        for (int j = l; j < n; ++j)
            a[i][j] = 0.0f;
        if (g != 0.0) {
            g = 1.0 / g;
            std::fill(t.begin() + l, t.end(), 0.0);
            for (int k = l; k < m; ++k)
                AddScaledRow(t.data(), a[k], a[k][i], l, n);
            for (int j = l; j < n; ++j)
                t[static_cast<size_t>(j)] = (t[static_cast<size_t>(j)] / a[i][i]) * g;
            for (int k = i; k < m; ++k)
                UpdateRow(a[k], t.data(), a[k][i], l, n);
            for (int j = i; j < m; ++j)
                a[j][i] = static_cast<float>(a[j][i] * g);
        } else {
            for (int j = i; j < m; ++j)
                a[j][i] = 0.0f;
        }
        a[i][i] = a[i][i] + 1.0f;
    }

    // Diagonalise the bidiagonal by implicitly shifted QR sweeps, working on
    // the trailing singular value k until its coupling e[k] is negligible.
    // The rotations act on columns of U and V, which are copied out as
    // contiguous vectors for the purpose (uc[j] is U's column j).
    std::vector<float> uColumns(static_cast<size_t>(m) * n), vColumns(static_cast<size_t>(n) * n);
    ColumnsOf(a, m, n, uColumns.data());
    ColumnsOf(v, n, n, vColumns.data());
    auto uc = [&uColumns, m](int j) { return uColumns.data() + static_cast<size_t>(j) * m; };
    auto vc = [&vColumns, n](int j) { return vColumns.data() + static_cast<size_t>(j) * n; };
    const int converged = Diagonalise(w, e.data(), norm, m, n, uc, vc);
    FromColumns(uColumns.data(), m, n, a);
    FromColumns(vColumns.data(), n, n, v);
    if (!converged)
        std::fputs("No convergence after 30,000! iterations \n", stderr);
    return converged;
}

int nullspace(float** a, int m, int n, float* w, float** v, float* x) {
    for (int i = 0; i < n; ++i)
        x[i] = 0.0f;
    if (dsvd(a, m, n, w, v) == 0 || n <= 0)
        return -1;
    int best = 0;
    for (int i = 1; i < n; ++i)
        if (w[i] < w[best])
            best = i;
    for (int i = 0; i < n; ++i)
        x[i] = v[i][best];
    return best;
}
