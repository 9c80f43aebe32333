// SPDX-License-Identifier: MIT
#include "tools/probe/Options.h"

#include "tools/commandline/Notation.h"
#include "tools/commandline/Reading.h"
#include "tools/probe/recording/Recording.h"

namespace feedline::probe {

namespace {

using commandline::check;
using commandline::parseHertz;
using commandline::parseServer;

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
        ->check(commandline::isServer());
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
        ->check(commandline::isFrequency());
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
        options.tune = parseHertz(texts.tune);
}

} // namespace

ParsedOptions parseOptions(int argc, const char* const* argv) {
    ParsedOptions parsed;
    Options& options = parsed.options;
    Texts texts;
    CLI::App app("See what a client of a Feedline server would see", "feedline-probe");
    app.require_subcommand(1);
    commandline::giveUsualAnswers(app);
    auto* info = app.add_subcommand("info", "Ask the server who it is");
    auto* stream = app.add_subcommand("stream", "Run the receiver and watch its datagrams");
    addCommon(*info, options, texts);
    addCommon(*stream, options, texts);
    addStream(*stream, options, texts);
    addOutputs(*stream, options);
    parsed.exit = commandline::read(app, argc, argv);
    if (parsed.exit)
        return parsed;
    options.command = app.got_subcommand(stream) ? Command::stream : Command::info;
    takeTexts(texts, options);
    return parsed;
}

} // namespace feedline::probe
