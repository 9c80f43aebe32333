// SPDX-License-Identifier: MIT
// The module's lines in the log of the program that uses it.
#pragma once

#include <SoapySDR/Logger.hpp>
#include <string>

namespace feedline::soapy {

/// One line, without line end. Any thread.
inline void log(SoapySDR::LogLevel level, const std::string& line) {
    SoapySDR::log(level, "feedline: " + line);
}

} // namespace feedline::soapy
