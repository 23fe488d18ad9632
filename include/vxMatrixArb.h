// vxMatrixArb.h - dense matrices of doubles of any size, for the fitting and
// solving work of effects: products spread over the host's processors,
// inversion, Cholesky, LU, singular value decomposition, pseudo-inverse and
// null space.
//
// Storage. A matrix owns rows * columns + 1 doubles. Element 0 is the share
// count (0 = one owner); the matrix follows row-major, so (r, c) lives at
// data()[r * columns() + c + 1] and getRow(r) points at data() + r * columns() + 1.
//
// Temporaries share. Every matrix an operation returns by value (A * B,
// transpose(), invert(), ...) is marked temporary, and the copy constructor of
// a temporary takes the same storage and increments its share count instead of
// copying, so returning and keeping a result costs no copy:
//
//     VxMatrixArb p = a * b;   // p is the product's own storage
//     VxMatrixArb q(p);        // q and p share it: an edit to one shows in both
//
// A copy of a matrix that is not temporary copies the elements. Storage is
// freed by the last owner to go. Assigning into a matrix (operator=) always
// leaves it with storage of its own: a destination that shared its storage
// stops sharing (the other owners keep the old elements).
//
// Misuse ends the process. Shape and index errors write one line on stderr and
// call abort(): there are no exceptions and no error codes. The lines are
//   "Dimensions of matrix multiply don't match"     A * B, XtM
//   "Dimensions of matrix subtract don't match"     A - B and also A + B
//   "Dimensions of matrix assign don't match"       operator=
//   "Out of range VxMatrixArb indices used"         getElement, setElement, ...
//   "Matrix to invert isn't square"                 invert, isIdentity, makeIdentity
//   "Cholesky matrix isn't square"                  cholesky
//   "Matrix is not square, can't calculate trace"   trace
//   "Can't extract from matrix, as it's not big enough."   extract
// Three more lines are warnings after which the call goes on: a Cholesky
// pivot that is not positive, an SVD of a matrix with fewer rows than
// columns, and an SVD that does not converge (see each call).
//
// Sizes. A negative size, or one whose rows * columns + 1 does not fit in an
// int, gives a matrix with no storage (0 x 0, data() null); so does a failed
// allocation, which also reports "Failure to allocate matrix memory of size
// [n] bytes" with n the number of doubles asked for. A matrix with no storage
// has no elements: its reductions see an empty matrix and any element access
// aborts as out of range.
//
// Threads. Products (operator*, multiply, XtX, XtM and what uses them:
// pseudoInverse) fork over the host's processors through VxMatrixThread; each
// worker computes rows id, id + n, id + 2n, ... of the result. Called inside a
// fork they run in the calling worker alone, so every operation here may be
// used inside a fork as well as outside, on matrices the worker owns. Two
// threads must not use the same matrix, or two matrices sharing storage, at
// once unless both only read.
//
// Exactness. Each element of a product is the plain sum of products in column
// order, s = 0; s += a(i,0) * b(0,j); s += a(i,1) * b(1,j); ..., with every
// multiply and add rounded separately (no fused multiply-add). The result is
// therefore bit-identical on any number of workers and on any processor, and
// equal to that loop compiled without contraction.
#ifndef VX_MATRIX_ARB_H
#define VX_MATRIX_ARB_H

#include "vxExport.h"
#include "vxHost.h"

#include <iosfwd>

// Owns a float** of `rows` rows, each row an array of its own (new[]): the
// destructor deletes every row and then the row array. Null is allowed.
template <class T>
class ArraySmartPointer2D {
public:
    ArraySmartPointer2D(T** rowsArray, int rows) : p_(rowsArray), rows_(rows) {}
    ~ArraySmartPointer2D() {
        if (p_ == nullptr)
            return;
        for (int r = 0; r < rows_; ++r)
            delete[] p_[r];
        delete[] p_;
    }
    ArraySmartPointer2D(ArraySmartPointer2D const&) = delete;
    ArraySmartPointer2D& operator=(ArraySmartPointer2D const&) = delete;

    T** get() const { return p_; }
    T* operator[](int r) const { return p_[r]; }

private:
    T** p_;
    int rows_;
};

