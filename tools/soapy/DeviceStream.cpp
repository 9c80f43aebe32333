// SPDX-License-Identifier: MIT
// The device's stream functions: they check what they are given and hand it on.
#include "tools/soapy/FeedlineDevice.h"
#include "tools/soapy/Log.h"

#include <SoapySDR/Constants.h>
#include <SoapySDR/Errors.h>
#include <SoapySDR/Formats.hpp>
#include <algorithm>
#include <chrono>
#include <thread>

namespace feedline::soapy {

namespace {

// For a stream that is none: an error that came back at once would make some programs spin.
int waitAndFail(long timeout) {
    std::this_thread::sleep_for(std::chrono::microseconds(std::clamp(timeout, 0L, 100'000L)));
    return SOAPY_SDR_STREAM_ERROR;
}

} // namespace

std::vector<std::string> FeedlineDevice::getStreamFormats(int direction, size_t /*channel*/) const {
    return direction == SOAPY_SDR_RX ? formatNames() : std::vector<std::string>{};
}

std::string FeedlineDevice::getNativeStreamFormat(int /*direction*/, size_t /*channel*/,
                                                  double& fullScale) const {
    fullScale = 32768;
    return SOAPY_SDR_CS16;
}

SoapySDR::Stream* FeedlineDevice::setupStream(int direction, const std::string& format,
                                              const std::vector<size_t>& channels,
                                              const SoapySDR::Kwargs& /*args*/) {
    if (direction != SOAPY_SDR_RX || channels.size() > 1 ||
        (!channels.empty() && channels.front() != 0)) {
        log(SOAPY_SDR_ERROR, "there is one channel, which receives");
        return nullptr;
    }
    return stream_.open(format) ? handle() : nullptr;
}

void FeedlineDevice::closeStream(SoapySDR::Stream* stream) {
    if (isOurs(stream))
        stream_.close();
}

size_t FeedlineDevice::getStreamMTU(SoapySDR::Stream* /*stream*/) const {
    return stream_.mtu();
}

int FeedlineDevice::activateStream(SoapySDR::Stream* stream, int flags, long long /*timeNs*/,
                                   size_t numElems) {
    if (!isOurs(stream))
        return SOAPY_SDR_STREAM_ERROR;
    return flags != 0 || numElems != 0 ? SOAPY_SDR_NOT_SUPPORTED : stream_.activate();
}

int FeedlineDevice::deactivateStream(SoapySDR::Stream* stream, int flags, long long /*timeNs*/) {
    if (!isOurs(stream))
        return SOAPY_SDR_STREAM_ERROR;
    return flags != 0 ? SOAPY_SDR_NOT_SUPPORTED : stream_.deactivate();
}

int FeedlineDevice::readStream(SoapySDR::Stream* stream, void* const* buffs, size_t numElems,
                               int& flags, long long& timeNs, long timeoutUs) {
    if (!isOurs(stream))
        return waitAndFail(timeoutUs);
    return stream_.read(buffs[0], numElems, flags, timeNs, timeoutUs);
}

size_t FeedlineDevice::getNumDirectAccessBuffers(SoapySDR::Stream* stream) {
    return isOurs(stream) && stream_.isNative() ? SampleQueue::handles : 0;
}

int FeedlineDevice::acquireReadBuffer(SoapySDR::Stream* stream, size_t& handle, const void** buffs,
                                      int& flags, long long& timeNs, long timeoutUs) {
    if (!isOurs(stream))
        return waitAndFail(timeoutUs);
    if (!stream_.isNative())
        return SOAPY_SDR_NOT_SUPPORTED;
    return stream_.acquire(handle, buffs, flags, timeNs, timeoutUs);
}

void FeedlineDevice::releaseReadBuffer(SoapySDR::Stream* stream, size_t handle) {
    if (isOurs(stream))
        stream_.release(handle);
}

} // namespace feedline::soapy
