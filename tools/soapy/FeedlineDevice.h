// SPDX-License-Identifier: MIT
// The receiver behind a server, as SoapySDR's programs see it.
#pragma once

#include "tools/gains/AirspyGains.h"
#include "tools/soapy/Arguments.h"
#include "tools/soapy/RxStream.h"
#include "tools/soapy/ServerLink.h"
#include "tools/soapy/Tuning.h"

#include <SoapySDR/Device.hpp>
#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

namespace feedline::soapy {

/// One receive channel. Any thread may call all functions but the stream's, which RxStream's header
/// says more of. None throws: what cannot be had is clamped or left out, with one line in the log.
class FeedlineDevice : public SoapySDR::Device {
public:
    /// Does not connect.
    explicit FeedlineDevice(const Arguments& arguments);
    ~FeedlineDevice() override;

    std::string getDriverKey() const override;
    std::string getHardwareKey() const override;
    SoapySDR::Kwargs getHardwareInfo() const override;

    size_t getNumChannels(int direction) const override;
    SoapySDR::Kwargs getChannelInfo(int direction, size_t channel) const override;
    bool getFullDuplex(int direction, size_t channel) const override;

    std::vector<std::string> getStreamFormats(int direction, size_t channel) const override;
    std::string getNativeStreamFormat(int direction, size_t channel,
                                      double& fullScale) const override;
    SoapySDR::Stream* setupStream(int direction, const std::string& format,
                                  const std::vector<size_t>& channels,
                                  const SoapySDR::Kwargs& args) override;
    void closeStream(SoapySDR::Stream* stream) override;
    size_t getStreamMTU(SoapySDR::Stream* stream) const override;
    int activateStream(SoapySDR::Stream* stream, int flags, long long timeNs,
                       size_t numElems) override;
    int deactivateStream(SoapySDR::Stream* stream, int flags, long long timeNs) override;
    int readStream(SoapySDR::Stream* stream, void* const* buffs, size_t numElems, int& flags,
                   long long& timeNs, long timeoutUs) override;
    size_t getNumDirectAccessBuffers(SoapySDR::Stream* stream) override;
    int acquireReadBuffer(SoapySDR::Stream* stream, size_t& handle, const void** buffs, int& flags,
                          long long& timeNs, long timeoutUs) override;
    void releaseReadBuffer(SoapySDR::Stream* stream, size_t handle) override;

    std::vector<std::string> listAntennas(int direction, size_t channel) const override;
    void setAntenna(int direction, size_t channel, const std::string& name) override;
    std::string getAntenna(int direction, size_t channel) const override;

    std::vector<std::string> listGains(int direction, size_t channel) const override;
    bool hasGainMode(int direction, size_t channel) const override;
    void setGainMode(int direction, size_t channel, bool automatic) override;
    bool getGainMode(int direction, size_t channel) const override;
    void setGain(int direction, size_t channel, double value) override;
    void setGain(int direction, size_t channel, const std::string& name, double value) override;
    double getGain(int direction, size_t channel) const override;
    double getGain(int direction, size_t channel, const std::string& name) const override;
    SoapySDR::Range getGainRange(int direction, size_t channel) const override;
    SoapySDR::Range getGainRange(int direction, size_t channel,
                                 const std::string& name) const override;

    bool hasFrequencyCorrection(int direction, size_t channel) const override;
    void setFrequencyCorrection(int direction, size_t channel, double value) override;
    double getFrequencyCorrection(int direction, size_t channel) const override;
    void setFrequency(int direction, size_t channel, double frequency,
                      const SoapySDR::Kwargs& args) override;
    void setFrequency(int direction, size_t channel, const std::string& name, double frequency,
                      const SoapySDR::Kwargs& args) override;
    double getFrequency(int direction, size_t channel) const override;
    double getFrequency(int direction, size_t channel, const std::string& name) const override;
    std::vector<std::string> listFrequencies(int direction, size_t channel) const override;
    SoapySDR::RangeList getFrequencyRange(int direction, size_t channel) const override;
    SoapySDR::RangeList getFrequencyRange(int direction, size_t channel,
                                          const std::string& name) const override;

    void setSampleRate(int direction, size_t channel, double rate) override;
    double getSampleRate(int direction, size_t channel) const override;
    std::vector<double> listSampleRates(int direction, size_t channel) const override;
    SoapySDR::RangeList getSampleRateRange(int direction, size_t channel) const override;

    bool hasHardwareTime(const std::string& what) const override;
    long long getHardwareTime(const std::string& what) const override;

    std::vector<std::string> listSensors() const override;
    SoapySDR::ArgInfo getSensorInfo(const std::string& key) const override;
    std::string readSensor(const std::string& key) const override;

private:
    SoapySDR::Stream* handle() { return reinterpret_cast<SoapySDR::Stream*>(&stream_); }
    bool isOurs(SoapySDR::Stream* stream) const {
        return stream == reinterpret_cast<const SoapySDR::Stream*>(&stream_);
    }
    gains::AirspyGains& airspyGains() const;
    bool hasGains() const;
    std::int32_t gainAt(std::size_t place) const;
    void setGainAt(std::size_t place, std::int32_t value);
    void tune();
    bool isHub() const;

    const Arguments arguments_;
    // Questions may make the connection, which changes nothing that can be asked for.
    mutable ServerLink link_;
    mutable RxStream stream_;
    mutable std::mutex gainsMutex_; ///< guards the making of gains_
    mutable std::unique_ptr<gains::AirspyGains> gains_;
    mutable std::atomic<bool> hadGains_{false};
    mutable std::mutex mutex_; ///< guards the tuning
    Tuning tuning_;
    double asked_ = 0;     ///< Hz, 0 before the first
    double frequency_ = 0; ///< Hz, what the program got
};

} // namespace feedline::soapy
