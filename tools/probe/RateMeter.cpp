#include "probe/RateMeter.h"

#include "stream/DataDatagram.h"

#include <algorithm>
#include <array>
#include <cmath>

namespace feedline::probe {

namespace {

constexpr std::int64_t windowLength = 1'000'000'000; // ns

// Hz. The rates that receivers of the HF+ and of the AirSpy family list.
constexpr std::array knownRates{192e3, 256e3, 384e3, 456e3, 768e3, 912e3, 2.5e6, 3e6, 6e6, 10e6};

} // namespace

void RateMeter::Line::add(double x, double y) {
    m_n += 1;
    m_x += x;
    m_y += y;
    m_xx += x * x;
    m_xy += x * y;
}

double RateMeter::Line::slope() const {
    const double spread = m_n * m_xx - m_x * m_x;
    return spread > 0 ? (m_n * m_xy - m_x * m_y) / spread : 0;
}

void RateMeter::add(std::int64_t position, std::int64_t nanoseconds) {
    if (!m_started || nanoseconds - m_windowStart >= windowLength) {
        if (m_started)
            m_windows.push_back(m_line.slope());
        m_started = true;
        m_line = {};
        m_windowStart = nanoseconds;
        m_windowPosition = position;
    }
    m_line.add(static_cast<double>(nanoseconds - m_windowStart) * 1e-9,
               static_cast<double>(position - m_windowPosition));
}

double RateMeter::current() const {
    return datagram::pairs * (m_windows.empty() ? m_line.slope() : m_windows.back());
}

double RateMeter::overall() const {
    if (m_windows.empty())
        return current();
    auto sorted = m_windows;
    const auto middle = sorted.begin() + static_cast<std::ptrdiff_t>(sorted.size() / 2);
    std::nth_element(sorted.begin(), middle, sorted.end());
    return datagram::pairs * *middle;
}

double plausibleRate(double measured) {
    for (const double known : knownRates)
        if (std::abs(measured - known) <= 0.01 * known)
            return known;
    return std::round(measured);
}

} // namespace feedline::probe
