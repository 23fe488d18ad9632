// vxMatrixArb.cpp - storage, element-wise arithmetic, reductions and the
// small decompositions of VxMatrixArb. The product kernels are in
// vxMatrixArbProduct.cpp and the singular value decomposition in vxMatrixSvd.cpp.
#include "vxMatrixArb.h"

#include <cfloat>
#include <climits>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <new>
#include <ostream>
#include <vector>

namespace {

[[noreturn]] void Fail(const char* message) {
    std::fputs(message, stderr);
    std::abort();
}

// Number of doubles a rows x columns matrix needs, or -1 when the size is
// negative or the storage would not be addressable with int indices.
long long StorageCount(int rows, int columns) {
    if (rows < 0 || columns < 0)
        return -1;
    const long long count = static_cast<long long>(rows) * columns + 1;
    return count > INT_MAX ? -2 - count : count;
}

void ReportAllocationFailure(long long count) {
    std::fprintf(stderr, "Failure to allocate matrix memory of size [%lld] bytes\n", count);
}

constexpr double kBiggestFloat = 3.4028234663852886e38;

// A copy with storage of its own, whether or not m is a temporary.
VxMatrixArb OwnCopy(VxMatrixArb const& m) {
    VxMatrixArb c;
    c = m;
    return c;
}

} // namespace

double* allocateData(int count) {
    double* p = count > 0 ? new (std::nothrow) double[static_cast<size_t>(count)] : nullptr;
    if (p == nullptr)
        ReportAllocationFailure(count);
    return p;
}

void freeData(double* data) {
    delete[] data;
}

// ---------------------------------------------------------------------------
// Storage and sharing

VxMatrixArb::VxMatrixArb() : _temporary(0), _rows(0), _columns(0), _data(nullptr) {}

VxMatrixArb::VxMatrixArb(int rows, int columns)
    : _temporary(0), _rows(0), _columns(0), _data(nullptr) {
    allocate(rows, columns);
}

VxMatrixArb::VxMatrixArb(VxMatrixArb const& other)
    : VxMatrixThread(), _temporary(0), _rows(0), _columns(0), _data(nullptr) {
    if (other._data == nullptr)
        return;
    if (other._temporary) {
        _rows = other._rows;
        _columns = other._columns;
        _data = other._data;
        _data[0] += 1.0;
        return;
    }
    allocate(other._rows, other._columns);
    if (_data != nullptr) {
        const long long n = static_cast<long long>(_rows) * _columns;
        for (long long i = 1; i <= n; ++i)
            _data[i] = other._data[i];
    }
}

VxMatrixArb::~VxMatrixArb() {
    release();
}

void VxMatrixArb::allocate(int rows, int columns) {
    _rows = 0;
    _columns = 0;
    _data = nullptr;
    const long long count = StorageCount(rows, columns);
    if (count == -1)
        return;
    if (count < 0) {
        ReportAllocationFailure(-2 - count);
        return;
    }
    _data = allocateData(static_cast<int>(count));
    if (_data == nullptr)
        return;
    _data[0] = 0.0;
    _rows = rows;
    _columns = columns;
}

void VxMatrixArb::release() {
    if (_data != nullptr) {
        if (_data[0] > 0.0)
            _data[0] -= 1.0;
        else
            freeData(_data);
    }
    _data = nullptr;
    _rows = 0;
    _columns = 0;
}

void VxMatrixArb::reshape(int rows, int columns) {
    if (_data != nullptr && _data[0] <= 0.0 && _rows == rows && _columns == columns)
        return;
    release();
    allocate(rows, columns);
}

void VxMatrixArb::create(int rows, int columns) {
    allocate(rows, columns);
}

// ---------------------------------------------------------------------------
// Access

long long VxMatrixArb::checkedIndex(int r, int c) const {
    // Only the flattened position is checked, so a column index may run over
    // into the neighbouring row; the lower bound keeps the share count and
    // the memory before the storage out of reach.
    const long long index = static_cast<long long>(r) * _columns + c + 1;
    if (_data == nullptr || index < 1 || index > static_cast<long long>(_rows) * _columns)
        Fail("Out of range VxMatrixArb indices used\n");
    return index;
}