// Fresh storage for `count` doubles (uninitialised), or null after reporting
// "Failure to allocate matrix memory of size [count] bytes" when it cannot be
// had (count below 1 included). Free it with freeData.
VX_API double* allocateData(int count);
// Frees storage from allocateData; null does nothing.
VX_API void freeData(double* data);

class VX_API VxMatrixArb : public VxMatrixThread {
public:
    // No storage: 0 x 0, data() null.
    VxMatrixArb();
    // rows x columns, elements not cleared (the share count is 0).
    VxMatrixArb(int rows, int columns);
    // Shares a temporary's storage, copies any other matrix (see above).
    VxMatrixArb(VxMatrixArb const& other);
    // Frees the storage when this is its only owner, else gives up its share.
    ~VxMatrixArb();

    // Gives the matrix fresh rows x columns storage (elements not cleared)
    // without letting go of any storage it had: call it on a matrix with no
    // storage, or the old storage stays allocated for good.
    void create(int rows, int columns);

    // --- Access ----------------------------------------------------------------

    int rows() const { return _rows; }
    int columns() const { return _columns; }
    // The whole storage: share count at [0], then the elements row-major.
    double* data() const { return _data; }
    // The first element of row r, or null for a row outside 0 .. rows()-1.
    double* getRow(int r) const;
    // Element access checks only the flattened position r * columns() + c: any
    // (r, c) that lands on one of the rows() * columns() elements is accepted,
    // so (1, -1) is (0, columns()-1) and (0, columns()) is (1, 0). A position
    // past the last element, or before the first, reports "Out of range
    // VxMatrixArb indices used" and aborts.
    double getElement(int r, int c) const;
    void setElement(int r, int c, double value);
    // The index of (r, c) in data(), r * columns() + c + 1, checked as above.
    int getIndexFromRowAndColumn(int r, int c) const;
    // Adds one to the share count (the caller becomes one more owner: each
    // owner's destructor gives up one share). No storage: nothing happens.
    void incrementReference();
    void setAllElements(double value);
    void makeZero();
    // Aborts with "Matrix to invert isn't square" when not square.
    void makeIdentity();

    // --- Reductions ------------------------------------------------------------

    // The largest element, or -3.4028234663852886e38 when no element is
    // larger (a matrix with no elements, say). NaNs never count.
    double maximum() const;
    // The smallest element, or 3.4028234663852886e38 when none is smaller.
    double minimum() const;
    double sum() const;
    double absSum() const;
    // sum() / (rows * columns): NaN for a matrix with no elements.
    double mean() const;
    // Sum of the diagonal; aborts with "Matrix is not square, can't calculate
    // trace" when not square.
    double trace() const;
    // Square root of the sum of squares.
    double frobeniusNorm() const;
    // Position of the first smallest (largest) element in row-major order,
    // strict comparison, so ties keep the first. A matrix with no elements
    // leaves r and c as they were.
    void MinIndices(int& r, int& c) const;
    void MaxIndices(int& r, int& c) const;

    // --- Tests -----------------------------------------------------------------

    // Every |a| <= tol (true for a matrix with no elements).
    bool isZero(double tol) const;
    // Same shape and every |a - b| <= tol.
    bool isEqual(VxMatrixArb const& other, double tol) const;
    // isEqual with tolerance 0.0.
    bool operator==(VxMatrixArb const& other) const;
    // Exactly 1 on the diagonal and exactly 0 elsewhere; aborts with "Matrix
    // to invert isn't square" when not square.
    bool isIdentity() const;

    // --- Arithmetic: each returns a new temporary ------------------------------

