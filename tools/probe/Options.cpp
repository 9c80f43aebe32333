// SPDX-License-Identifier: MIT
#include "tools/probe/Options.h"

#include "tools/probe/ExitStatus.h"
#include "tools/probe/recording/Recording.h"

#include <CLI/CLI.hpp>

#include <array>
#include <charconv>
#include <cmath>
#include <iostream>

namespace feedline::probe {

namespace {

// A checked text argument: the check's result is the error, empty when all is well.
CLI::Validator check(const char* what, bool (*good)(const std::string&)) {
    return {[what, good](const std::string& text) {
                return good(text) ? std::string{} : "'" + text + "' is not " + what;
            },
            ""};
}

bool isServer(const std::string& text) {
    std::string host;
    std::uint16_t port = 0;
    return parseServer(text, host, port);
}

bool isFrequency(const std::string& text) {
    return parseFrequency(text).has_value();
}

bool isRecording(const std::string& text) {
    return Recording::knows(text);
}

bool isPlot(const std::string& text) {
    return text.size() > 4 && text.ends_with(".png");
}

struct Texts {
    std::string server;
    std::string tune;
};

void addCommon(CLI::App& command, Options& options, Texts& texts) {
    command.add_option("SERVER", texts.server, "The server: HOST[:PORT], port 50000 by default")
        ->required()
        ->check(check("HOST[:PORT]", isServer));
    command.add_option("--timeout", options.timeout, "Seconds to wait for an answer (default 3)")
        ->check(CLI::Range(0.001, 3600.0));
    command
        .add_option("--wait", options.wait,
                    "Seconds to go on trying while the connection is refused (default 0)")
        ->check(CLI::Range(0.0, 3600.0));
    command.add_flag("--json", options.json, "JSON lines instead of text");
}

void addStream(CLI::App& command, Options& options, Texts& texts) {
    command.add_option("--tune", texts.tune, "Centre frequency in Hz; 7100k and 7.1M work too")
        ->check(check("a frequency from 0 to 4294967295 Hz", isFrequency));
    command.add_option("--seconds", options.seconds, "Length of the run (default: until Ctrl-C)")
        ->check(CLI::Range(0.001, 1e9));
    command
        .add_option("--bind", options.bind,
                    "Local address of connection and datagrams (default any)")
        ->check(CLI::ValidIPV4);
    command
        .add_option("--rate", options.rate,
                    "Sample rate in Hz for axes and recordings, in place "
                    "of the measured one")
        ->check(CLI::Range(1.0, 1e9));
}

void addOutputs(CLI::App& command, Options& options) {
    command.add_option("--record", options.recording, "Record to FILE.wav or FILE.sigmf")
        ->check(check("a name ending in .wav, .sigmf, .sigmf-data or .sigmf-meta", isRecording));
    command.add_option("--plot", options.plot, "Averaged spectrum and waterfall as FILE.png")
        ->check(check("a name ending in .png", isPlot));
    command.add_flag("--force", options.force, "Overwrite existing files");
    auto* spectrum = command.add_flag("--spectrum", options.spectrum,
                                      "Live spectrum and waterfall in the terminal");
    spectrum->excludes("--json");
}

void takeTexts(const Texts& texts, Options& options) {
    parseServer(texts.server, options.host, options.port);
    if (!texts.tune.empty())
        options.tune = parseFrequency(texts.tune);
}

} // namespace

ParsedOptions parseOptions(int argc, const char* const* argv) {
    ParsedOptions parsed;
    Options& options = parsed.options;
    Texts texts;
    CLI::App app("See what a client of a Feedline server would see", "feedline-probe");
    app.set_version_flag("--version", "feedline-probe " FEEDLINE_VERSION);
    app.require_subcommand(1);
    app.failure_message([](const CLI::App*, const CLI::Error& error) {
        return "feedline-probe: " + std::string(error.what()) + "\n";
    });
    auto* info = app.add_subcommand("info", "Ask the server who it is");
    auto* stream = app.add_subcommand("stream", "Run the receiver and watch its datagrams");
    addCommon(*info, options, texts);
    addCommon(*stream, options, texts);
    addStream(*stream, options, texts);
    addOutputs(*stream, options);
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        const int status = app.exit(error, std::cout, std::cerr);
        parsed.exit = status == 0 ? 0 : static_cast<int>(ExitStatus::badArguments);
        return parsed;
    }
    options.command = app.got_subcommand(stream) ? Command::stream : Command::info;
    takeTexts(texts, options);
    return parsed;
}

std::optional<std::uint32_t> parseFrequency(const std::string& text) {
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

bool parseServer(const std::string& text, std::string& host, std::uint16_t& port) {
    const auto colon = text.find(':');
    host = text.substr(0, colon);
    if (colon == std::string::npos)
        return !host.empty();
    const char* const end = text.data() + text.size();
    const auto [rest, error] = std::from_chars(text.data() + colon + 1, end, port);
    return !host.empty() && error == std::errc{} && rest == end && port != 0;
}

} // namespace feedline::probe
