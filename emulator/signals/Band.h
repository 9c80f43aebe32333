// SPDX-License-Identifier: MIT
// A scene as it arrives through a receiver's view.
#pragma once

#include "emulator/signals/Content.h"
#include "emulator/signals/Programme.h"
#include "emulator/signals/Scene.h"

#include <memory>
#include <mutex>
#include <vector>

namespace feedline::emulator {

class Band final : public Content {
public:
    explicit Band(const Scene& scene);
    ~Band() override;

    void prepare(const View& view) override;
    void generate(const View& view, std::uint64_t position, std::size_t count,
                  Block& block) override;
    double power(const View& view) const override;

private:
    struct Station;
    struct Voice;

    void tune(const View& view);
    Voice voiceOf(Station& station, const View& view, double amplitude) const;
    void addNoise(std::uint64_t position, std::size_t count, Block& block) const;
    void addVoice(const Voice& voice, std::uint64_t position, std::size_t count,
                  Block& block) const;

    std::vector<std::unique_ptr<Station>> stations_;
    double noiseDensity_; ///< power per Hz
    View current_;
    std::vector<Voice> voices_; ///< the stations in the current view
};

} // namespace feedline::emulator
