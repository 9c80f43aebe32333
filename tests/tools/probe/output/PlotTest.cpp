// SPDX-License-Identifier: MIT
#include "TemporaryFolder.h"
#include "tools/probe/ExitStatus.h"
#include "tools/probe/output/PlotOutput.h"

#include <gtest/gtest.h>

#include <cairo.h>

using namespace feedline::probe;
using feedline::test::TemporaryFolder;

namespace {

constexpr double rate = 768000;
constexpr std::size_t bins = SpectrumEstimator::size;
constexpr std::size_t carrierBin = bins * 3 / 4;

// A picture read back.
class Picture {
public:
    explicit Picture(const std::string& name)
        : surface_(cairo_image_surface_create_from_png(name.c_str())) {
        EXPECT_EQ(cairo_surface_status(surface_), CAIRO_STATUS_SUCCESS);
    }
    Picture(const Picture&) = delete;
    Picture& operator=(const Picture&) = delete;
    ~Picture() { cairo_surface_destroy(surface_); }

    int width() const { return cairo_image_surface_get_width(surface_); }
    int height() const { return cairo_image_surface_get_height(surface_); }
    std::uint32_t pixel(int x, int y) const {
        const unsigned char* row =
            cairo_image_surface_get_data(surface_) + y * cairo_image_surface_get_stride(surface_);
        return reinterpret_cast<const std::uint32_t*>(row)[x] & 0xFFFFFFU;
    }
    int brightness(int x, int y) const {
        const std::uint32_t value = pixel(x, y);
        return static_cast<int>((value >> 16) + ((value >> 8) & 0xFFU) + (value & 0xFFU));
    }

private:
    cairo_surface_t* surface_;
};

class PlotTest : public testing::Test {
protected:
    PlotTest() {
        facts_.target = "AirSpyHF+";
        facts_.frequency = 7100000;
        total_.axisRate = rate;
        power_.power.assign(bins, 1e-10);
        power_.power[carrierBin] = 1e-2;
        power_.frames = 1;
        for (std::int64_t row = 0; row < 400; ++row)
            if (row < 100 || row >= 200)
                history_.add(row * history_.pairsPerRow(), power_);
        total_.carrier = strongestCarrier(power_.average(), rate);
    }

    StreamFacts facts_;
    Figures total_;
    PowerSum power_;
    WaterfallHistory history_;
    TemporaryFolder folder_;
};

TEST_F(PlotTest, ShowsTheCarrierWhereItIs) {
    const std::string name = folder_.file("a.png");
    PlotOutput(name, false).write(facts_, total_, power_.average(), history_);
    const Picture picture(name);
    EXPECT_EQ(picture.width(), plot::width);
    EXPECT_EQ(picture.height(), plot::height);
    const int carrierX = plot::waterfall.x + plot::waterfall.width * 3 / 4;
    const int y = plot::waterfall.y + plot::waterfall.height - 10;
    EXPECT_GT(picture.brightness(carrierX, y), 500);
    for (const int away : {-200, -20, 20, 200})
        EXPECT_LT(picture.brightness(carrierX + away, y), 300) << away;
}

TEST_F(PlotTest, WhatWasNotReceivedIsGrey) {
    const std::string name = folder_.file("a.png");
    PlotOutput(name, false).write(facts_, total_, power_.average(), history_);
    const Picture picture(name);
    const int x = plot::waterfall.x + 40;
    const int height = plot::waterfall.height;
    EXPECT_EQ(picture.pixel(x, plot::waterfall.y + height * 3 / 8), 0xCDD0D5U);
    EXPECT_NE(picture.pixel(x, plot::waterfall.y + height / 8), 0xCDD0D5U);
    EXPECT_NE(picture.pixel(x, plot::waterfall.y + height * 5 / 8), 0xCDD0D5U);
}

TEST_F(PlotTest, NeverDrawnLeavesNoFile) {
    { const PlotOutput output(folder_.file("a.png"), false); }
    EXPECT_TRUE(folder_.empty());
}

TEST_F(PlotTest, AnExistingFileIsKeptUnlessForced) {
    const std::string name = folder_.file("a.png");
    PlotOutput(name, false).write(facts_, total_, power_.average(), history_);
    EXPECT_THROW(PlotOutput(name, false), Failure);
    const auto before = folder_.size("a.png");
    { const PlotOutput output(name, true); }
    EXPECT_EQ(folder_.size("a.png"), before);
    facts_.frequency.reset();
    PlotOutput(name, true).write(facts_, total_, power_.average(), history_);
    EXPECT_TRUE(folder_.has("a.png"));
}

TEST_F(PlotTest, NoSuchFolder) {
    EXPECT_THROW(PlotOutput(folder_.file("nowhere/a.png"), false), Failure);
    EXPECT_THROW(PlotOutput(folder_.file("nowhere/a.png"), true), Failure);
}

} // namespace
