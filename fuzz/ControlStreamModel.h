// SPDX-License-Identifier: MIT
// What the control stream does, told a second time and by other means than the server's own code:
// a message is collected whole and then looked up in tables. Knows nothing of chunks.
#pragma once

#include "LineRecord.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace feedline::fuzz {

// How the target notes what is no line of the server's.
std::string noteOfReply(std::string_view bytes);
std::string noteOfAlert(const std::string& message, const std::string& information);

class ControlStreamModel {
public:
    // What the surroundings are, set by the fuzz target in step with the server's own.
    std::int32_t type = 0;
    bool hfOpen = false;
    bool airspyOpen = false;
    int startAnswer = 0; ///< of either vendor library, like the next two
    int stopAnswer = 0;
    int tuneAnswer = 0;
    std::optional<std::int32_t> chosenWhileAlertIsUp;

    // What the server should have come to.
    test::LineRecord expected;
    bool streaming = false;
    std::int32_t frequency = 0;

    void takeByte(std::uint8_t byte);
    void choose(std::int32_t index);

private:
    std::size_t wholeLength() const;
    void handle();
    void request(unsigned code);
    void change(unsigned code);
    void changeState(const std::uint8_t* parameters);
    void changeFrequency(const std::uint8_t* parameters);
    void changeRate(const std::uint8_t* parameters);
    void run(bool start, bool hf);
    int tune(std::uint32_t hertz);
    void alert(const char* text);
    void reply(unsigned code, std::string_view parameters);
    void log(const char* format, ...) __attribute__((format(printf, 2, 3)));
    void note(std::string_view text) { expected.add(test::Line::noted, text); }

    std::array<std::uint8_t, 8194> kept_{}; ///< never cleared: short messages read old bytes
    std::size_t have_ = 0;
};

} // namespace feedline::fuzz
