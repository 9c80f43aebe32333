// SPDX-License-Identifier: MIT
// A locale that writes numbers with a decimal comma, made here: few machines have one.
#pragma once

#include "TemporaryFolder.h"

#include <clocale>
#include <cstdlib>
#include <langinfo.h>
#include <map>
#include <stdexcept>
#include <string>

#ifdef __SANITIZE_ADDRESS__
/// What the C library keeps of a LOCPATH, and what Debian's font library keeps, is not this
/// program's to free. For tests, of which each is one source.
extern "C" __attribute__((visibility("default"), used)) const char*
__lsan_default_suppressions() { // NOLINT(bugprone-reserved-identifier)
    return "leak:argz_add_sep\nleak:libfontconfig\n";
}
#endif

namespace feedline::test {

/// The locale's definition is the C library's own (Debian's package `locales`). Throws when it
/// cannot be made, or has no comma.
class CommaLocale {
public:
    CommaLocale() {
        const std::string compile =
            "localedef -i de_DE -f UTF-8 '" + folder_.file("de_DE.UTF-8") + "'";
        if (std::system(compile.c_str()) != 0)
            throw std::runtime_error("no locale: " + compile);
    }

    /// For a program that is to run under it.
    std::map<std::string, std::string> environment() const {
        return {{"LOCPATH", folder_.file("")}, {"LC_ALL", "de_DE.UTF-8"}, {"LANGUAGE", ""}};
    }

    /// Puts the variables into this process's environment, where whoever adopts the user's locale
    /// finds them.
    void offer() const {
        for (const auto& [variable, value] : environment())
            setenv(variable.c_str(), value.c_str(), 1);
        const locale_t made = newlocale(LC_ALL_MASK, "", nullptr);
        if (made == nullptr || std::string(nl_langinfo_l(RADIXCHAR, made)) != ",")
            throw std::runtime_error("the locale has no comma");
        freelocale(made);
    }

    /// Has this process adopt it.
    void adopt() const {
        offer();
        setlocale(LC_ALL, "");
    }

private:
    TemporaryFolder folder_;
};

} // namespace feedline::test
