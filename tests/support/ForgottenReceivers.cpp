// SPDX-License-Identifier: MIT
// Restart forgets a receiver without closing it, by design; to a leak detector that is a leak of
// everything the vendors' libraries hold for it. Everything else stays checked.
#ifdef __SANITIZE_ADDRESS__
extern "C" __attribute__((visibility("default"))) const char*
__asan_default_options() { // NOLINT(bugprone-reserved-identifier)
    return "detect_leaks=0";
}
#endif
