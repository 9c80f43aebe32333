// SPDX-License-Identifier: MIT
// Marks the functions that this library shows to the vendor libraries; all else stays hidden.
#pragma once

#define FEEDLINE_EXPORTED extern "C" __attribute__((visibility("default")))
