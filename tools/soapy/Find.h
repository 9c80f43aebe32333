// SPDX-License-Identifier: MIT
// Which servers there are to choose from.
#pragma once

#include <SoapySDR/Types.hpp>

namespace feedline::soapy {

/// The server that the arguments name, whether it is there or not; when they name none, those of
/// this machine that are seen to listen on the server's usual port and on the hub's. Never connects
/// and asks no other machine. Any thread; never throws.
SoapySDR::KwargsList findServers(const SoapySDR::Kwargs& given);

} // namespace feedline::soapy
