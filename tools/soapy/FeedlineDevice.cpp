// SPDX-License-Identifier: MIT
#include "tools/soapy/FeedlineDevice.h"

#include "tools/soapy/Log.h"

#include <SoapySDR/Constants.h>
#include <chrono>

namespace feedline::soapy {

namespace {

constexpr auto antenna = "RX";

struct Sensor {
    const char* key;
    const char* name;
    const char* units;
    SoapySDR::ArgInfo::Type type;
};
constexpr std::array sensors{
    Sensor{"rate", "Sample rate", "Hz", SoapySDR::ArgInfo::FLOAT},
    Sensor{"lost", "Datagrams lost on the way", "datagrams", SoapySDR::ArgInfo::INT},
    Sensor{"lost_last_second", "Datagrams lost in the last second", "datagrams",
           SoapySDR::ArgInfo::INT},
    Sensor{"dropped", "Datagrams that the program was too slow for", "datagrams",
           SoapySDR::ArgInfo::INT},
    Sensor{"reconnects", "Connections made again", "", SoapySDR::ArgInfo::INT},
    Sensor{"server", "Receiver at the server", "", SoapySDR::ArgInfo::STRING},
};

} // namespace

FeedlineDevice::FeedlineDevice(const Arguments& arguments)
    : arguments_(arguments), link_(arguments), stream_(link_, arguments),
      tuning_(arguments.offset, arguments.ppm) {
    link_.setListener({[this] {
        stream_.reconnected();
    }});
}

// The receive thread uses the connection, and the connection's thread the stream.
FeedlineDevice::~FeedlineDevice() {
    stream_.close();
    link_.disconnect();
}

std::string FeedlineDevice::getDriverKey() const {
    return "feedline";
}

std::string FeedlineDevice::getHardwareKey() const {
    const std::string_view name = link_.kind().name;
    return name.empty() ? "Feedline" : std::string(name);
}

// Some programs ask this of every device that they list, and unmake it again: the connection is not
// worth that, so only what is known is told.
SoapySDR::Kwargs FeedlineDevice::getHardwareInfo() const {
    SoapySDR::Kwargs info{{"address", arguments_.endpoint.server()}};
    if (const auto facts = link_.facts()) {
        info["receiver"] = facts->name;
        info["kind"] = facts->isHub() ? "hub" : "server";
    }
    return info;
}

size_t FeedlineDevice::getNumChannels(int direction) const {
    return direction == SOAPY_SDR_RX ? 1 : 0;
}

SoapySDR::Kwargs FeedlineDevice::getChannelInfo(int /*direction*/, size_t /*channel*/) const {
    return {};
}

bool FeedlineDevice::getFullDuplex(int /*direction*/, size_t /*channel*/) const {
    return false;
}

std::vector<std::string> FeedlineDevice::listAntennas(int direction, size_t /*channel*/) const {
    return direction == SOAPY_SDR_RX ? std::vector<std::string>{antenna}
                                     : std::vector<std::string>{};
}

void FeedlineDevice::setAntenna(int /*direction*/, size_t /*channel*/, const std::string& name) {
    if (!name.empty() && name != antenna)
        log(SOAPY_SDR_WARNING, "there is no antenna " + name + "; RX is the only one");
}

std::string FeedlineDevice::getAntenna(int direction, size_t /*channel*/) const {
    return direction == SOAPY_SDR_RX ? antenna : "";
}

bool FeedlineDevice::hasHardwareTime(const std::string& what) const {
    return what.empty();
}

// What samples that arrive at this moment are stamped with, at the beginning of a stream.
long long FeedlineDevice::getHardwareTime(const std::string& /*what*/) const {
    using namespace std::chrono;
    return duration_cast<nanoseconds>(system_clock::now().time_since_epoch()).count();
}

std::vector<std::string> FeedlineDevice::listSensors() const {
    std::vector<std::string> keys;
    keys.reserve(sensors.size());
    for (const Sensor& sensor : sensors)
        keys.emplace_back(sensor.key);
    return keys;
}

SoapySDR::ArgInfo FeedlineDevice::getSensorInfo(const std::string& key) const {
    SoapySDR::ArgInfo info;
    for (const Sensor& sensor : sensors)
        if (key == sensor.key) {
            info.key = sensor.key;
            info.name = sensor.name;
            info.units = sensor.units;
            info.type = sensor.type;
        }
    return info;
}

std::string FeedlineDevice::readSensor(const std::string& key) const {
    if (key == "rate")
        return std::to_string(link_.rate());
    if (key == "reconnects")
        return std::to_string(link_.reconnections());
    if (key == "server") {
        link_.reach();
        const auto facts = link_.facts();
        return facts ? facts->name : "";
    }
    const RxStream::Figures figures = stream_.figures();
    if (key == "lost")
        return std::to_string(figures.lost);
    if (key == "lost_last_second")
        return std::to_string(figures.lostLastSecond);
    return key == "dropped" ? std::to_string(figures.dropped) : "";
}

} // namespace feedline::soapy