double* VxMatrixArb::getRow(int r) const {
    if (_data == nullptr || r < 0 || r >= _rows)
        return nullptr;
    return _data + static_cast<long long>(r) * _columns + 1;
}

double VxMatrixArb::getElement(int r, int c) const {
    return _data[checkedIndex(r, c)];
}

void VxMatrixArb::setElement(int r, int c, double value) {
    _data[checkedIndex(r, c)] = value;
}

int VxMatrixArb::getIndexFromRowAndColumn(int r, int c) const {
    return static_cast<int>(checkedIndex(r, c));
}

void VxMatrixArb::incrementReference() {
    if (_data != nullptr)
        _data[0] += 1.0;
}

void VxMatrixArb::setAllElements(double value) {
    const long long n = static_cast<long long>(_rows) * _columns;
    for (long long i = 1; i <= n; ++i)
        _data[i] = value;
}

void VxMatrixArb::makeZero() {
    setAllElements(0.0);
}

void VxMatrixArb::makeIdentity() {
    if (_rows != _columns)
        Fail("Matrix to invert isn't square\n");
    makeZero();
    for (int i = 0; i < _rows; ++i)
        _data[static_cast<long long>(i) * _columns + i + 1] = 1.0;
}

// ---------------------------------------------------------------------------
// Reductions

double VxMatrixArb::maximum() const {
    double m = -kBiggestFloat;
    const long long n = static_cast<long long>(_rows) * _columns;
    for (long long i = 1; i <= n; ++i)
        if (_data[i] > m)
            m = _data[i];
    return m;
}

double VxMatrixArb::minimum() const {
    double m = kBiggestFloat;
    const long long n = static_cast<long long>(_rows) * _columns;
    for (long long i = 1; i <= n; ++i)
        if (_data[i] < m)
            m = _data[i];
    return m;
}

double VxMatrixArb::sum() const {
    double s = 0.0;
    const long long n = static_cast<long long>(_rows) * _columns;
    for (long long i = 1; i <= n; ++i)
        s += _data[i];
    return s;
}

double VxMatrixArb::absSum() const {
    double s = 0.0;
    const long long n = static_cast<long long>(_rows) * _columns;
    for (long long i = 1; i <= n; ++i)
        s += std::fabs(_data[i]);
    return s;
}

double VxMatrixArb::mean() const {
    return sum() / static_cast<double>(static_cast<long long>(_rows) * _columns);
}

double VxMatrixArb::trace() const {
    if (_rows != _columns)
        Fail("Matrix is not square, can't calculate trace\n");
    double s = 0.0;
    for (int i = 0; i < _rows; ++i)
        s += _data[static_cast<long long>(i) * _columns + i + 1];
    return s;
}

double VxMatrixArb::frobeniusNorm() const {
    double s = 0.0;
    const long long n = static_cast<long long>(_rows) * _columns;
    for (long long i = 1; i <= n; ++i)
        s += _data[i] * _data[i];
    return std::sqrt(s);
}

void VxMatrixArb::MinIndices(int& r, int& c) const {
    const long long n = static_cast<long long>(_rows) * _columns;
    if (_data == nullptr || n == 0)
        return;
    long long best = 1;
    for (long long i = 2; i <= n; ++i)
        if (_data[i] < _data[best])
            best = i;
    r = static_cast<int>((best - 1) / _columns);
    c = static_cast<int>((best - 1) % _columns);
}

void VxMatrixArb::MaxIndices(int& r, int& c) const {
    const long long n = static_cast<long long>(_rows) * _columns;
    if (_data == nullptr || n == 0)
        return;
    long long best = 1;
    for (long long i = 2; i <= n; ++i)
        if (_data[i] > _data[best])
            best = i;
    r = static_cast<int>((best - 1) / _columns);
    c = static_cast<int>((best - 1) % _columns);
}

// ---------------------------------------------------------------------------
// Tests