    // Element-wise sum and difference. Different shapes report "Dimensions of
    // matrix subtract don't match" (for the sum as well) and abort.
    VxMatrixArb operator+(VxMatrixArb const& b) const;
    VxMatrixArb operator-(VxMatrixArb const& b) const;
    // Every element times, divided by, minus the number.
    VxMatrixArb operator*(double s) const;
    VxMatrixArb operator/(double s) const;
    VxMatrixArb operator-(double s) const;
    // The product, rows() x b.columns(); b.rows() != columns() reports
    // "Dimensions of matrix multiply don't match" and aborts. Forks.
    VxMatrixArb operator*(VxMatrixArb const& b) const;
    VxMatrixArb transpose() const;
    // AᵀA (columns x columns) and AᵀM (columns x m.columns(); m.rows() !=
    // rows() reports "Dimensions of matrix multiply don't match" and aborts).
    // Fork.
    VxMatrixArb XtX() const;
    VxMatrixArb XtM(VxMatrixArb const& m) const;
    // The inverse of A + 0.01 I: the fixed bias keeps nearly singular systems
    // solvable, so invert() of the identity is diag(1/1.01). Solved through
    // lu_decompose and lu_backsub, one column at a time. A matrix with a row
    // of zeros is singular whatever the bias, and the result is then the
    // identity, as it is when the LU decomposition finds a row of zeros. Aborts with "Matrix to
    // invert isn't square" when not square.
    VxMatrixArb invert() const;
    // The lower-triangular L with A = L Lᵀ, by the Cholesky-Banachiewicz
    // recurrence. Aborts with "Cholesky matrix isn't square" when not square.
    // A pivot that is not positive reports "Cholesky matrix definitely not
    // positive definite" on stderr, leaves that diagonal element 0 and the
    // rest of that column as in A, and the following columns go on.
    VxMatrixArb cholesky() const;
    // invert(AᵀA) · Aᵀ (columns x rows), with invert's 0.01 bias.
    VxMatrixArb pseudoInverse() const;
    // The right singular vector of the smallest singular value, columns x 1,
    // of unit length (its sign is as the SVD leaves it). Where svd() fails
    // (fewer rows than columns, no convergence) a columns x 1 zero matrix.
    VxMatrixArb nullspace() const;
    // A copy with f applied to every element; a null f gives a plain copy.
    VxMatrixArb applyNew(double (*f)(double)) const;
    // Applies f to every element in place; a null f does nothing.
    void apply(double (*f)(double));
    // Copies other's elements. Self-assignment does nothing; a destination
    // with no storage takes other's shape; one of another shape reports
    // "Dimensions of matrix assign don't match" and aborts. The destination
    // ends with storage of its own (share count 0).
    VxMatrixArb& operator=(VxMatrixArb const& other);

    // The product kernels behind the operators, writing into `result`, which
    // is given the result's shape (new storage when its shape differs). The
    // result may be one of the operands. This object's VxMatrixThread state
    // carries the fork.
    // multiply: a · b, checked as operator*.
    void multiply(VxMatrixArb const* a, VxMatrixArb const* b, VxMatrixArb* result);
    // this ᵀ · this.
    void XtX(VxMatrixArb* result);
    // this ᵀ · m, checked as XtM above.
    void XtM(VxMatrixArb const* m, VxMatrixArb* result);

    // --- Decompositions --------------------------------------------------------

    // LU decomposition in place by Crout's method with implicit partial
    // pivoting (each row scaled by 1 / its largest |element|). index receives
    // the row interchanges and must hold rows() ints. Returns 1 or -1, the
    // parity of the interchanges, or 0 when the matrix is singular (a row of
    // zeros; the matrix is then left partly decomposed) or not square. A zero
    // pivot met later is replaced by 1e-20 so that back substitution stays
    // finite.
    int lu_decompose(int* index);
    // Solves LU x = b in place after lu_decompose, with the same index: b
    // (rows() doubles) becomes x. Forward substitution starts at b's first
    // non-zero entry.
    void lu_backsub(int* index, double* b);
    // Cofactor expansion down the first column for 1 to 4 rows, reading
    // element (r, c) at r * columns() + c (so a non-square matrix with at
    // least as many columns as rows gives the determinant of its leading
    // square). 0.0 for more than 4 rows, for no rows and for more rows than
    // columns.
    double determinant() const;
    // Singular value decomposition A = U · diag(W) · Vᵀ: U becomes rows x
    // columns (the left vectors), W columns x 1 (the singular values, not
    // sorted), V columns x columns (the right vectors), each with new storage.
    // Computed by dsvd in single precision with double accumulators, so the
    // factors hold single-precision values. With fewer rows than columns dsvd
    // reports "#rows must be > #cols " and U holds A, W and V zeros.
    void svd(VxMatrixArb& U, VxMatrixArb& W, VxMatrixArb& V) const;
    // Copies the rows x columns block at (rowOffset, columnOffset) into dest,
    // which gets new storage. A block reaching past A reports "Can't extract
    // from matrix, as it's not big enough." and aborts. dest may be this.
    void extract(int rows, int columns, VxMatrixArb& dest, unsigned int rowOffset,
                 unsigned int columnOffset) const;

