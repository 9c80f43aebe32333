// SPDX-License-Identifier: MIT
#include "tools/hub/config/CommandLine.h"

#include <CLI/CLI.hpp>

#include <arpa/inet.h>
#include <array>
#include <charconv>
#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <iostream>

namespace feedline::hub {

namespace {

constexpr double lowestReceivedRate = 8e3;
constexpr double highestReceivedRate = 20e6;

// What comes as text and is looked at once everything has been read.
struct Texts {
    std::string server = "127.0.0.1:50000";
    std::string tuning = "first";
    std::string rate;
    std::string frequency;
};

bool parseServer(const std::string& text, std::string& host, std::uint16_t& port) {
    const auto colon = text.find(':');
    host = text.substr(0, colon);
    if (colon == std::string::npos)
        return !host.empty();
    const char* const end = text.data() + text.size();
    const auto [rest, error] = std::from_chars(text.data() + colon + 1, end, port);
    return !host.empty() && error == std::errc{} && rest == end && port != 0;
}

bool isReceivedRate(const std::string& text) {
    const auto hertz = parseHertz(text);
    return hertz && *hertz >= lowestReceivedRate && *hertz <= highestReceivedRate;
}

// A checked text argument: the check's result is the error, empty when all is well.
CLI::Validator check(const char* what, bool (*good)(const std::string&)) {
    return {[what, good](const std::string& text) {
                return good(text) ? std::string{} : "'" + text + "' is not " + what;
            },
            ""};
}

bool isAddress(const std::string& text) {
    std::array<unsigned char, sizeof(in6_addr)> address{};
    return inet_pton(AF_INET, text.c_str(), address.data()) == 1 ||
           inet_pton(AF_INET6, text.c_str(), address.data()) == 1;
}

bool isServer(const std::string& text) {
    std::string host;
    std::uint16_t port = 0;
    return parseServer(text, host, port);
}

void addServer(CLI::App& app, Configuration& configuration, Texts& texts) {
    app.add_option("--server", texts.server, "The server: HOST[:PORT] (default 127.0.0.1:50000)")
        ->check(check("HOST[:PORT]", isServer));
    app.add_option("--rate", texts.rate,
                   "Sample rate of the server in Hz, in place of the measured one; 768k works too")
        ->check(check("a rate from 8000 to 20000000 Hz", isReceivedRate));
    app.add_option("--frequency", texts.frequency,
                   "Centre frequency in Hz to begin with; 7100k and 7.1M work too")
        ->check(check("a frequency from 0 to 4294967295 Hz",
                      [](const std::string& text) { return parseHertz(text).has_value(); }));
    app.add_option("--linger", configuration.linger,
                   "Seconds that the receiver runs on without listeners (default 10)")
        ->check(CLI::Range(0.0, 1e6));
    app.add_option("--on-silence", configuration.onSilence,
                   "Command to run when the stream has stopped and stop and run do not bring it "
                   "back");
}

void addOutputs(CLI::App& app, Configuration& configuration) {
    app.add_option("--listen", configuration.listen,
                   "IPv4 address of this machine to listen on (default 127.0.0.1)")
        ->check(CLI::ValidIPV4);
    app.add_option("--native", configuration.native,
                   "Port for programs of the server's own protocol (default 50001, 0: off)");
    app.add_option("--rtl-tcp", configuration.rtlTcp,
                   "Port for programs of rtl_tcp (default 1234, 0: off)");
    app.add_option("--zmq", configuration.zmq,
                   "First of three ports for ZeroMQ: fc32, sc16, state (default 50010, 0: off)")
        ->check(CLI::Range(0, 65533));
    app.add_option("--web", configuration.web,
                   "Port for browsers and for status (default 50080, 0: off)");
}

void addWeb(CLI::App& app, Configuration& configuration) {
    app.add_option("--web-token", configuration.webToken,
                   "Lets pages move the receiver; better in the configuration file, since command "
                   "lines are public (default: none, and pages on this machine may)");
    app.add_option("--web-host", configuration.webHosts,
                   "Name that the page is asked for, beside this machine's own; may come again");
    app.add_option("--web-proxy", configuration.webProxies,
                   "Address of a proxy whose X-Forwarded-For counts; may come again")
        ->check(check("an address", isAddress));
}

void addRules(CLI::App& app, Configuration& configuration, Texts& texts) {
    app.add_option("--tuning", texts.tuning,
                   "Who may move the receiver: first, any or locked (default first)")
        ->check(CLI::IsMember({"first", "any", "locked"}));
    app.add_option("--listeners", configuration.listeners,
                   "Connections at most, in all (default 250)")
        ->check(CLI::Range(1, 10000));
    app.add_option("--per-address", configuration.perAddress,
                   "Connections at most, from one address (default 50)")
        ->check(CLI::Range(1, 10000));
}

void addFace(CLI::App& app, Configuration& configuration, const std::string& usualFile) {
    app.set_config("--config", usualFile,
                   "Configuration file: option names without dashes = value");
    app.add_flag("--json", configuration.json, "JSON lines on standard output")
        ->configurable(false);
    app.add_flag("--status", configuration.status, "Print what the running hub does, and end")
        ->configurable(false);
    app.set_version_flag("--version", "feedline-hub " FEEDLINE_VERSION);
    app.allow_config_extras(CLI::config_extras_mode::error);
    app.failure_message([](const CLI::App*, const CLI::Error& error) {
        return "feedline-hub: " + std::string(error.what()) + "\n";
    });
}

void takeTexts(const Texts& texts, Configuration& configuration) {
    parseServer(texts.server, configuration.serverHost, configuration.serverPort);
    configuration.tuning = texts.tuning == "first" ? Tuning::first
                           : texts.tuning == "any" ? Tuning::any
                                                   : Tuning::locked;
    if (!texts.rate.empty())
        configuration.rate = parseHertz(texts.rate);
    if (!texts.frequency.empty())
        configuration.frequency = parseHertz(texts.frequency);
}

} // namespace

ParsedCommandLine parseCommandLine(int argc, const char* const* argv,
                                   const std::string& usualFile) {
    ParsedCommandLine parsed;
    Texts texts;
    CLI::App app("One receiver for any number of programs", "feedline-hub");
    app.option_defaults()->multi_option_policy(CLI::MultiOptionPolicy::TakeLast);
    addServer(app, parsed.configuration, texts);
    addOutputs(app, parsed.configuration);
    addWeb(app, parsed.configuration);
    addRules(app, parsed.configuration, texts);
    addFace(app, parsed.configuration, usualFile);
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        const int status = app.exit(error, std::cout, std::cerr);
        parsed.exit = status == 0 ? 0 : badArguments;
        return parsed;
    }
    takeTexts(texts, parsed.configuration);
    return parsed;
}

