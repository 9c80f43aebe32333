// SPDX-License-Identifier: MIT
#include "tools/hub/web/safety/Places.h"

#include <gtest/gtest.h>

#include <optional>
#include <vector>

using feedline::hub::web::Places;

namespace {

TEST(PlacesTest, ThereAreSoManyFromOneAddress) {
    Places places(10, 2);
    const auto first = places.take("a");
    const auto second = places.take("a");
    EXPECT_TRUE(first);
    EXPECT_TRUE(second);
    EXPECT_FALSE(places.take("a"));
    EXPECT_TRUE(places.take("b"));
}

TEST(PlacesTest, ThereAreSoManyInAll) {
    Places places(2, 2);
    const auto first = places.take("a");
    const auto second = places.take("b");
    EXPECT_FALSE(places.take("c"));
}

TEST(PlacesTest, APlaceThatIsGivenBackIsFree) {
    Places places(1, 1);
    auto place = places.take("a");
    auto copy = place;
    place.reset();
    EXPECT_FALSE(places.take("a"));
    copy.reset();
    EXPECT_TRUE(places.take("a"));
}

TEST(PlacesTest, APlaceMayOutliveThem) {
    std::optional<Places> places(std::in_place, 1, 1);
    const auto place = places->take("a");
    places.reset();
    EXPECT_TRUE(place);
}

} // namespace
