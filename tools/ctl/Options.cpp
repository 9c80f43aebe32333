// SPDX-License-Identifier: MIT
#include "tools/ctl/Options.h"

#include "platform/ControlHints.h"
#include "tools/commandline/Reading.h"

#include <arpa/inet.h>
#include <charconv>
#include <utility>
#include <vector>

namespace feedline::ctl {
namespace {

/// The check's result is the error, empty when all is well.
template <typename Good>
CLI::Validator check(std::string otherwise, Good good) {
    return {[otherwise = std::move(otherwise), good](const std::string& text) {
                return good(text) ? std::string() : "'" + text + "': " + otherwise;
            },
            ""};
}

bool isPort(const std::string& text) {
    const auto port = parseInteger(text);
    return port && *port >= 1 && *port <= 65535;
}

bool isAddress(const std::string& text) {
    in_addr address{};
    return inet_pton(AF_INET, text.c_str(), &address) == 1;
}

/// Each command's options, and what its being chosen means.
class Reader {
public:
    explicit Reader(Options& options) : options_(options) {
        commandline::giveUsualAnswers(app_);
        app_.require_subcommand(1);
        app_.fallthrough(); // The options below may stand behind the command, too.
        addBus();
        addStatus();
        addSettings();
        addGains();
        addRest();
    }

    /// The exit status to end with at once, if any.
    std::optional<int> read(int argc, const char* const* argv) {
        return commandline::read(app_, argc, argv);
    }

private:
    CLI::App* add(CLI::App& to, const char* name, const char* what, Command command) {
        auto* added = to.add_subcommand(name, what);
        added->fallthrough();
        added->final_callback([this, command] { options_.command = command; });
        return added;
    }

    void addBus() {
        auto* user = app_.add_flag_callback(
            "--user", [this] { options_.bus = Bus::session; }, "The server on the session bus");
        auto* system = app_.add_flag_callback(
            "--system", [this] { options_.bus = Bus::system; }, "The server on the system bus");
        user->excludes(system);
        app_.add_option("--wait", options_.wait,
                        "Seconds to go on trying while there is no server (default 0)")
            ->check(CLI::Range(0.0, 3600.0));
    }

    void addStatus() {
        auto* status = add(app_, "status", "What the window shows", Command::status);
        status->add_flag("--json", options_.json, "JSON instead of text");
        status->add_flag("--watch", options_.watch, "Again at every change, until Ctrl-C");
    }

    void addSettings() {
        auto* set = app_.add_subcommand("set", "Write a field, or choose the device");
        set->require_subcommand(1);
        set->fallthrough();
        add(*set, "port", "TCP port, and UDP port of the samples: 1 to 65535", Command::setPort)
            ->add_option("PORT", options_.text)
            ->required()
            ->check(check(portRange, isPort));
        add(*set, "address", "IPv4 address that the samples go to", Command::setAddress)
            ->add_option("ADDRESS", options_.text)
            ->required()
            ->check(check(addressForm, isAddress));
        add(*set, "device", "The receiver: hf or airspy", Command::setDevice)
            ->add_option("DEVICE", options_.text)
            ->required();
    }

    void addGains() {
        auto* command = app_.add_subcommand("gain", "Set a gain of an AirSpy");
        command->require_subcommand(1);
        command->fallthrough();
        for (const gains::Gain& gain : gains::table)
            addGain(*command, gain);
    }

    void addGain(CLI::App& command, const gains::Gain& gain) {
        const std::string range =
            gain.isSwitch() ? "on or off" : "0 to " + std::to_string(gain.highest);
        auto* added = command.add_subcommand(gain.word, range);
        added->fallthrough();
        const auto take = [this, &gain](const std::string& text) {
            options_.command = Command::gain;
            options_.gain = &gain;
            options_.value = valueOf(gain, text).value_or(0);
        };
        added->add_option_function<std::string>("VALUE", take, range)
            ->required()
            ->check(
                check(std::string(gain.word) + " takes " + range, [&gain](const std::string& text) {
                    return valueOf(gain, text).has_value();
                }));
    }

    static std::optional<std::int32_t> valueOf(const gains::Gain& gain, const std::string& text) {
        if (gain.isSwitch()) {
            if (text != "on" && text != "off")
                return std::nullopt;
            return text == "on" ? 1 : 0;
        }
        const auto value = parseInteger(text);
        return value && *value >= 0 && *value <= gain.highest ? value : std::nullopt;
    }

    void addRest() {
        add(app_, "restart", "Press Restart, where that does no harm", Command::restart)
            ->add_flag("--force", options_.force, "Press it all the same");
        add(app_, "quit", "End the server; it stays down", Command::quit);
        add(app_, "idle",
            "Succeed when the server does not listen, and does not come back within six seconds",
            Command::idle);
    }

    Options& options_;
    CLI::App app_{"Everything a Feedline server's window does", "feedlinectl"};
};

} // namespace

ParsedOptions parseOptions(int argc, const char* const* argv) {
    ParsedOptions parsed;
    parsed.exit = Reader(parsed.options).read(argc, argv);
    return parsed;
}

std::optional<std::int32_t> parseInteger(const std::string& text) {
    std::int32_t value = 0;
    const char* const end = text.data() + text.size();
    const auto [rest, error] = std::from_chars(text.data(), end, value);
    return error == std::errc{} && rest == end && !text.empty() ? std::optional(value)
                                                                : std::nullopt;
}

} // namespace feedline::ctl
