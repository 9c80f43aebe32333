// SPDX-License-Identifier: MIT
// A controller over scripted receivers, whose calls and log lines come in one sequence.
#pragma once

#include "MemoryServer.h"
#include "RecordingLog.h"
#include "ScriptedVendors.h"
#include "app/RunTimeState.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace feedline::test {

/// Every call of a vendor's function is noted between the log lines.
class DeviceTest : public ::testing::Test {
protected:
    DeviceTest() {
        resetVendors();
        vendors().onCall = [](const std::string& call) {
            note(call);
        };
    }

    using Lines = std::vector<Line>;

    static Lines joined(Lines first, const Lines& second) {
        first.insert(first.end(), second.begin(), second.end());
        return first;
    }

    Server server;
    AppDelegate& delegate = server.delegate;
};

} // namespace feedline::test
