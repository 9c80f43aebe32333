// SPDX-License-Identifier: MIT
#include "emulator/signals/LoopPlace.h"

#include <gtest/gtest.h>

using namespace feedline::emulator;

namespace {

struct Place {
    std::uint64_t position, step, values, expected;
};

} // namespace

TEST(LoopPlace, IsPositionTimesStepWhileThatFitsSixtyFourBits) {
    for (const std::uint64_t position : {0U, 1U, 7U, 1000U, 123456789U})
        for (const std::uint64_t step : {onePlace / 4, onePlace + 5, onePlace * 11 / 2})
            EXPECT_EQ(placeInLoop(position, step, 1000), position * step % (1000 * onePlace))
                << position << " " << step;
}

// The products have up to 128 bits; the expectations were computed with whole numbers of any size.
TEST(LoopPlace, IsExactForPositionsOfAnyAge) {
    const Place places[] = {Place{11917671034085551053U, 2376399356U, 1664000U, 3798645028913868U},
                            Place{4977248427785527857U, 1739342682U, 13313U, 46087320688698U},
                            Place{8705538258409396678U, 33498175846U, 13313U, 1850344643300U},
                            Place{9439560075148448782U, 28031888506U, 79872U, 5683758134956U},
                            Place{8179943367347618526U, 26953667177U, 1664000U, 5830256520825102U},
                            Place{11481126203705459088U, 10994471840U, 1664000U, 1532161140369920U},
                            Place{18446744073709551615U, 34359738367U, 2147483647U, 94489280513U},
                            Place{18446744073709551615U, 18446744073709551615U, 2147483648U, 1U}};
    for (const Place& place : places)
        EXPECT_EQ(placeInLoop(place.position, place.step, place.values), place.expected)
            << place.position;
}
