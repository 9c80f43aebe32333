// The server's core with everything around it replaced by memory: what it logs, prints, shows,
// asks of a receiver and writes to its client becomes one trace, in the order of the events.
// Made for some hundred thousand rounds a second, so nothing here allocates per event or enters
// the kernel.
#pragma once

#include "NoPlatform.h"
#include "app/AppDelegate.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

namespace feedline::fuzz {

/// Marks what kind of event follows in the trace.
enum Event : char {
    logged = 'L',
    printed = 'P',
    alert = 'A',
    call = 'C',   ///< of a receiver library
    written = 'W' ///< to the client's socket
};

/// The events so far. An event is its mark, its text and a zero byte, so that no two sequences of
/// events read alike.
class Trace {
public:
    Trace() { bytes_.reserve(16384); }
    void clear() { bytes_.clear(); }
    void add(Event event, std::string_view text) {
        bytes_ += static_cast<char>(event);
        bytes_ += std::to_string(text.size());
        bytes_ += ':';
        bytes_ += text;
    }
    void format(Event event, const char* format, ...) __attribute__((format(printf, 3, 4)));
    const std::string& bytes() const { return bytes_; }

private:
    std::string bytes_;
};

/// Where the core's events go.
Trace& trace();

/// What the receiver libraries answer.
struct VendorAnswers {
    int start = 0;
    int stop = 0;
    int tune = 0;
};
VendorAnswers& vendorAnswers();

/// The socket number that stands for the client; `write` to it goes to the trace.
constexpr int clientDescriptor = 1000000;

/// Thrown where the server would log a line and abort.
struct Fatal {};

class HeldField : public TextField {
public:
    void setStringValue(const std::string& text) override { text_ = text; }
    std::string stringValue() const override { return text_; }
    void keepNumeric() override {}

private:
    std::string text_;
};

class HeldPopUp : public PopUpButton {
public:
    void removeAllItems() override {}
    void addItemWithTitle(const std::string& /*title*/) override {}
    void selectItemAtIndex(std::int64_t index) override { selected = index; }
    std::int64_t indexOfSelectedItem() const override { return selected; }
    std::int64_t selected = -1;
};

class HeldValue : public ValueControl {
public:
    std::int32_t intValue() const override { return 0; }
};

/// While an alert is up the user may choose another receiver.
class TracedAlert : public Alert {
public:
    void runModal(const std::string& message, const std::string& information) override;
    std::function<void()> whileUp;
};

/// A controller with its outlets, over freshly reset state.
struct FuzzedServer {
    explicit FuzzedServer(SettingsStore& settings);

    HeldField serverPort, status, udpAddr;
    HeldPopUp devicePopup;
    HeldValue gain;
    test::NoMainThread mainThread; ///< no task and no timer matters to what is fuzzed here
    TracedAlert alert;
    test::NoActivity activities;
    AppDelegate delegate;
};

} // namespace feedline::fuzz
