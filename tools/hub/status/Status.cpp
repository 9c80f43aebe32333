// SPDX-License-Identifier: MIT
#include "tools/hub/status/Status.h"

#include "tools/hub/status/StateJson.h"

#include <nlohmann/json.hpp>

#include <array>
#include <cstdio>

namespace feedline::hub {

namespace {

using Json = nlohmann::ordered_json;

Json listenerJson(const ListenerReport& listener) {
    return {{"number", listener.number},
            {"output", listener.output},
            {"address", listener.address},
            {"detail", listener.detail},
            {"running", listener.running},
            {"mayTune", listener.mayTune},
            {"frequency", listener.frequency},
            {"rate", listener.rate},
            {"exact", listener.exact},
            {"covered", listener.covered},
            {"seconds", listener.seconds},
            {"sentPairs", listener.sentPairs},
            {"sentBytes", listener.sentBytes},
            {"lost",
             {{"upstream", listener.lostUpstream},
              {"slow", listener.lostSlow},
              {"connection", listener.dropped}}}};
}

Json figuresJson(const ReceiverFigures& figures) {
    return {{"measuredRate", figures.measuredRate},
            {"received", figures.received},
            {"lost", {{"network", figures.lostOnNetwork}, {"hub", figures.lostInHub}}},
            {"overflowedDatagrams", figures.overflowed},
            {"reconnections", figures.reconnections},
            {"silences", figures.silences},
            {"lastSilence", figures.lastSilence},
            {"longestSilence", figures.longestSilence}};
}

// Metrics, each with its help and type once, then a line for each listener or one alone.
class Metrics {
public:
    void begin(const std::string& name, const char* type, const char* help) {
        name_ = "feedline_hub_" + name;
        text_ += "# HELP " + name_ + " " + help + "\n# TYPE " + name_ + " " + type + "\n";
    }
    void value(const std::string& labels, double value) {
        std::array<char, 40> number{};
        std::snprintf(number.data(), number.size(), " %.17g\n", value);
        text_ += name_ + labels + number.data();
    }
    void gauge(const std::string& name, const char* help, double number) {
        begin(name, "gauge", help);
        value("", number);
    }
    void counter(const std::string& name, const char* help, std::uint64_t number) {
        begin(name, "counter", help);
        value("", static_cast<double>(number));
    }
    const std::string& text() const { return text_; }

private:
    std::string name_;
    std::string text_;
};

std::string escaped(const std::string& text) {
    std::string result;
    for (const char c : text) {
        if (c == '\n') {
            result += "\\n";
            continue;
        }
        if (c == '\\' || c == '"')
            result += '\\';
        result += c;
    }
    return result;
}

std::string labels(const ListenerReport& listener, const std::string& more = {}) {
    return "{listener=\"" + std::to_string(listener.number) + "\",output=\"" +
           escaped(listener.output) + "\",address=\"" + escaped(listener.address) + "\"" + more +
           "}";
}

void receiverMetrics(Metrics& metrics, const ReceiverState& state, const ReceiverFigures& figures) {
    metrics.gauge("connected", "The server is there.", state.connected ? 1 : 0);
    metrics.gauge("running", "Samples are wanted from the server.", state.running ? 1 : 0);
    metrics.gauge("silent", "They should come and do not.", state.silent ? 1 : 0);
    metrics.gauge("frequency_hertz", "Centre frequency of the receiver.", state.frequency);
    metrics.gauge("rate_hertz", "Received IQ pairs a second.", state.rate);
    metrics.counter("received_pairs_total", "IQ pairs received.", figures.received);
    metrics.begin("lost_pairs_total", "counter", "IQ pairs lost before any listener, by place.");
    metrics.value("{place=\"network\"}", static_cast<double>(figures.lostOnNetwork));
    metrics.value("{place=\"hub\"}", static_cast<double>(figures.lostInHub));
    metrics.counter("reconnections_total", "Times the server was found again.",
                    figures.reconnections);
    metrics.counter("silences_total", "Times the stream stopped by itself.", figures.silences);
    metrics.gauge("longest_silence_seconds", "Longest time without wanted samples.",
                  figures.longestSilence);
}

void listenerMetrics(Metrics& metrics, const std::vector<ListenerReport>& listeners) {
    metrics.gauge("listeners", "Programs that are connected.",
                  static_cast<double>(listeners.size()));
    metrics.begin("listener_sent_pairs_total", "counter", "IQ pairs sent to a listener.");
    for (const ListenerReport& listener : listeners)
        metrics.value(labels(listener), static_cast<double>(listener.sentPairs));
    metrics.begin("listener_sent_bytes_total", "counter", "Bytes sent to a listener.");
    for (const ListenerReport& listener : listeners)
        metrics.value(labels(listener), static_cast<double>(listener.sentBytes));
    metrics.begin("listener_lost_pairs_total", "counter", "IQ pairs a listener lost, by reason.");
    for (const ListenerReport& listener : listeners) {
        metrics.value(labels(listener, ",reason=\"upstream\""),
                      static_cast<double>(listener.lostUpstream));
        metrics.value(labels(listener, ",reason=\"slow\""), static_cast<double>(listener.lostSlow));
        metrics.value(labels(listener, ",reason=\"connection\""),
                      static_cast<double>(listener.dropped));
    }
}

std::string receiverLine(const Json& status) {
    const Json& state = status.at("receiver");
    if (!state.at("connected").get<bool>())
        return "The server is not there.\n";
    std::array<char, 256> line{};
    std::snprintf(line.data(), line.size(), "%s, %s, %.6f MHz, %.0f IQ pairs a second\n",
                  state.at("name").get<std::string>().c_str(),
                  state.at("silent").get<bool>()    ? "SILENT"
                  : state.at("running").get<bool>() ? "running"
                                                    : "idle",
                  state.at("frequency").get<double>() / 1e6, state.at("rate").get<double>());
    return line.data();
}

std::string lossLine(const Json& status) {
    const Json& figures = status.at("figures");
    std::array<char, 256> line{};
    std::snprintf(line.data(), line.size(),
                  "received %.0f, lost %.0f on the network, %.0f in the hub; %.0f times silent, "
                  "%.1f s at most\n",
                  figures.at("received").get<double>(),
                  figures.at("lost").at("network").get<double>(),
                  figures.at("lost").at("hub").get<double>(), figures.at("silences").get<double>(),
                  figures.at("longestSilence").get<double>());
    return line.data();
}

std::string listenerLine(const Json& listener) {
    const Json& lost = listener.at("lost");
    std::array<char, 512> line{};
    std::snprintf(line.data(), line.size(), "%-8s %-21s %12.6f MHz %8.0f/s  lost %.0f  %s%s%s\n",
                  listener.at("output").get<std::string>().c_str(),
                  listener.at("address").get<std::string>().c_str(),
                  listener.at("frequency").get<double>() / 1e6, listener.at("rate").get<double>(),
                  lost.at("upstream").get<double>() + lost.at("slow").get<double>() +
                      lost.at("connection").get<double>(),
                  listener.at("running").get<bool>() ? "" : "idle ",
                  listener.at("covered").get<bool>() ? "" : "outside the band ",
                  listener.at("mayTune").get<bool>() ? "may tune" : "");
    return line.data();
}

} // namespace

std::string statusJson(const Receiver& receiver) {
    Json status;
    status["receiver"] = stateJson(receiver.state());
    status["figures"] = figuresJson(receiver.figures());
    status["listeners"] = Json::array();
    for (const ListenerReport& listener : receiver.listeners())
        status["listeners"].push_back(listenerJson(listener));
    return status.dump(-1, ' ', false, Json::error_handler_t::replace);
}

std::string statusMetrics(const Receiver& receiver) {
    Metrics metrics;
    receiverMetrics(metrics, receiver.state(), receiver.figures());
    listenerMetrics(metrics, receiver.listeners());
    return metrics.text();
}

std::string statusText(const std::string& json) {
    const Json status = Json::parse(json);
    std::string text = receiverLine(status) + lossLine(status);
    const Json& listeners = status.at("listeners");
    text +=
        std::to_string(listeners.size()) + (listeners.size() == 1 ? " listener\n" : " listeners\n");
    for (const Json& listener : listeners)
        text += listenerLine(listener);
    return text;
}

} // namespace feedline::hub