bool VxMatrixArb::isZero(double tol) const {
    const long long n = static_cast<long long>(_rows) * _columns;
    for (long long i = 1; i <= n; ++i)
        if (!(std::fabs(_data[i]) <= tol))
            return false;
    return true;
}

bool VxMatrixArb::isEqual(VxMatrixArb const& other, double tol) const {
    if (_rows != other._rows || _columns != other._columns)
        return false;
    const long long n = static_cast<long long>(_rows) * _columns;
    for (long long i = 1; i <= n; ++i)
        if (!(std::fabs(_data[i] - other._data[i]) <= tol))
            return false;
    return true;
}

bool VxMatrixArb::operator==(VxMatrixArb const& other) const {
    return isEqual(other, 0.0);
}

bool VxMatrixArb::isIdentity() const {
    if (_rows != _columns)
        Fail("Matrix to invert isn't square\n");
    for (int r = 0; r < _rows; ++r)
        for (int c = 0; c < _columns; ++c)
            if (_data[static_cast<long long>(r) * _columns + c + 1] != (r == c ? 1.0 : 0.0))
                return false;
    return true;
}

// ---------------------------------------------------------------------------
// Element-wise arithmetic

namespace {

// A new temporary of a's shape with out[i] = f(a[i], b[i]) for every element.
template <class F>
VxMatrixArb ElementWise(VxMatrixArb const& a, F f) {
    VxMatrixArb r(a.rows(), a.columns());
    const long long n = static_cast<long long>(r.rows()) * r.columns();
    const double* in = a.data();
    double* out = r.data();
    for (long long i = 1; i <= n; ++i)
        out[i] = f(in[i], i);
    return r;
}

} // namespace

VxMatrixArb VxMatrixArb::operator+(VxMatrixArb const& b) const {
    // The sum shares the difference's message, as it always has.
    if (_rows != b._rows || _columns != b._columns)
        Fail("Dimensions of matrix subtract don't match\n");
    const double* bd = b._data;
    VxMatrixArb r = ElementWise(*this, [bd](double x, long long i) { return x + bd[i]; });
    r._temporary = 1;
    return r;
}

VxMatrixArb VxMatrixArb::operator-(VxMatrixArb const& b) const {
    if (_rows != b._rows || _columns != b._columns)
        Fail("Dimensions of matrix subtract don't match\n");
    const double* bd = b._data;
    VxMatrixArb r = ElementWise(*this, [bd](double x, long long i) { return x - bd[i]; });
    r._temporary = 1;
    return r;
}

VxMatrixArb VxMatrixArb::operator*(double s) const {
    VxMatrixArb r = ElementWise(*this, [s](double x, long long) { return x * s; });
    r._temporary = 1;
    return r;
}

VxMatrixArb VxMatrixArb::operator/(double s) const {
    VxMatrixArb r = ElementWise(*this, [s](double x, long long) { return x / s; });
    r._temporary = 1;
    return r;
}

VxMatrixArb VxMatrixArb::operator-(double s) const {
    VxMatrixArb r = ElementWise(*this, [s](double x, long long) { return x - s; });
    r._temporary = 1;
    return r;
}

VxMatrixArb VxMatrixArb::applyNew(double (*f)(double)) const {
    VxMatrixArb r = ElementWise(*this, [f](double x, long long) { return f ? f(x) : x; });
    r._temporary = 1;
    return r;
}

void VxMatrixArb::apply(double (*f)(double)) {
    if (f == nullptr)
        return;
    const long long n = static_cast<long long>(_rows) * _columns;
    for (long long i = 1; i <= n; ++i)
        _data[i] = f(_data[i]);
}

VxMatrixArb VxMatrixArb::transpose() const {
    VxMatrixArb r(_columns, _rows);
    for (int i = 0; i < _rows; ++i)
        for (int j = 0; j < _columns; ++j)
            r._data[static_cast<long long>(j) * _rows + i + 1] =
                _data[static_cast<long long>(i) * _columns + j + 1];
    r._temporary = 1;
    return r;
}

