// SPDX-License-Identifier: MIT
// feedlinectl: everything a server's window does, from the command line.
#include "tools/ctl/Commands.h"

#include <iostream>

int main(int argc, char** argv) {
    using namespace feedline::ctl;
    const ParsedOptions parsed = parseOptions(argc, argv);
    if (parsed.exit)
        return *parsed.exit;
    try {
        return static_cast<int>(execute(parsed.options, std::cout));
    } catch (const Failure& failure) {
        std::cerr << "feedlinectl: " << failure.what() << std::endl;
        return static_cast<int>(failure.status);
    }
}
