// SPDX-License-Identifier: MIT
// Part of builds for ThreadSanitizer only, which reads its defaults from here.

/// Qt paints large areas on several threads and hands them over by means that cannot be seen in a
/// library built without the sanitizer. What this program's own code does is checked all the same.
extern "C" __attribute__((visibility("default"))) const char*
__tsan_default_options() { // NOLINT(bugprone-reserved-identifier)
    return "ignore_noninstrumented_modules=1";
}
