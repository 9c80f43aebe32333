// feedline-probe: see what a client of the server would see.
#include "probe/ExitStatus.h"
#include "probe/Info.h"
#include "probe/JsonLines.h"
#include "probe/Options.h"
#include "probe/Session.h"
#include "probe/StatusLine.h"

#include <iostream>
#include <memory>
#include <unistd.h>

namespace {

using namespace feedline::probe;

std::unique_ptr<Presenter> makePresenter(const Options& options) {
    if (options.json)
        return std::make_unique<JsonLines>(std::cout);
    return std::make_unique<StatusLine>(std::cout, isatty(STDOUT_FILENO) != 0);
}

ExitStatus execute(const Options& options) {
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
    try {
        return static_cast<int>(execute(parsed.options));
    } catch (const Failure& failure) {
        std::cerr << "feedline-probe: " << failure.what() << std::endl;
        return static_cast<int>(failure.status);
    }
}
