// vxMatrixIsa.h - which vector unit the matrix kernels use (internal).
#ifndef VX_MATRIX_ISA_H
#define VX_MATRIX_ISA_H

namespace VxMatrixDetail {

enum Isa { kSse2 = 0, kAvx2 = 1, kAvx512 = 2 };

// The widest unit the processor has, chosen once per process. The
// environment variable VELTRIX_MATRIX_ISA=sse2 or avx2 caps the choice, so
// that every path can be exercised on one machine; all paths give the same
// bits.
Isa ChosenIsa();

} // namespace VxMatrixDetail

#endif
