// SPDX-License-Identifier: MIT
#include "tools/client/FittedLine.h"

namespace feedline::client {

void FittedLine::add(double x, double y) {
    ++points_;
    x_ += x;
    y_ += y;
    xx_ += x * x;
    xy_ += x * y;
}

double FittedLine::slope() const {
    const double spread = points_ * xx_ - x_ * x_;
    return spread > 0 ? (points_ * xy_ - x_ * y_) / spread : 0;
}

} // namespace feedline::client
