// SPDX-License-Identifier: MIT
#include "ControlStreamModel.h"

#include <algorithm>
#include <cstdarg>
#include <cstdio>

namespace feedline::fuzz {
namespace {

std::string_view asText(const std::uint8_t* bytes, std::size_t count) {
    return {reinterpret_cast<const char*>(bytes), count};
}

std::uint32_t number(const std::uint8_t* bytes) {
    return bytes[0] + 0x100U * bytes[1] + 0x10000U * bytes[2] + 0x1000000U * bytes[3];
}

} // namespace

std::string noteOfReply(std::string_view bytes) {
    return "reply " + std::string(bytes);
}

std::string noteOfAlert(const std::string& message, const std::string& information) {
    return "alert " + message + '|' + information;
}

void ControlStreamModel::log(const char* format, ...) {
    std::array<char, 512> text; // NOLINT(cppcoreguidelines-pro-type-member-init)
    va_list arguments;
    va_start(arguments, format);
    std::vsnprintf(text.data(), text.size(), format, arguments);
    va_end(arguments);
    expected.add(test::Line::logged, text.data());
}

/// A length of 0 stands for the largest message, and no message ends before its third byte unless
/// it is a header and nothing else.
std::size_t ControlStreamModel::wholeLength() const {
    if (kept_[0] == 0)
        return 8194;
    return kept_[0] == 1 ? 3 : kept_[0];
}

void ControlStreamModel::takeByte(std::uint8_t byte) {
    kept_.at(have_++) = byte;
    if (have_ < 2 || have_ < wholeLength())
        return;
    have_ = 0;
    handle();
}

void ControlStreamModel::choose(std::int32_t index) {
    type = index;
    log("devicePopupChange %d", index);
}

void ControlStreamModel::handle() {
    const unsigned kind = kept_[1] / 32U;
    const unsigned code = kept_[2] + 256U * kept_[3];
    if (kept_[0] == 2 && kept_[1] == 0)
        log("NAK");
    else if (kind == 1)
        request(code);
    else if (kind == 0)
        change(code);
}

void ControlStreamModel::reply(unsigned code, std::string_view parameters) {
    std::string message;
    message += static_cast<char>(4 + parameters.size());
    message += '\0';
    message += static_cast<char>(code % 256);
    message += static_cast<char>(code / 256);
    message += parameters;
    note(noteOfReply(message));
}

void ControlStreamModel::request(unsigned code) {
    using namespace std::string_view_literals;
    if (code == 1)
        reply(code, type == 0 ? "AirSpyHF+\0"sv : "AirSpy\0"sv);
    if (code == 2)
        reply(code, "123456789\0"sv);
    if (code == 4)
        reply(code, "\x7B\0"sv);
    if (code == 5)
        reply(code, streaming ? "\x0C"sv : "\x0B"sv);
}

void ControlStreamModel::change(unsigned code) {
    // The type's own bits are zero here, whatever the other five of the byte are.
    log("TYPE_TARG_RESP_CITEM ParseAscpMsg 0 %d %x", int{kept_[0]}, code);
    const std::uint8_t* const parameters = kept_.data() + 4;
    if (code == 0x18)
        changeState(parameters);
    if (code == 0x20)
        changeFrequency(parameters);
    if (code == 0xB8)
        changeRate(parameters);
}

void ControlStreamModel::changeState(const std::uint8_t* parameters) {
    log("set state %d   %d   %d", parameters[0], parameters[1], parameters[2]);
    const bool wanted = parameters[1] == 2;
    if (wanted != streaming) {
        const std::int32_t asked = type;
        if (asked == 0 || asked == 1)
            run(wanted, asked == 0);
    }
    reply(0x18, asText(parameters, 4));
}

void ControlStreamModel::run(bool start, bool hf) {
    streaming = start;
    const bool open = hf ? hfOpen : airspyOpen;
    int result = hf ? -1 : -2;
    if (open) {
        note(hf      ? start ? "airspyhf_start" : "airspyhf_stop"
             : start ? "airspy_start_rx"
                     : "airspy_stop_rx");
        result = start ? startAnswer : stopAnswer;
    }
    // One line for all four operations.
    log("airspyhf_start err %d  ", result);
}

int ControlStreamModel::tune(std::uint32_t hertz) {
    if (type != 0 && type != 1)
        return -102;
    const bool hf = type == 0;
    const bool open = hf ? hfOpen : airspyOpen;
    int result = hf ? -1 : -2;
    if (open) {
        note((hf ? "airspyhf_set_freq " : "airspy_set_freq ") + std::to_string(hertz));
        result = tuneAnswer;
    }
    log(hf ? "airspyhf_set_freq err %d  " : "airspy_set_freq err %d  ", result);
    frequency = static_cast<std::int32_t>(hertz);
    return result;
}

void ControlStreamModel::alert(const char* text) {
    note(noteOfAlert(text, ""));
    if (chosenWhileAlertIsUp)
        choose(*chosenWhileAlertIsUp);
}

void ControlStreamModel::changeFrequency(const std::uint8_t* parameters) {
    const std::uint32_t hertz = number(parameters + 1);
    log("set frequency %u   %d %d %d %d %d 0", hertz, parameters[0], parameters[1], parameters[2],
        parameters[3], parameters[4]);
    if (tune(hertz) != 0) {
        if (type == 0)
            alert("AirSpyHF+ set frequency fail");
        if (type == 1) // Perhaps only since the first alert.
            alert("AirSpy set frequency fail");
    }
    std::array<std::uint8_t, 6> echoed{};
    std::copy_n(parameters, 5, echoed.begin());
    reply(0x20, asText(echoed.data(), echoed.size()));
}

void ControlStreamModel::changeRate(const std::uint8_t* parameters) {
    log("set rate %u   %d %d %d %d %d", number(parameters + 1), parameters[0], parameters[1],
        parameters[2], parameters[3], parameters[4]);
    reply(0xB8, asText(parameters, 5));
}

} // namespace feedline::fuzz