std::string usualConfigurationFile() {
    const char* folder = std::getenv("XDG_CONFIG_HOME");
    const char* home = std::getenv("HOME");
    if (folder != nullptr && *folder != '\0')
        return std::filesystem::path(folder) / "feedline" / "hub.conf";
    if (home != nullptr && *home != '\0')
        return std::filesystem::path(home) / ".config" / "feedline" / "hub.conf";
    return {};
}

std::optional<std::uint32_t> parseHertz(const std::string& text) {
    double value = 0;
    const char* const end = text.data() + text.size();
    const auto [rest, error] = std::from_chars(text.data(), end, value);
    if (error != std::errc{})
        return std::nullopt;
    std::string unit(rest, end);
    if (unit.ends_with("Hz"))
        unit.resize(unit.size() - 2);
    constexpr std::array<std::pair<const char*, double>, 5> units{
        {{"", 1}, {"k", 1e3}, {"K", 1e3}, {"M", 1e6}, {"G", 1e9}}};
    for (const auto& [name, factor] : units) {
        const double hertz = std::round(value * factor);
        if (unit == name && hertz >= 0 && hertz <= 4294967295.0)
            return static_cast<std::uint32_t>(hertz);
    }
    return std::nullopt;
}

bool isLoopback(const std::string& address) {
    return address.starts_with("127.");
}

} // namespace feedline::hub
