// SPDX-License-Identifier: MIT
#include "tools/hub/config/CommandLine.h"

#include "tools/commandline/Notation.h"
#include "tools/commandline/Reading.h"

#include <arpa/inet.h>
#include <array>
#include <cstdlib>
#include <filesystem>
#include <istream>
#include <memory>
#include <vector>

namespace feedline::hub {

namespace {

using commandline::check;
using commandline::parseHertz;
using commandline::parseServer;

constexpr double lowestReceivedRate = 8e3;
constexpr double highestReceivedRate = 20e6;

// What comes as text and is looked at once everything has been read.
struct Texts {
    std::string server = "127.0.0.1:50000";
    std::string tuning = "first";
    std::string rate;
    std::string frequency;
};

bool isReceivedRate(const std::string& text) {
    const auto hertz = parseHertz(text);
    return hertz && *hertz >= lowestReceivedRate && *hertz <= highestReceivedRate;
}

bool isAddress(const std::string& text) {
    std::array<unsigned char, sizeof(in6_addr)> address{};
    return inet_pton(AF_INET, text.c_str(), address.data()) == 1 ||
           inet_pton(AF_INET6, text.c_str(), address.data()) == 1;
}

void addServer(CLI::App& app, Configuration& configuration, Texts& texts) {
    app.add_option("--server", texts.server, "The server: HOST[:PORT] (default 127.0.0.1:50000)")
        ->check(commandline::isServer());
    app.add_option("--rate", texts.rate,
                   "Sample rate of the server in Hz, in place of the measured one; 768k works too")
        ->check(check("a rate from 8000 to 20000000 Hz", isReceivedRate));
    app.add_option("--frequency", texts.frequency,
                   "Centre frequency in Hz to begin with; 7100k and 7.1M work too")
        ->check(commandline::isFrequency());
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

/// A list that is empty is a line without a value; the parser hands it on as one, and reads it
/// later.
class ConfigurationFile : public CLI::ConfigTOML {
public:
    std::vector<CLI::ConfigItem> from_config(std::istream& input) const override {
        auto items = CLI::ConfigTOML::from_config(input);
        for (const CLI::ConfigItem& item : items)
            if (item.inputs.empty() && item.name != "++" && item.name != "--") // Sections' ends.
                throw CLI::ConfigError(item.name + " has no value");
        return items;
    }
};

void addFace(CLI::App& app, Configuration& configuration, const std::string& usualFile) {
    app.config_formatter(std::make_shared<ConfigurationFile>());
    app.set_config("--config", usualFile,
                   "Configuration file: option names without dashes = value");
    app.add_flag("--json", configuration.json, "JSON lines on standard output")
        ->configurable(false);
    app.add_flag("--status", configuration.status, "Print what the running hub does, and end")
        ->configurable(false);
    app.allow_config_extras(CLI::config_extras_mode::error);
    commandline::giveUsualAnswers(app);
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
    parsed.exit = commandline::read(app, argc, argv);
    if (!parsed.exit)
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

bool isLoopback(const std::string& address) {
    return address.starts_with("127.");
}

} // namespace feedline::hub
