// The sample rate, measured from the datagrams' arrival times.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace feedline::probe {

/// A sender may deliver its samples in blocks, many datagrams back to back. A count between two
/// moments would be off by up to a block, so the rate is the slope of a straight line laid through
/// all arrivals. A backlog sent at the start would tilt that line; the whole run's rate is
/// therefore the median of windows of one second. Not synchronised.
class RateMeter {
public:
    /// @param position     place in the stream, in datagrams, lost ones counted
    /// @param nanoseconds  time of arrival, any epoch
    void add(std::int64_t position, std::int64_t nanoseconds);

    /// IQ pairs a second over the last complete window, else over what there is; 0 when unknown.
    double current() const;
    /// IQ pairs a second over the whole run; 0 when unknown.
    double overall() const;
    /// Complete windows so far.
    std::size_t windows() const { return m_windows.size(); }

private:
    class Line {
    public:
        void add(double x, double y);
        double slope() const; ///< 0 when there are too few points

    private:
        double m_n = 0, m_x = 0, m_y = 0, m_xx = 0, m_xy = 0;
    };

    std::int64_t m_windowStart = 0;
    std::int64_t m_windowPosition = 0;
    bool m_started = false;
    Line m_line;
    std::vector<double> m_windows; ///< datagrams a second, one entry for each complete window
};

/// The rate that a receiver is set to, when the measured one is within 1 % of it; else the measured
/// rate itself, in whole hertz.
double plausibleRate(double measured);

} // namespace feedline::probe
