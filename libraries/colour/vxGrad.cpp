// The gradient the library builds for its plug-ins.
#include "vxGrad.h"

// The class template already carries its visibility, which gcc reports as a
// repeated attribute here.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wattributes"
template class VX_API VxGradDescription<VxRGBAf>;
#pragma GCC diagnostic pop
