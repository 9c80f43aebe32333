// SPDX-License-Identifier: MIT
#define FEEDLINE_KERNELS plainKernels
#define FEEDLINE_VECTOR 16
#include "emulator/signals/KernelBodies.h"
