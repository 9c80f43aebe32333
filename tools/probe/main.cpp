// SPDX-License-Identifier: MIT
// feedline-probe: see what a client of the server would see.
#include "tools/probe/ExitStatus.h"
#include "tools/probe/Info.h"
#include "tools/probe/Options.h"
#include "tools/probe/Session.h"
#include "tools/probe/output/JsonLines.h"
#include "tools/probe/output/StatusLine.h"
#include "tools/probe/output/TerminalView.h"

#include <csignal>
#include <iostream>
#include <memory>
#include <unistd.h>

namespace {

using namespace feedline::probe;

std::unique_ptr<Presenter> makePresenter(const Options& options) {
    if (options.spectrum)
        return std::make_unique<TerminalView>(std::cout, terminalColours());
    if (options.json)
        return std::make_unique<JsonLines>(std::cout);
    return std::make_unique<StatusLine>(std::cout, isatty(STDOUT_FILENO) != 0);
}

// A reader that goes away, and a file that reaches a limit, are errors to report; the receiver must
// be stopped still.
void ignoreDeadlySignals() {
    std::signal(SIGPIPE, SIG_IGN);
    std::signal(SIGXFSZ, SIG_IGN);
}

ExitStatus execute(const Options& options) {
    if (options.spectrum && isatty(STDOUT_FILENO) == 0)
        throw Failure(ExitStatus::badArguments, "--spectrum needs a terminal");
    if (options.command == Command::info) {
        printInfo(options, std::cout);
        return ExitStatus::success;
    }
    const auto presenter = makePresenter(options);
    return Session(options, *presenter, std::cerr).run();
}

} // namespace

int main(int argc, char** argv) {
    const ParsedOptions parsed = parseOptions(argc, argv);
    if (parsed.exit)
        return *parsed.exit;
    ignoreDeadlySignals();
    const auto giveUp = [](ExitStatus status, const std::exception& failure) {
        std::cerr << "feedline-probe: " << failure.what() << std::endl;
        return static_cast<int>(status);
    };
    try {
        return static_cast<int>(execute(parsed.options));
    } catch (const Failure& failure) {
        return giveUp(failure.status, failure);
    } catch (const feedline::client::Failure& failure) {
        return giveUp(statusFor(failure.trouble), failure);
    }
}