    // A new rows() x columns() array of T, each row allocated with new[],
    // holding the elements converted to T; the argument only picks T. Own it
    // with ArraySmartPointer2D<T>(array, rows()). Null for a matrix with no
    // storage.
    template <class T>
    T** convertToCStyleArray(T) const {
        if (_data == nullptr)
            return nullptr;
        T** a = new T*[_rows > 0 ? _rows : 1];
        for (int r = 0; r < _rows; ++r) {
            a[r] = new T[_columns > 0 ? _columns : 1];
            const double* row = _data + static_cast<long long>(r) * _columns + 1;
            for (int c = 0; c < _columns; ++c)
                a[r][c] = static_cast<T>(row[c]);
        }
        return a;
    }
    // Copies a rows() x columns() array back into the elements; null does nothing.
    template <class T>
    void copyBackFromCStyleArray(T** a) {
        if (a == nullptr || _data == nullptr)
            return;
        for (int r = 0; r < _rows; ++r) {
            double* row = _data + static_cast<long long>(r) * _columns + 1;
            for (int c = 0; c < _columns; ++c)
                row[c] = static_cast<double>(a[r][c]);
        }
    }

protected:
    // Fresh rows x columns storage in this matrix, marked with one owner;
    // negative or too large sizes (or a failed allocation) leave no storage.
    void allocate(int rows, int columns);
    // Gives up this matrix's share of its storage, leaving it with none.
    void release();
    // Makes this a rows x columns matrix with storage of its own, reusing the
    // present storage when it already is.
    void reshape(int rows, int columns);
    // result = a · b, or aᵀ · b when aTransposed, forked through this object.
    void productOf(VxMatrixArb const* a, bool aTransposed, VxMatrixArb const* b,
                   VxMatrixArb* result);
    // Flattened index of (r, c) into _data, aborting when out of range.
    long long checkedIndex(int r, int c) const;

    int _temporary; // 1 on a matrix an operation returned: its copies share
    int _rows;
    int _columns;
    double* _data; // share count, then rows * columns elements row-major
};

// Singular value decomposition of the m x n matrix a (m >= n, rows of n
// floats) by Householder bidiagonalisation and shifted QR sweeps, in single
// precision storage with double accumulators: on return a holds U (m x n), w
// the n singular values (not sorted, all >= 0) and v the n x n V, with
// a_in = U · diag(w) · Vᵀ. Returns 1 on success. With m < n it reports
// "#rows must be > #cols " and returns 0 before touching anything; when a
// singular value does not converge in 30 sweeps it reports "No convergence
// after 30,000! iterations " and returns 0 with the arrays part-way.
// Its work arrays come from system memory; safe in a fork.
VX_API int dsvd(float** a, int m, int n, float* w, float** v);

// Null space of the m x n matrix a by dsvd (a, w, v as there: a becomes U,
// w the singular values, v the right vectors). x (n floats) receives the
// column of v belonging to the smallest singular value, the first smallest
// when several tie: the unit vector x minimising |a x|. Returns that column's
// index, or -1 when dsvd fails, in which case x is all zeros.
VX_API int nullspace(float** a, int m, int n, float* w, float** v, float* x);

// Prints "There are R rows.", "There are C columns.", "[", one line per row of
// elements each formatted "%10.3g " and ended by ";", "]", and "The sum of the
// elements of the above matrix is S", each line ending in '\n'.
VX_API std::ostream& operator<<(std::ostream& os, VxMatrixArb& m);

#endif
