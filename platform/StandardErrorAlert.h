// SPDX-License-Identifier: MIT
// The alert of a program without a window.
#pragma once

#include "platform/Alert.h"

namespace feedline {

/// Writes "ALERT: <message>", with " - <information>" when there is one, as one line to standard
/// error and returns at once.
class StandardErrorAlert final : public Alert {
public:
    void runModal(const std::string& message, const std::string& information) override;
};

} // namespace feedline
