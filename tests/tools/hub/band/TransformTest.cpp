// SPDX-License-Identifier: MIT
#include "tools/hub/band/Transform.h"

#include "Tone.h"

#include <gtest/gtest.h>

#include <random>
#include <vector>

namespace feedline::hub {
namespace {

using Points = std::vector<std::complex<float>>;

Points noise(std::size_t length) {
    std::mt19937 random(1);
    std::uniform_real_distribution<float> level(-1, 1);
    Points points(length);
    for (auto& point : points)
        point = {level(random), level(random)};
    return points;
}

// By the definition.
std::complex<double> sum(const Points& points, std::size_t bin, int sign) {
    std::complex<double> result;
    const auto length = static_cast<std::int64_t>(points.size());
    for (std::size_t n = 0; n < points.size(); ++n)
        result +=
            std::complex<double>(points[n]) * test::turned(sign * static_cast<std::int64_t>(bin),
                                                           static_cast<std::int64_t>(n), length);
    return result;
}

// Small factors, a single point, and primes that go by way of a chirp.
class Lengths : public testing::TestWithParam<std::size_t> {};

TEST_P(Lengths, FollowTheDefinition) {
    const Points points = noise(GetParam());
    Points bins(points.size());
    for (const int sign : {-1, 1}) {
        Transform(points.size(),
                  sign < 0 ? Transform::Direction::forward : Transform::Direction::inverse)
            .run(points, bins);
        const double scale = std::sqrt(static_cast<double>(points.size()));
        for (std::size_t bin = 0; bin < bins.size(); bin += 1 + bins.size() / 7)
            EXPECT_LT(
                test::decibels(std::abs(std::complex<double>(bins[bin]) - sum(points, bin, sign)) /
                               scale),
                -110)
                << bin;
    }
}

INSTANTIATE_TEST_SUITE_P(Transform, Lengths,
                         testing::Values(1, 5, 61, 67, 200, 1200, 7495, 19200, 22800, 22805));

} // namespace
} // namespace feedline::hub
