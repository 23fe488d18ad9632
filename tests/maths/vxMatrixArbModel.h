// Slow obvious models shared by the arbitrary-size matrix tests and benchmark:
// seeded random matrices and the plain column-order sum of products.
#ifndef VX_MATRIX_ARB_MODEL_H
#define VX_MATRIX_ARB_MODEL_H

#include "vxMatrixArb.h"

#include <random>

// rows x columns elements drawn uniformly from [lo, hi) by a seeded generator.
inline VxMatrixArb RandomMatrix(int rows, int columns, unsigned seed, double lo = -1.0,
                                double hi = 1.0) {
    std::mt19937 g(seed);
    std::uniform_real_distribution<double> u(lo, hi);
    VxMatrixArb m(rows, columns);
    for (int r = 0; r < rows; ++r)
        for (int c = 0; c < columns; ++c)
            m.setElement(r, c, u(g));
    return m;
}

// a·b (or aᵀ·b), each element a plain sum of products in column order: the
// rounding the library's products must reproduce bit for bit.
inline VxMatrixArb ColumnOrderProduct(VxMatrixArb const& a, VxMatrixArb const& b,
                                      bool aTransposed = false) {
    const int m = aTransposed ? a.columns() : a.rows(), k = aTransposed ? a.rows() : a.columns();
    VxMatrixArb p(m, b.columns());
    for (int i = 0; i < m; ++i)
        for (int j = 0; j < b.columns(); ++j) {
            double s = 0.0;
            for (int q = 0; q < k; ++q)
                s += (aTransposed ? a.getElement(q, i) : a.getElement(i, q)) * b.getElement(q, j);
            p.setElement(i, j, s);
        }
    return p;
}

#endif
