// SPDX-License-Identifier: MIT
#include "tools/probe/recording/Recording.h"

#include "tools/probe/ExitStatus.h"
#include "tools/probe/recording/SigmfRecording.h"
#include "tools/probe/recording/WavRecording.h"

#include <array>

namespace feedline::probe {

namespace {

constexpr std::array<const char*, 3> sigmfEndings{".sigmf", ".sigmf-data", ".sigmf-meta"};

// The name without its ending; empty when it has another one.
std::string stem(const std::string& name, const std::string& ending) {
    if (!name.ends_with(ending))
        return {};
    return name.substr(0, name.size() - ending.size());
}

std::string sigmfStem(const std::string& name) {
    for (const char* ending : sigmfEndings)
        if (auto found = stem(name, ending); !found.empty())
            return found;
    return {};
}

} // namespace

bool Recording::knows(const std::string& name) {
    return !stem(name, ".wav").empty() || !sigmfStem(name).empty();
}

std::unique_ptr<Recording> Recording::create(const std::string& name, bool force) {
    if (!stem(name, ".wav").empty())
        return std::make_unique<WavRecording>(name, force);
    return std::make_unique<SigmfRecording>(sigmfStem(name), force);
}

} // namespace feedline::probe
