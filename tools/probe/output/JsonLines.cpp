// SPDX-License-Identifier: MIT
#include "tools/probe/output/JsonLines.h"

#include <cmath>

namespace feedline::probe {

namespace {

using Json = nlohmann::ordered_json;

Json known(double value) {
    return value > 0 ? Json(value) : Json(nullptr);
}

Json finite(double value) {
    return std::isfinite(value) ? Json(value) : Json(nullptr);
}

Json channel(const ChannelLevel& level) {
    return {{"level_dbfs", finite(level.dBFS)}, {"dc", level.dc}, {"clipped", level.clipped}};
}

Json carrierJson(const StreamFacts& facts, const std::optional<Carrier>& carrier) {
    if (!carrier)
        return nullptr;
    Json json{{"offset_hz", carrier->offset}, {"level_dbfs", carrier->dBFS}};
    json["frequency_hz"] = facts.frequency ? Json(*facts.frequency + carrier->offset) : Json();
    return json;
}

Json recordingJson(const StreamFacts& facts, const RecordingOutcome& outcome) {
    return {{"file", facts.recording},
            {"pairs", outcome.pairs},
            {"lost_pairs", outcome.lostPairs},
            {"too_slow_pairs", outcome.slowPairs},
            {"failure", outcome.failure ? Json(*outcome.failure) : Json()}};
}

} // namespace

Json toJson(const char* type, const StreamFacts& facts, const Figures& figures) {
    const client::ReceptionFigures& reception = figures.reception;
    Json json{
        {"type", type},
        {"target", facts.target},
        {"elapsed_s", figures.elapsed},
        {"sample_rate_hz", known(figures.sampleRate)},
        {"axis_rate_hz", known(figures.axisRate)},
        {"frequency_hz", facts.frequency ? Json(*facts.frequency) : Json()},
        {"datagrams", reception.counts.received},
        {"lost", reception.counts.lost},
        {"reordered", reception.counts.reordered},
        {"duplicated", reception.counts.duplicated},
        {"restarts", reception.counts.restarts},
        {"malformed", reception.malformed},
        {"buffer_overflowed", reception.overflowed},
        {"receive_buffer_bytes", facts.grantedBuffer},
        {"i", channel(figures.levels[0])},
        {"q", channel(figures.levels[1])},
        {"carrier", carrierJson(facts, figures.carrier)},
        {"not_analysed", figures.unanalysed},
    };
    if (figures.recording)
        json["recording"] = recordingJson(facts, *figures.recording);
    return json;
}

void JsonLines::second(const StreamFacts& facts, const Figures& figures) {
    out_ << toJson("second", facts, figures).dump() << std::endl;
}

void JsonLines::summary(const StreamFacts& facts, const Figures& figures) {
    out_ << toJson("summary", facts, figures).dump() << std::endl;
}

} // namespace feedline::probe
