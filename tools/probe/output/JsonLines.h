// SPDX-License-Identifier: MIT
// The figures as JSON, one object a line, for scripts.
#pragma once

#include "tools/probe/output/Figures.h"

#include <nlohmann/json.hpp>

#include <ostream>

namespace feedline::probe {

/// Numbers that are unknown or infinite are null. Key names carry their units; the man page lists
/// them.
nlohmann::ordered_json toJson(const char* type, const StreamFacts& facts, const Figures& figures);

class JsonLines : public Presenter {
public:
    explicit JsonLines(std::ostream& out) : out_(out) {}
    void second(const StreamFacts& facts, const Figures& figures) override;
    void summary(const StreamFacts& facts, const Figures& figures) override;
    bool works() const override { return out_.good(); }

private:
    std::ostream& out_;
};

} // namespace feedline::probe
