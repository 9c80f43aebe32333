// SPDX-License-Identifier: MIT
// Everything the controller needs of the machine it runs on, as one bundle that a front end fills.
#pragma once

#include "platform/Activity.h"
#include "platform/Alert.h"
#include "platform/MainThread.h"
#include "platform/SettingsStore.h"

namespace feedline {

struct Platform {
    SettingsStore& settings;
    MainThread& mainThread;
    Alert& alert;
    ActivitySource& activities;
};

} // namespace feedline
