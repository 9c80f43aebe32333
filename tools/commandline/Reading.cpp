// SPDX-License-Identifier: MIT
#include "tools/commandline/Reading.h"

#include "tools/commandline/Notation.h"

#include <cstdint>
#include <iostream>

namespace feedline::commandline {

// The check's result is the error, empty when all is well.
CLI::Validator check(const char* what, bool (*good)(const std::string&)) {
    return {[what, good](const std::string& text) {
                return good(text) ? std::string{} : "'" + text + "' is not " + what;
            },
            ""};
}

CLI::Validator isServer() {
    return check("HOST[:PORT]", [](const std::string& text) {
        std::string host;
        std::uint16_t port = 0;
        return parseServer(text, host, port);
    });
}

CLI::Validator isFrequency() {
    return check("a frequency from 0 to 4294967295 Hz",
                 [](const std::string& text) { return parseHertz(text).has_value(); });
}

void giveUsualAnswers(CLI::App& app) {
    app.set_version_flag("--version", app.get_name() + " " FEEDLINE_VERSION);
    app.failure_message([](const CLI::App* failing, const CLI::Error& error) {
        return failing->get_name() + ": " + error.what() + "\n";
    });
}

std::optional<int> read(CLI::App& app, int argc, const char* const* argv) {
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        return app.exit(error, std::cout, std::cerr) == 0 ? 0 : badArguments;
    }
    return std::nullopt;
}

} // namespace feedline::commandline
