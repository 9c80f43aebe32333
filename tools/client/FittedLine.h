// SPDX-License-Identifier: MIT
// A straight line laid through points by least squares. Not synchronised.
#pragma once

namespace feedline::client {

class FittedLine {
public:
    void add(double x, double y);
    double slope() const; ///< 0 when there are too few points
    unsigned points() const { return points_; }

private:
    unsigned points_ = 0;
    double x_ = 0, y_ = 0, xx_ = 0, xy_ = 0;
};

} // namespace feedline::client
