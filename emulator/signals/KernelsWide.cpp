// SPDX-License-Identifier: MIT
// Compiled for AVX2 and FMA; run only where kernels() has found both.
#define FEEDLINE_KERNELS wideKernels
#define FEEDLINE_VECTOR 32
#include "emulator/signals/KernelBodies.h"
