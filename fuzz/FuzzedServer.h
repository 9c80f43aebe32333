// SPDX-License-Identifier: MIT
// A controller for one round of a fuzz target, with everything around it in memory: the kit's
// controls and platform, its record of lines, and its stand-ins of the vendor libraries.
#pragma once

#include "MemoryControls.h"
#include "MemoryPlatform.h"
#include "RecordingLog.h"
#include "ScriptedVendors.h"
#include "app/AppDelegate.h"
#include "app/RunTimeState.h"

namespace feedline::fuzz {

/// A new controller over state and records as a round finds them. The sample ring stays from round
/// to round: making it anew would be all that is measured.
struct FuzzedServer : test::MemoryControls, test::MemoryPlatform {
    /// On the platform in memory, with what the target has of its own.
    explicit FuzzedServer(SettingsStore& store) : FuzzedServer(&store, nullptr) {}
    explicit FuzzedServer(Alert& ownAlert) : FuzzedServer(nullptr, &ownAlert) {}
    FuzzedServer(const FuzzedServer&) = delete;
    FuzzedServer& operator=(const FuzzedServer&) = delete;

    /// Leaves no memory behind: a round that did would be run again to look for a leak.
    ~FuzzedServer() {
        test::resetVendors();
        test::clearRecordedLines();
    }

    AppDelegate delegate;

private:
    FuzzedServer(SettingsStore* store, Alert* ownAlert)
        : delegate(Platform{store != nullptr ? *store : settings, mainThread,
                            ownAlert != nullptr ? *ownAlert : alert, activities}) {
        fillOutlets(delegate);
        serverPortNumber = 50000;
        udpAddress.clear();
        deviceType = deviceAirspyHf;
        serverActive = true;
        hfDevice = nullptr;
        airspyDevice = nullptr;
        isStreaming = 0;
        centerFrequency = 0;
    }
};

} // namespace feedline::fuzz