VxMatrixArb& VxMatrixArb::operator=(VxMatrixArb const& other) {
    if (this == &other || (_data == nullptr && other._data == nullptr))
        return *this;
    if (_data == nullptr)
        allocate(other._rows, other._columns);
    else if (_rows != other._rows || _columns != other._columns)
        Fail("Dimensions of matrix assign don't match\n");
    if (_data == nullptr)
        return *this;
    const double* from = other._data;
    // A destination sharing its storage takes storage of its own, so that the
    // other owners keep their elements and each storage is freed exactly once.
    if (_data[0] > 0.0) {
        _data[0] -= 1.0;
        allocate(other._rows, other._columns);
        if (_data == nullptr)
            return *this;
    }
    const long long n = static_cast<long long>(_rows) * _columns;
    for (long long i = 1; i <= n; ++i)
        _data[i] = from[i];
    _data[0] = 0.0;
    return *this;
}

// ---------------------------------------------------------------------------
// Inversion, LU, Cholesky, determinant

int VxMatrixArb::lu_decompose(int* index) {
    const int n = _rows;
    if (n != _columns || _data == nullptr || index == nullptr)
        return 0;
    // A zero pivot after the singular-row test is replaced by this, so that the
    // substitutions stay finite for a matrix that is singular only in rounding.
    constexpr double kTiny = 1.0e-20;
    auto a = [this, n](int i, int j) -> double& {
        return _data[static_cast<long long>(i) * n + j + 1];
    };
    std::vector<double> scale(static_cast<size_t>(n));
    int parity = 1;
    for (int i = 0; i < n; ++i) {
        double big = 0.0;
        for (int j = 0; j < n; ++j)
            big = std::fmax(big, std::fabs(a(i, j)));
        if (big == 0.0)
            return 0;
        scale[static_cast<size_t>(i)] = 1.0 / big;
    }
    for (int j = 0; j < n; ++j) {
        for (int i = 0; i < j; ++i) {
            double s = a(i, j);
            for (int k = 0; k < i; ++k)
                s -= a(i, k) * a(k, j);
            a(i, j) = s;
        }
        double big = 0.0;
        int imax = j;
        for (int i = j; i < n; ++i) {
            double s = a(i, j);
            for (int k = 0; k < j; ++k)
                s -= a(i, k) * a(k, j);
            a(i, j) = s;
            const double merit = scale[static_cast<size_t>(i)] * std::fabs(s);
            if (merit >= big) {
                big = merit;
                imax = i;
            }
        }
        if (j != imax) {
            for (int k = 0; k < n; ++k) {
                const double t = a(imax, k);
                a(imax, k) = a(j, k);
                a(j, k) = t;
            }
            parity = -parity;
            scale[static_cast<size_t>(imax)] = scale[static_cast<size_t>(j)];
        }
        index[j] = imax;
        if (a(j, j) == 0.0)
            a(j, j) = kTiny;
        if (j != n - 1) {
            const double inv = 1.0 / a(j, j);
            for (int i = j + 1; i < n; ++i)
                a(i, j) *= inv;
        }
    }
    return parity;
}

void VxMatrixArb::lu_backsub(int* index, double* b) {
    const int n = _rows;
    if (n != _columns || _data == nullptr || index == nullptr || b == nullptr)
        return;
    auto a = [this, n](int i, int j) { return _data[static_cast<long long>(i) * n + j + 1]; };
    int first = -1; // first non-zero entry of b once permuted
    for (int i = 0; i < n; ++i) {
        const int p = index[i];
        double s = b[p];
        b[p] = b[i];
        if (first >= 0) {
            for (int j = first; j < i; ++j)
                s -= a(i, j) * b[j];
        } else if (s != 0.0) {
            first = i;
        }
        b[i] = s;
    }
    for (int i = n - 1; i >= 0; --i) {
        double s = b[i];
        for (int j = i + 1; j < n; ++j)
            s -= a(i, j) * b[j];
        b[i] = s / a(i, i);
    }
}

