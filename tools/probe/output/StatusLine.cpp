// SPDX-License-Identifier: MIT
#include "tools/probe/output/StatusLine.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdarg>
#include <cstdio>
#include <sys/ioctl.h>
#include <unistd.h>

namespace feedline::probe {

namespace {

__attribute__((format(printf, 1, 2))) std::string format(const char* pattern, ...) {
    std::array<char, 256> text{};
    va_list arguments;
    va_start(arguments, pattern);
    std::vsnprintf(text.data(), text.size(), pattern, arguments);
    va_end(arguments);
    return text.data();
}

unsigned long long count(std::uint64_t value) {
    return value;
}

std::size_t terminalWidth() {
    winsize size{};
    return ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 1 ? size.ws_col : 80;
}

std::string rateText(double rate) {
    return rate > 0 ? format("%.2f kS/s", rate / 1e3) : "- kS/s";
}

std::string recordingText(const StreamFacts& facts, const Figures& figures) {
    const RecordingOutcome& outcome = *figures.recording;
    return "  recorded " + facts.recording +
           format(": %llu IQ pairs, %llu of them zeros for lost ones\n", count(outcome.pairs),
                  count(outcome.lostPairs));
}

std::string channelText(const char* name, const ChannelLevel& level) {
    return format("  %s  level %6.1f dBFS   DC %+.5f   clipped %llu\n", name, level.dBFS, level.dc,
                  count(level.clipped));
}

} // namespace

std::string countsText(const Figures& figures) {
    const client::SequenceCounts& counts = figures.reception.counts;
    return rateText(figures.sampleRate) + format("  %llu dg  lost %llu  reord %llu  dup %llu",
                                                 count(counts.received), count(counts.lost),
                                                 count(counts.reordered), count(counts.duplicated));
}

std::string levelsText(const Figures& figures) {
    const auto& [i, q] = figures.levels;
    return format("I %.1f Q %.1f dBFS  clip %llu/%llu  DC %+.4f/%+.4f", i.dBFS, q.dBFS,
                  count(i.clipped), count(q.clipped), i.dc, q.dc);
}

std::string carrierText(const StreamFacts& facts, const Figures& figures) {
    if (!figures.carrier)
        return "no carrier";
    const Carrier& carrier = *figures.carrier;
    const std::string place = facts.frequency
                                  ? format("%.3f kHz", (*facts.frequency + carrier.offset) / 1e3)
                                  : format("%+.3f kHz from centre", carrier.offset / 1e3);
    return place + format(" %.1f dBFS", carrier.dBFS);
}

std::string progressText(const StreamFacts& facts, const Figures& figures) {
    if (!facts.length)
        return format("%.0f s", figures.elapsed);
    constexpr std::size_t width = 10;
    const double part = std::clamp(figures.elapsed / *facts.length, 0.0, 1.0);
    const auto done = static_cast<std::size_t>(std::lround(part * width));
    return "[" + std::string(done, '#') + std::string(width - done, '.') + "] " +
           format("%.0f/%g s", figures.elapsed, *facts.length);
}

std::string summaryText(const StreamFacts& facts, const Figures& figures) {
    const client::ReceptionFigures& reception = figures.reception;
    const client::SequenceCounts& counts = reception.counts;
    const auto all = static_cast<double>(counts.received + counts.lost);
    std::string text =
        format("%s at %s, %.1f s\n", facts.target.c_str(), facts.server.c_str(), figures.elapsed);
    text += "  sample rate " + rateText(figures.sampleRate) + " measured\n";
    text += format("  datagrams %llu received, %llu lost (%.4f %%), %llu reordered, %llu "
                   "duplicated, %llu malformed\n",
                   count(counts.received), count(counts.lost),
                   all > 0 ? 100 * static_cast<double>(counts.lost) / all : 0.0,
                   count(counts.reordered), count(counts.duplicated), count(reception.malformed));
    if (counts.restarts != 0)
        text += format("  the sender began to count anew %llu times\n", count(counts.restarts));
    if (reception.overflowed != 0)
        text += format("  of the lost, %llu came, but this machine's receive buffer was full\n",
                       count(reception.overflowed));
    if (counts.received == 0)
        return text;
    if (figures.unanalysed != 0)
        text += format("  levels and spectra lack %llu datagrams: this machine is too slow\n",
                       count(figures.unanalysed));
    if (figures.recording)
        text += recordingText(facts, figures);
    text += channelText("I", figures.levels[0]) + channelText("Q", figures.levels[1]);
    return text + "  strongest carrier " + carrierText(facts, figures) + "\n";
}

void StatusLine::second(const StreamFacts& facts, const Figures& figures) {
    std::string line = progressText(facts, figures) + "  " + countsText(figures) + "  " +
                       levelsText(figures) + "  " + carrierText(facts, figures);
    if (terminal_)
        out_ << "\r" << line.substr(0, terminalWidth() - 1) << "\x1b[K" << std::flush;
    else
        out_ << line << std::endl;
}

void StatusLine::summary(const StreamFacts& facts, const Figures& figures) {
    if (terminal_)
        out_ << "\r\x1b[K";
    out_ << summaryText(facts, figures) << std::flush;
}

} // namespace feedline::probe
