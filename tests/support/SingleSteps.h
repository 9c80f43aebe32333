// SPDX-License-Identifier: MIT
// Runs a piece of code instruction by instruction, so that a test can look at every state it passes
// through, or change something between any two. For x86-64, where FEEDLINE_SINGLE_STEPS is defined;
// not under ThreadSanitizer, whose runtime would be stepped through as well, for minutes.
#pragma once

#if defined(__x86_64__) && !defined(__SANITIZE_THREAD__)
#define FEEDLINE_SINGLE_STEPS 1
#include <csignal>
#include <cstdint>
#include <ucontext.h>

namespace feedline::test {

inline constexpr std::uint64_t trapFlag = 0x100; ///< in the processor's flags

/// What inSingleSteps calls; false ends the stepping.
inline bool (*lookAfterInstruction)() = nullptr;

inline void onTrap(int /*signal*/, siginfo_t* /*information*/, void* context) {
    if (!lookAfterInstruction())
        static_cast<ucontext_t*>(context)->uc_mcontext.gregs[REG_EFL] &=
            ~static_cast<greg_t>(trapFlag);
}

/// Runs `code` and calls `look` after each of its instructions until it answers false; the rest
/// runs at full speed. `look` runs in a signal handler: it may neither allocate nor wait.
template <typename Code>
void inSingleSteps(bool (*look)(), const Code& code) {
    struct sigaction action {};
    struct sigaction before {};
    lookAfterInstruction = look;
    action.sa_sigaction = onTrap;
    action.sa_flags = SA_SIGINFO;
    ::sigaction(SIGTRAP, &action, &before);
    __builtin_ia32_writeeflags_u64(__builtin_ia32_readeflags_u64() | trapFlag);
    code();
    __builtin_ia32_writeeflags_u64(__builtin_ia32_readeflags_u64() & ~trapFlag);
    ::sigaction(SIGTRAP, &before, nullptr);
}

} // namespace feedline::test
#endif
