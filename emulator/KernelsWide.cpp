// Compiled for AVX2 and FMA; run only where kernels() has found both.
#define FEEDLINE_KERNELS wideKernels
#include "emulator/KernelBodies.h"