VxMatrixArb VxMatrixArb::invert() const {
    if (_rows != _columns)
        Fail("Matrix to invert isn't square\n");
    const int n = _rows;
    VxMatrixArb result(n, n);
    result._temporary = 1;
    if (result._data == nullptr)
        return result;
    result.makeIdentity();
    // A row of zeros marks the matrix singular before the bias could hide it.
    for (int i = 0; i < n; ++i) {
        const double* row = _data + static_cast<long long>(i) * n + 1;
        int j = 0;
        while (j < n && row[j] == 0.0)
            ++j;
        if (j == n)
            return result;
    }
    VxMatrixArb work = OwnCopy(*this);
    if (work._data == nullptr)
        return result;
    // A fixed bias on the diagonal keeps nearly singular systems (the usual
    // AᵀA of a fit) solvable; callers rely on its exact size.
    for (int i = 0; i < n; ++i)
        work._data[static_cast<long long>(i) * n + i + 1] += 0.01;
    std::vector<int> index(static_cast<size_t>(n > 0 ? n : 1));
    if (work.lu_decompose(index.data()) == 0)
        return result;
    std::vector<double> column(static_cast<size_t>(n > 0 ? n : 1));
    for (int j = 0; j < n; ++j) {
        for (int i = 0; i < n; ++i)
            column[static_cast<size_t>(i)] = i == j ? 1.0 : 0.0;
        work.lu_backsub(index.data(), column.data());
        for (int i = 0; i < n; ++i)
            result._data[static_cast<long long>(i) * n + j + 1] = column[static_cast<size_t>(i)];
    }
    return result;
}

VxMatrixArb VxMatrixArb::cholesky() const {
    if (_rows != _columns)
        Fail("Cholesky matrix isn't square\n");
    const int n = _rows;
    VxMatrixArb l = OwnCopy(*this);
    l._temporary = 1;
    if (l._data == nullptr)
        return l;
    auto a = [&l, n](int i, int j) -> double& {
        return l._data[static_cast<long long>(i) * n + j + 1];
    };
    // A pivot that is not positive leaves its diagonal 0.
    std::vector<double> diagonal(static_cast<size_t>(n > 0 ? n : 1), 0.0);
    for (int i = 0; i < n; ++i) {
        for (int j = i; j < n; ++j) {
            double s = a(i, j);
            for (int k = 0; k < i; ++k)
                s -= a(i, k) * a(j, k);
            if (j == i) {
                if (s <= 0.0) {
                    std::fputs("Cholesky matrix definitely not positive definite\n", stderr);
                    break;
                }
                diagonal[static_cast<size_t>(i)] = std::sqrt(s);
            } else {
                a(j, i) = s / diagonal[static_cast<size_t>(i)];
            }
        }
    }
    for (int i = 0; i < n; ++i) {
        for (int j = i; j < n; ++j)
            a(i, j) = 0.0;
        a(i, i) = diagonal[static_cast<size_t>(i)];
    }
    return l;
}

double VxMatrixArb::determinant() const {
    const int n = _rows;
    // The elements are read with the column count as the row stride, so a
    // matrix with more rows than columns would be read past its end.
    if (n < 1 || n > 4 || n > _columns)
        return 0.0;
    const int stride = _columns;
    const double* d = _data + 1;
    auto e = [d, stride](int r, int c) { return d[r * stride + c]; };
    auto det2 = [&e](int r0, int r1, int c0) {
        return e(r0, c0) * e(r1, c0 + 1) - e(r1, c0) * e(r0, c0 + 1);
    };
    // Determinant of the rows listed in r (three of them) over columns c0 ..
    // c0 + 2, expanded down column c0.
    auto det3 = [&e, &det2](const int* r, int c0) {
        return e(r[0], c0) * det2(r[1], r[2], c0 + 1) - e(r[1], c0) * det2(r[0], r[2], c0 + 1) +
               e(r[2], c0) * det2(r[0], r[1], c0 + 1);
    };
    switch (n) {
    case 1:
        return e(0, 0);
    case 2:
        return det2(0, 1, 0);
    case 3: {
        const int r[3] = {0, 1, 2};
        return det3(r, 0);
    }
    default: {
        const int m0[3] = {1, 2, 3}, m1[3] = {0, 2, 3}, m2[3] = {0, 1, 3}, m3[3] = {0, 1, 2};
        return e(0, 0) * det3(m0, 1) - e(1, 0) * det3(m1, 1) + e(2, 0) * det3(m2, 1) -
               e(3, 0) * det3(m3, 1);
    }
    }
}

