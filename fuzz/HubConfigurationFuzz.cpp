// SPDX-License-Identifier: MIT
// Longest input: 2048 bytes: some dozens of lines.
//
// Reaches the reading of the hub's configuration file: the library's parser, every option's check
// and the texts that are taken apart afterwards. Left out: the command line, which goes through the
// same checks, and comes from the person who starts the program.
//
// Whatever is in the file, the hub either ends with the status for a bad one, having said so in one
// line, or has a configuration that keeps its limits.

#include "Require.h"
#include "tools/hub/config/CommandLine.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <fcntl.h>
#include <iostream>
#include <sstream>
#include <string>
#include <sys/mman.h>
#include <unistd.h>

namespace {

using namespace feedline::hub;
using feedline::fuzz::require;

// In memory, under a name that the parser can open.
class File {
public:
    File(const std::uint8_t* data, std::size_t size) : descriptor_(memfd_create("hub.conf", 0)) {
        require(write(descriptor_, data, size) == static_cast<ssize_t>(size), "a file");
    }
    File(const File&) = delete;
    File& operator=(const File&) = delete;
    ~File() { close(descriptor_); }
    std::string name() const { return "/proc/self/fd/" + std::to_string(descriptor_); }

private:
    int descriptor_;
};

void check(const Configuration& configuration) {
    require(!configuration.serverHost.empty() && configuration.serverPort != 0,
            "there is a server");
    require(configuration.zmq <= 65533, "three ports for ZeroMQ");
    require(configuration.linger >= 0 && configuration.linger <= 1e6, "linger");
    require(configuration.listeners >= 1 && configuration.perAddress >= 1, "room for a listener");
    require(!configuration.rate || (*configuration.rate >= 8000 && *configuration.rate <= 20000000),
            "rate");
    require(!configuration.json && !configuration.status,
            "a file has no words of the command line");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const File file(data, size);
    const std::string name = file.name();
    const std::array<const char*, 3> arguments{"feedline-hub", "--config", name.c_str()};
    std::ostringstream said;
    std::streambuf* const before = std::cerr.rdbuf(said.rdbuf());
    const ParsedCommandLine parsed =
        parseCommandLine(static_cast<int>(arguments.size()), arguments.data());
    std::cerr.rdbuf(before);
    if (parsed.exit)
        require(*parsed.exit == 2 && said.str().starts_with("feedline-hub: "),
                "a bad file is refused in a line");
    else
        check(parsed.configuration);
    return 0;
}
