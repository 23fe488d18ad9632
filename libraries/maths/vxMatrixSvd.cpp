// vxMatrixSvd.cpp - singular value decomposition of a float matrix by the
// Golub-Reinsch method, and the null space built on it.
//
// The matrix is stored in single precision, but every quantity that
// accumulates (norms, Householder scalars, dot products, the bidiagonal's
// off-diagonal, rotation coefficients) is a double, and each element is
// rounded to float only when it is stored back.
#include "vxMatrixArb.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
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

// Applies the plane rotation (c, s) to columns p and q of the rows x ... array
// a: (a_p, a_q) <- (a_p c + a_q s, a_q c - a_p s).
void RotateColumns(float** a, int rows, int p, int q, double c, double s) {
    for (int r = 0; r < rows; ++r) {
        const double x = a[r][p], y = a[r][q];
        a[r][p] = static_cast<float>(x * c + y * s);
        a[r][q] = static_cast<float>(y * c - x * s);
    }
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
    double g = 0.0, scale = 0.0, norm = 0.0;

    // Householder reduction to bidiagonal form: alternately clear column i
    // below the diagonal (from the left) and row i right of the
    // super-diagonal (from the right). The reflectors stay in a.
    for (int i = 0; i < n; ++i) {
        const int l = i + 1;
        e[static_cast<size_t>(i)] = scale * g;
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
            for (int j = l; j < n; ++j) {
                double t = 0.0;
                for (int k = i; k < m; ++k)
                    t += static_cast<double>(a[k][i]) * a[k][j];
                const double q = t / h;
                for (int k = i; k < m; ++k)
                    a[k][j] = static_cast<float>(a[k][j] + q * a[k][i]);
            }
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
                    e[static_cast<size_t>(k)] = a[i][k] / h;
                for (int j = l; j < m; ++j) {
                    double t = 0.0;
                    for (int k = l; k < n; ++k)
                        t += static_cast<double>(a[j][k]) * a[i][k];
                    for (int k = l; k < n; ++k)
                        a[j][k] = static_cast<float>(a[j][k] + t * e[static_cast<size_t>(k)]);
                }
                for (int k = l; k < n; ++k)
                    a[i][k] = static_cast<float>(a[i][k] * scale);
            }
        }
        norm = std::max(norm, std::fabs(static_cast<double>(w[i])) +
                                  std::fabs(e[static_cast<size_t>(i)]));
    }

    // V: the product of the right-hand reflectors, built from the last.
    for (int i = n - 1; i >= 0; --i) {
        const int l = i + 1;
        if (i < n - 1) {
            if (g != 0.0) {
                // Divided twice rather than by the product, which may underflow.
                for (int j = l; j < n; ++j)
                    v[j][i] = static_cast<float>((a[i][j] / static_cast<double>(a[i][l])) / g);
                for (int j = l; j < n; ++j) {
                    double t = 0.0;
                    for (int k = l; k < n; ++k)
                        t += static_cast<double>(a[i][k]) * v[k][j];
                    for (int k = l; k < n; ++k)
                        v[k][j] = static_cast<float>(v[k][j] + t * v[k][i]);
                }
            }
            for (int j = l; j < n; ++j)
                v[i][j] = v[j][i] = 0.0f;
        }
        v[i][i] = 1.0f;
        g = e[static_cast<size_t>(i)];
    }

    // U, in place of a: the product of the left-hand reflectors.
    for (int i = n - 1; i >= 0; --i) {
        const int l = i + 1;
        g = w[i];
        for (int j = l; j < n; ++j)
            a[i][j] = 0.0f;
        if (g != 0.0) {
            g = 1.0 / g;
            for (int j = l; j < n; ++j) {
                double t = 0.0;
                for (int k = l; k < m; ++k)
                    t += static_cast<double>(a[k][i]) * a[k][j];
                const double f = (t / a[i][i]) * g;
                for (int k = i; k < m; ++k)
                    a[k][j] = static_cast<float>(a[k][j] + f * a[k][i]);
            }
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
    for (int k = n - 1; k >= 0; --k) {
        for (int sweep = 0;; ++sweep) {
            // Find the start l of the unreduced block ending at k: either e[l]
            // is negligible (the block splits there), or w[l - 1] is, in which
            // case e[l] is chased out first. e[0] is always 0.
            int l = k;
            bool cancel = true;
            for (; l >= 0; --l) {
                if (std::fabs(e[static_cast<size_t>(l)]) + norm == norm) {
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
                    const double f = s * e[static_cast<size_t>(i)];
                    e[static_cast<size_t>(i)] = c * e[static_cast<size_t>(i)];
                    if (std::fabs(f) + norm == norm)
                        break;
                    g = w[i];
                    double h = Hypot(f, g);
                    w[i] = static_cast<float>(h);
                    h = 1.0 / h;
                    c = g * h;
                    s = -f * h;
                    RotateColumns(a, m, nm, i, c, s);
                }
            }
            const double z = w[k];
            if (l == k) {
                // Converged: make the singular value non-negative.
                if (z < 0.0) {
                    w[k] = static_cast<float>(-z);
                    for (int j = 0; j < n; ++j)
                        v[j][k] = -v[j][k];
                }
                break;
            }
            if (sweep == 30) {
                std::fputs("No convergence after 30,000! iterations \n", stderr);
                return 0;
            }
            // Shift from the trailing 2 x 2 minor, then chase the bulge down
            // from l to k with Givens rotations on both sides.
            double x = w[l];
            const int nm = k - 1;
            double y = w[nm];
            g = e[static_cast<size_t>(nm)];
            double h = e[static_cast<size_t>(k)];
            double f = ((y - z) * (y + z) + (g - h) * (g + h)) / (2.0 * h * y);
            g = Hypot(f, 1.0);
            f = ((x - z) * (x + z) + h * ((y / (f + std::copysign(g, f))) - h)) / x;
            double c = 1.0, s = 1.0;
            for (int j = l; j <= nm; ++j) {
                const int i = j + 1;
                g = e[static_cast<size_t>(i)];
                y = w[i];
                h = s * g;
                g = c * g;
                double zz = Hypot(f, h);
                e[static_cast<size_t>(j)] = zz;
                c = f / zz;
                s = h / zz;
                f = x * c + g * s;
                g = g * c - x * s;
                h = y * s;
                y = y * c;
                RotateColumns(v, n, j, i, c, s);
                zz = Hypot(f, h);
                w[j] = static_cast<float>(zz);
                if (zz != 0.0) {
                    zz = 1.0 / zz;
                    c = f * zz;
                    s = h * zz;
                }
                f = c * g + s * y;
                x = c * y - s * g;
                RotateColumns(a, m, j, i, c, s);
            }
            e[static_cast<size_t>(l)] = 0.0;
            e[static_cast<size_t>(k)] = f;
            w[k] = static_cast<float>(x);
        }
    }
    return 1;
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
