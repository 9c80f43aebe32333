// SPDX-License-Identifier: MIT
#include "TemporaryFolder.h"
#include "tools/probe/ExitStatus.h"
#include "tools/probe/output/PlotOutput.h"

#include <gtest/gtest.h>

#include <cairo.h>
#include <cstddef>

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
        const unsigned char* row = cairo_image_surface_get_data(surface_) +
                                   std::ptrdiff_t{y} * cairo_image_surface_get_stride(surface_);
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
        facts.target = "AirSpyHF+";
        facts.frequency = 7100000;
        total.axisRate = rate;
        power.power.assign(bins, 1e-10);
        power.power[carrierBin] = 1e-2;
        power.frames = 1;
        for (std::int64_t row = 0; row < 400; ++row)
            if (row < 100 || row >= 200)
                history.add(row * history.pairsPerRow(), power);
        total.carrier = strongestCarrier(power.average(), rate);
    }

    StreamFacts facts;
    Figures total;
    PowerSum power;
    WaterfallHistory history;
    TemporaryFolder folder;
};

TEST_F(PlotTest, ShowsTheCarrierWhereItIs) {
    const std::string name = folder.file("a.png");
    PlotOutput(name, false).write(facts, total, power.average(), history);
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
    const std::string name = folder.file("a.png");
    PlotOutput(name, false).write(facts, total, power.average(), history);
    const Picture picture(name);
    const int x = plot::waterfall.x + 40;
    const int height = plot::waterfall.height;
    EXPECT_EQ(picture.pixel(x, plot::waterfall.y + height * 3 / 8), 0xCDD0D5U);
    EXPECT_NE(picture.pixel(x, plot::waterfall.y + height / 8), 0xCDD0D5U);
    EXPECT_NE(picture.pixel(x, plot::waterfall.y + height * 5 / 8), 0xCDD0D5U);
}

TEST_F(PlotTest, NeverDrawnLeavesNoFile) {
    { const PlotOutput output(folder.file("a.png"), false); }
    EXPECT_TRUE(folder.empty());
}

TEST_F(PlotTest, AnExistingFileIsKeptUnlessForced) {
    const std::string name = folder.file("a.png");
    PlotOutput(name, false).write(facts, total, power.average(), history);
    EXPECT_THROW(PlotOutput(name, false), Failure);
    const auto before = folder.size("a.png");
    { const PlotOutput output(name, true); }
    EXPECT_EQ(folder.size("a.png"), before);
    facts.frequency.reset();
    PlotOutput(name, true).write(facts, total, power.average(), history);
    EXPECT_TRUE(folder.has("a.png"));
}

TEST_F(PlotTest, NoSuchFolder) {
    EXPECT_THROW(PlotOutput(folder.file("nowhere/a.png"), false), Failure);
    EXPECT_THROW(PlotOutput(folder.file("nowhere/a.png"), true), Failure);
}

} // namespace
