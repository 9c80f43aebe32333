// SPDX-License-Identifier: MIT
// feedline-hub: one receiver for any number of programs.

#include "tools/client/Failure.h"
#include "tools/hub/config/CommandLine.h"
#include "tools/hub/log/Log.h"
#include "tools/hub/native/Native.h"
#include "tools/hub/output/Output.h"
#include "tools/hub/rtltcp/RtlTcp.h"
#include "tools/hub/status/Status.h"
#include "tools/hub/status/StatusQuestion.h"
#include "tools/hub/upstream/Upstream.h"
#include "tools/hub/web/server/WebOutput.h"
#include "tools/hub/zeromq/ZeroMq.h"

#include <csignal>
#include <ctime>
#include <iostream>
#include <memory>
#include <string>
#include <vector>

namespace {

using namespace feedline::hub;

constexpr int failed = 1;

/// Each output's room gives one factory.
const std::vector<OutputFactory> factories{openNative, openRtlTcp, openZeroMq, openWeb};

using Outputs = std::vector<std::unique_ptr<Output>>;

Outputs openOutputs(const Configuration& configuration, Receiver& receiver) {
    Outputs outputs;
    for (const OutputFactory open : factories)
        if (auto output = open(configuration, receiver))
            outputs.push_back(std::move(output));
    return outputs;
}

void sayWhatIsOpen(const Configuration& configuration, const Outputs& outputs) {
    std::string all;
    for (const auto& output : outputs) {
        log(output->describe());
        all += (all.empty() ? "" : ", ") + output->describe();
    }
    if (!isLoopback(configuration.listen) && !outputs.empty())
        log("open to every machine that can reach " + configuration.listen +
            ", without a password: " + all);
}

// Before the first thread, so that every thread leaves these signals to this one.
sigset_t blockEndSignals() {
    std::signal(SIGPIPE, SIG_IGN);
    sigset_t ends{};
    sigemptyset(&ends);
    sigaddset(&ends, SIGTERM);
    sigaddset(&ends, SIGINT);
    pthread_sigmask(SIG_BLOCK, &ends, nullptr);
    return ends;
}

void runUntilEnd(const sigset_t& ends, const Configuration& configuration,
                 const Receiver& receiver) {
    constexpr timespec second{1, 0};
    while (sigtimedwait(&ends, nullptr, &second) < 0)
        if (configuration.json)
            std::cout << statusJson(receiver) << std::endl;
}

int runHub(const Configuration& configuration) {
    const sigset_t ends = blockEndSignals();
    Band band;
    Receiver receiver(band, configuration);
    Outputs outputs = openOutputs(configuration, receiver);
    const Upstream upstream(band, receiver, configuration);
    sayWhatIsOpen(configuration, outputs);
    runUntilEnd(ends, configuration, receiver);
    outputs.clear();
    return 0;
}

int printStatus(const Configuration& configuration) {
    const std::string json = askForStatus(configuration.listen, configuration.web);
    std::cout << (configuration.json ? json + "\n" : statusText(json)) << std::flush;
    return 0;
}

} // namespace

int main(int argc, char** argv) {
    const ParsedCommandLine parsed = parseCommandLine(argc, argv, usualConfigurationFile());
    if (parsed.exit)
        return *parsed.exit;
    try {
        return parsed.configuration.status ? printStatus(parsed.configuration)
                                           : runHub(parsed.configuration);
    } catch (const std::exception& failure) {
        log(failure.what());
        return failed;
    }
}
