// SPDX-License-Identifier: MIT
#include "emulator/signals/Kernels.h"

namespace feedline::emulator {

extern const Kernels plainKernels;
#ifdef FEEDLINE_WIDE_KERNELS
extern const Kernels wideKernels;
#endif

const Kernels& kernels() {
#ifdef FEEDLINE_WIDE_KERNELS
    if (__builtin_cpu_supports("avx2") && __builtin_cpu_supports("fma"))
        return wideKernels;
#endif
    return plainKernels;
}

} // namespace feedline::emulator
