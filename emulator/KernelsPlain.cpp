#define FEEDLINE_KERNELS plainKernels
#include "emulator/KernelBodies.h"
