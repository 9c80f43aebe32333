// SPDX-License-Identifier: MIT
#include "tools/probe/Info.h"

#include "tools/client/ControlClient.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <iomanip>

namespace feedline::probe {

namespace {

struct Facts {
    std::string target;
    std::string serial;
    unsigned item0004 = 0;
    unsigned status = 0;
    double roundTrip = 0; // ms, the shortest of all questions
};

Facts ask(const Options& options) {
    client::ControlClient client(endpointOf(options), timeLimitsOf(options));
    Facts facts;
    facts.target = client.targetName();
    facts.roundTrip = client.roundTrip().count() * 1e3;
    const auto note = [&] {
        facts.roundTrip = std::min(facts.roundTrip, client.roundTrip().count() * 1e3);
    };
    facts.serial = client.serialNumber();
    note();
    facts.item0004 = client.item0004();
    note();
    facts.status = client.status();
    note();
    return facts;
}

std::string statusText(unsigned status) {
    const char* meaning = status == 12 ? " (running)" : status == 11 ? " (idle)" : " (unknown)";
    return std::to_string(status) + meaning;
}

} // namespace

void printInfo(const Options& options, std::ostream& out) {
    const Facts facts = ask(options);
    if (options.json) {
        out << nlohmann::ordered_json{{"type", "info"},         {"target", facts.target},
                                      {"serial", facts.serial}, {"item_0x0004", facts.item0004},
                                      {"status", facts.status}, {"round_trip_ms", facts.roundTrip}}
                   .dump()
            << std::endl;
        return;
    }
    out << "target name    " << facts.target << '\n'
        << "serial number  " << facts.serial << '\n'
        << "item 0x0004    " << facts.item0004 << '\n'
        << "status         " << statusText(facts.status) << '\n'
        << "round trip     " << std::fixed << std::setprecision(3) << facts.roundTrip << " ms"
        << std::endl;
}

} // namespace feedline::probe
