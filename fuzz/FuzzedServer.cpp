#include "FuzzedServer.h"

#include "app/RunTimeState.h"
#include "platform/Log.h"

#include <libairspy/airspy.h>
#include <libairspyhf/airspyhf.h>

#include <cstdarg>
#include <cstdio>
#include <sys/types.h>

namespace feedline {
namespace fuzz {
namespace {

Trace coreTrace;
VendorAnswers answers;

void formatInto(Trace& to, Event event, const char* format, va_list arguments) {
    std::array<char, 512> text{};
    const int length = std::vsnprintf(text.data(), text.size(), format, arguments);
    to.add(event, {text.data(), static_cast<std::size_t>(length)});
}

void resetState() {
    serverPortNumber = 50000;
    udpAddress.clear();
    deviceType = deviceAirspyHf;
    serverActive = true;
    tcpStatus = tcpConnected;
    listenSocket = -1;
    clientSocket = clientDescriptor;
    hfDevice = nullptr;
    airspyDevice = nullptr;
    isStreaming = 0;
    centerFrequency = 0;
}

} // namespace

void Trace::format(Event event, const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    formatInto(*this, event, format, arguments);
    va_end(arguments);
}

Trace& trace() {
    return coreTrace;
}
VendorAnswers& vendorAnswers() {
    return answers;
}

void TracedAlert::runModal(const std::string& message, const std::string& information) {
    trace().add(alert, message + '|' + information);
    if (whileUp)
        whileUp();
}

FuzzedServer::FuzzedServer(SettingsStore& settings)
    : delegate(Platform{settings, mainThread, alert, activities}) {
    resetState();
    fillOutlets(delegate);
}

} // namespace fuzz

void logLine(const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    fuzz::formatInto(fuzz::trace(), fuzz::logged, format, arguments);
    va_end(arguments);
}

void printText(const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    fuzz::formatInto(fuzz::trace(), fuzz::printed, format, arguments);
    va_end(arguments);
}

void fatal(const char* /*format*/, ...) {
    throw fuzz::Fatal{};
}

} // namespace feedline

using feedline::fuzz::call;
using feedline::fuzz::trace;
using feedline::fuzz::vendorAnswers;

extern "C" {

ssize_t __real_write(int descriptor, const void* bytes, size_t count);
ssize_t __wrap_write(int descriptor, const void* bytes, size_t count) {
    if (descriptor != feedline::fuzz::clientDescriptor)
        return __real_write(descriptor, bytes, count);
    trace().add(feedline::fuzz::written, {static_cast<const char*>(bytes), count});
    return static_cast<ssize_t>(count);
}

int airspyhf_start(airspyhf_device_t*, airspyhf_sample_block_cb_fn, void*) {
    trace().add(call, "hf start");
    return vendorAnswers().start;
}
int airspyhf_stop(airspyhf_device_t*) {
    trace().add(call, "hf stop");
    return vendorAnswers().stop;
}
int airspyhf_set_freq(airspyhf_device_t*, const uint32_t hertz) {
    trace().format(call, "hf tune %u", hertz);
    return vendorAnswers().tune;
}
int airspy_start_rx(airspy_device*, airspy_sample_block_cb_fn, void*) {
    trace().add(call, "airspy start");
    return vendorAnswers().start;
}
int airspy_stop_rx(airspy_device*) {
    trace().add(call, "airspy stop");
    return vendorAnswers().stop;
}
int airspy_set_freq(airspy_device*, const uint32_t hertz) {
    trace().format(call, "airspy tune %u", hertz);
    return vendorAnswers().tune;
}

// Initialisation belongs to the main thread; here there is never a receiver to initialise.
int airspyhf_list_devices(uint64_t*, int) {
    return 0;
}
int airspy_list_devices(uint64_t*, int) {
    return 0;
}

#define FEEDLINE_NEVER_CALLED(name, ...)                                                           \
    int name(__VA_ARGS__) {                                                                        \
        __builtin_trap();                                                                          \
    }
FEEDLINE_NEVER_CALLED(airspyhf_open_sn, airspyhf_device_t**, uint64_t)
FEEDLINE_NEVER_CALLED(airspyhf_close, airspyhf_device_t*)
FEEDLINE_NEVER_CALLED(airspyhf_get_samplerates, airspyhf_device_t*, uint32_t*, const uint32_t)
FEEDLINE_NEVER_CALLED(airspyhf_set_samplerate, airspyhf_device_t*, uint32_t)
FEEDLINE_NEVER_CALLED(airspyhf_get_calibration, airspyhf_device_t*, int32_t*)
FEEDLINE_NEVER_CALLED(airspyhf_board_partid_serialno_read, airspyhf_device_t*,
                      airspyhf_read_partid_serialno_t*)
FEEDLINE_NEVER_CALLED(airspyhf_version_string_read, airspyhf_device_t*, char*, uint8_t)
FEEDLINE_NEVER_CALLED(airspy_open, airspy_device**)
FEEDLINE_NEVER_CALLED(airspy_close, airspy_device*)
FEEDLINE_NEVER_CALLED(airspy_set_sample_type, airspy_device*, enum airspy_sample_type)
FEEDLINE_NEVER_CALLED(airspy_get_samplerates, airspy_device*, uint32_t*, const uint32_t)
FEEDLINE_NEVER_CALLED(airspy_set_samplerate, airspy_device*, uint32_t)
FEEDLINE_NEVER_CALLED(airspy_board_partid_serialno_read, airspy_device*,
                      airspy_read_partid_serialno_t*)
FEEDLINE_NEVER_CALLED(airspy_version_string_read, airspy_device*, char*, uint8_t)
FEEDLINE_NEVER_CALLED(airspy_is_streaming, airspy_device*)
FEEDLINE_NEVER_CALLED(airspy_set_lna_gain, airspy_device*, uint8_t)
FEEDLINE_NEVER_CALLED(airspy_set_mixer_gain, airspy_device*, uint8_t)
FEEDLINE_NEVER_CALLED(airspy_set_vga_gain, airspy_device*, uint8_t)
FEEDLINE_NEVER_CALLED(airspy_set_lna_agc, airspy_device*, uint8_t)
FEEDLINE_NEVER_CALLED(airspy_set_mixer_agc, airspy_device*, uint8_t)
FEEDLINE_NEVER_CALLED(airspy_set_linearity_gain, airspy_device*, uint8_t)
FEEDLINE_NEVER_CALLED(airspy_set_sensitivity_gain, airspy_device*, uint8_t)
FEEDLINE_NEVER_CALLED(airspy_set_rf_bias, airspy_device*, uint8_t)
FEEDLINE_NEVER_CALLED(airspy_set_packing, airspy_device*, uint8_t)
#undef FEEDLINE_NEVER_CALLED

} // extern "C"
