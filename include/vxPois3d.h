// vxPois3d.h - the three-dimensional Poisson/Helmholtz solver with the
// argument list, boundary codes and error codes of FISHPACK's POIS3D.
//
// It solves, for i = 1..L, j = 1..M, k = 1..N,
//
//     C1 (X(i-1,j,k) - 2 X(i,j,k) + X(i+1,j,k))
//   + C2 (X(i,j-1,k) - 2 X(i,j,k) + X(i,j+1,k))
//   + A(k) X(i,j,k-1) + B(k) X(i,j,k) + C(k) X(i,j,k+1)  =  F(i,j,k)
//
// (k taken modulo N) and overwrites F with X. Arrays are in Fortran order:
// element (i, j, k), 0-based, is f[(k * mdimf + j) * ldimf + i]; only the
// L x M x N block of F is read or written, the padding up to LDIMF and MDIMF
// is left alone.
//
// Boundary codes for the i axis (LPEROD; MPEROD the same for j), giving the
// values just outside the grid:
//   0  periodic: X(0) = X(L), X(L+1) = X(1)
//   1  X(0) = 0,    X(L+1) = 0
//   2  X(0) = 0,    X(L+1) = X(L-1)
//   3  X(0) = X(2), X(L+1) = X(L-1)
//   4  X(0) = X(2), X(L+1) = 0
// NPEROD for k: 0 periodic, with constant coefficients (A(k) = C(1),
// C(k) = C(1), B(k) = B(1) for every k); 1 a general tridiagonal system along
// k with A(1) = C(N) = 0, the coefficients free to vary with k.
//
// IERROR on return:
//   0 solved;  1 LPEROD < 0 or > 4;  2 L < 3;  3 MPEROD < 0 or > 4;  4 M < 3;
//   5 NPEROD < 0 or > 1;  6 N < 3;  7 LDIMF < L;  8 MDIMF < M;
//   9 NPEROD = 0 and A, B, C not constant as stated;
//   10 NPEROD = 1 and A(1) != 0 or C(N) != 0;
//   11 (this library's own) not solved: an argument other than W is null, the
//      sizes overflow the address space, or the solver's workspace could not
//      be allocated.
// Codes 1 to 10 are checked in that order and the last failing one is
// reported (A, B and C are not read when N < 1). On any non-zero code F is
// left exactly as it was. A null IERROR does nothing at all.
//
// Method
//   The i and j axes are diagonalised by FFTW 3's real-to-real transforms
//   (single precision), one kind per boundary code: 0 a real DFT, 1 DST-I,
//   2 DST-III/DST-II, 3 DCT-I, 4 DCT-III/DCT-II. Each (i, j) mode then leaves
//   a tridiagonal system along k, which is solved directly (NPEROD = 1); with
//   NPEROD = 0 the constant periodic system is diagonalised by a real DFT
//   along k as well. Arithmetic is in float. A singular system (the pure
//   periodic or Neumann Laplacian, whose constant mode has no solution) is
//   not detected: it gives infinities or NaNs in F. Removing the mean of F,
//   or adding a small diagonal term to B, is the caller's task.
//
// Workspace
//   W is not used, neither read nor written, and may be null: the solver has
//   a workspace of its own, 2 L M N + L M + L floats (L M N + L M + L with
//   NPEROD = 0) from the system allocator. Outside a fork it is kept for the
//   next call (grown when a larger problem comes; vxPois3dRelease frees it);
//   inside a fork each call allocates its own and frees it before returning.
//
// Plans, forks and threads
//   FFTW plans are made the first time a (L, M, N, LPEROD, MPEROD, NPEROD)
//   combination is solved outside a processor fork, then kept (for a few
//   recent combinations) until vxPois3dRelease; making them takes
//   longer than a solve, later calls reuse them. FFTW's planner is not
//   thread-safe, so no plan is ever made inside a fork: there workers run
//   plans made earlier, each solving into its own workspace, and a combination
//   without a plan is solved by direct (matrix) transforms, correct but
//   costing O(L + M) operations per grid point (O(L + M + N) with
//   NPEROD = 0) where FFTW needs O(log). So solve each combination once before the
//   fork (in preSample(), say) when workers are to solve it fast. Outside a
//   fork, call it from one thread at a time.
#ifndef VX_POIS3D_H
#define VX_POIS3D_H

#include "vxExport.h"

// See the file comment. Every argument by address, as POIS3D takes them.
// Returns 1 whatever IERROR says: callers must check IERROR.
VX_API int vxPois3d(const int* lperod, const int* l, const float* c1, const int* mperod,
                    const int* m, const float* c2, const int* nperod, const int* n, const float* a,
                    const float* b, const float* c, const int* ldimf, const int* mdimf, float* f,
                    int* ierror, float* w);

// Frees the kept plans and workspace (outside a fork only; inside one it does
// nothing). Later solves make them again. For a plug-in being unloaded, or
// after a one-off large solve.
VX_API void vxPois3dRelease();

#endif
