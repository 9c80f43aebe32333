// feedline-probe: see what a client of the server would see.
#include "probe/ExitStatus.h"
#include "probe/Info.h"
#include "probe/JsonLines.h"
#include "probe/Options.h"
#include "probe/Session.h"
#include "probe/StatusLine.h"
#include "probe/TerminalView.h"

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
        throw Failure(ExitStatus::BadArguments, "--spectrum needs a terminal");
    if (options.command == Command::Info) {
        printInfo(options, std::cout);
        return ExitStatus::Success;
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
    try {
        return static_cast<int>(execute(parsed.options));
    } catch (const Failure& failure) {
        std::cerr << "feedline-probe: " << failure.what() << std::endl;
        return static_cast<int>(failure.status);
    }
}
