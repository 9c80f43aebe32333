// SPDX-License-Identifier: MIT
#include "platform/HeldControls.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace feedline {
namespace {

using ::testing::ElementsAre;

TEST(HeldTextField, HoldsWhatItIsGiven) {
    HeldTextField field("50000");
    EXPECT_EQ(field.stringValue(), "50000");
    field.setStringValue("1234");
    EXPECT_EQ(field.stringValue(), "1234");
}

TEST(HeldPopUpButton, ListsItsItemsAnewOnceTheyHaveBeenRemoved) {
    HeldPopUpButton popUp;
    popUp.addItemWithTitle("one");
    popUp.addItemWithTitle("two");
    popUp.selectItemAtIndex(1);
    EXPECT_EQ(popUp.indexOfSelectedItem(), 1);
    popUp.removeAllItems();
    EXPECT_EQ(popUp.indexOfSelectedItem(), -1);
    popUp.addItemWithTitle("three");
    EXPECT_THAT(popUp.titles(), ElementsAre("three"));
}

TEST(HeldPopUpButton, SelectsNothingThatIsNotListed) {
    HeldPopUpButton popUp;
    popUp.addItemWithTitle("one");
    popUp.selectItemAtIndex(0);
    EXPECT_EQ(popUp.indexOfSelectedItem(), 0);
    for (const std::int64_t index : {1, -1, -2}) {
        popUp.selectItemAtIndex(0);
        popUp.selectItemAtIndex(index);
        EXPECT_EQ(popUp.indexOfSelectedItem(), -1) << index;
    }
}

} // namespace
} // namespace feedline