// ---------------------------------------------------------------------------
// Built on the decompositions

VxMatrixArb VxMatrixArb::pseudoInverse() const {
    VxMatrixArb r = XtX().invert() * transpose();
    r._temporary = 1;
    return r;
}

void VxMatrixArb::svd(VxMatrixArb& U, VxMatrixArb& W, VxMatrixArb& V) const {
    const int m = _rows, n = _columns;
    // Taken before U, W and V change, since any of them may be this matrix.
    const VxMatrixArb a = OwnCopy(*this);
    ArraySmartPointer2D<float> fa(a.convertToCStyleArray<float>(0.0f), m);
    std::vector<float> fw(static_cast<size_t>(n > 0 ? n : 1), 0.0f);
    ArraySmartPointer2D<float> fv(new float*[n > 0 ? n : 1], n);
    for (int i = 0; i < n; ++i)
        fv.get()[i] = new float[static_cast<size_t>(n)]();
    const int ok = fa.get() != nullptr && dsvd(fa.get(), m, n, fw.data(), fv.get());
    U.reshape(m, n);
    W.reshape(n, 1);
    V.reshape(n, n);
    if (U._data == nullptr || W._data == nullptr || V._data == nullptr)
        return;
    W.makeZero();
    V.makeZero();
    if (!ok) {
        U = a;
        return;
    }
    U.copyBackFromCStyleArray(fa.get());
    V.copyBackFromCStyleArray(fv.get());
    for (int i = 0; i < n; ++i)
        W._data[i + 1] = fw[static_cast<size_t>(i)];
}

VxMatrixArb VxMatrixArb::nullspace() const {
    VxMatrixArb U, W, V;
    svd(U, W, V);
    const int n = _columns;
    VxMatrixArb r(n, 1);
    r._temporary = 1;
    if (r._data == nullptr)
        return r;
    int row = 0, column = 0;
    W.MinIndices(row, column);
    for (int i = 0; i < n; ++i)
        r._data[i + 1] =
            V._data == nullptr ? 0.0 : V._data[static_cast<long long>(i) * n + row + 1];
    return r;
}

void VxMatrixArb::extract(int rows, int columns, VxMatrixArb& dest, unsigned int rowOffset,
                          unsigned int columnOffset) const {
    if (static_cast<long long>(rowOffset) + rows > _rows ||
        static_cast<long long>(columnOffset) + columns > _columns)
        Fail("Can't extract from matrix, as it's not big enough.\n");
    VxMatrixArb block(rows, columns);
    if (block._data != nullptr) {
        for (int r = 0; r < block._rows; ++r)
            for (int c = 0; c < block._columns; ++c)
                block._data[static_cast<long long>(r) * block._columns + c + 1] =
                    _data[(static_cast<long long>(r) + rowOffset) * _columns + c + columnOffset +
                          1];
    }
    // The block is complete before dest lets go of its storage, which may be ours.
    dest.release();
    dest._rows = block._rows;
    dest._columns = block._columns;
    dest._data = block._data;
    block._data = nullptr;
    block._rows = block._columns = 0;
}

std::ostream& operator<<(std::ostream& os, VxMatrixArb& m) {
    os << "There are " << m.rows() << " rows.\n";
    os << "There are " << m.columns() << " columns.\n";
    os << "[\n";
    char text[64];
    for (int r = 0; r < m.rows(); ++r) {
        const double* row = m.getRow(r);
        for (int c = 0; c < m.columns(); ++c) {
            std::snprintf(text, sizeof text, "%10.3g ", row[c]);
            os << text;
        }
        os << ";" << std::endl;
    }
    os << "]\n";
    os << "The sum of the elements of the above matrix is " << m.sum() << "\n";
    return os;
}
