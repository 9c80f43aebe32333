// The figures as JSON, one object a line, for scripts.
#pragma once

#include "probe/Figures.h"

#include <nlohmann/json.hpp>

#include <ostream>

namespace feedline::probe {

/// Numbers that are unknown or infinite are null. Key names carry their units; the man page lists
/// them.
nlohmann::ordered_json toJson(const char* type, const StreamFacts& facts, const Figures& figures);

class JsonLines : public Presenter {
public:
    explicit JsonLines(std::ostream& out) : m_out(out) {}
    void second(const StreamFacts& facts, const Figures& figures) override;
    void summary(const StreamFacts& facts, const Figures& figures) override;
    bool works() const override { return m_out.good(); }

private:
    std::ostream& m_out;
};

} // namespace feedline::probe
