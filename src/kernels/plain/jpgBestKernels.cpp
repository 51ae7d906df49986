// For processors without a set of their own.
#include "kernels/jpgKernels.h"

namespace jpg {

const Kernels *bestKernels() { return &jpgPlainKernels; }

}  // namespace jpg
