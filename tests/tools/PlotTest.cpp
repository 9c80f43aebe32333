#include "TemporaryFolder.h"
#include "probe/ExitStatus.h"
#include "probe/PlotOutput.h"

#include <gtest/gtest.h>

#include <cairo.h>

using namespace feedline::probe;
using feedline::testing::TemporaryFolder;

namespace {

constexpr double rate = 768000;
constexpr std::size_t bins = SpectrumEstimator::size;
constexpr std::size_t carrierBin = bins * 3 / 4;

// A picture read back.
class Picture {
public:
    explicit Picture(const std::string& name)
        : m_surface(cairo_image_surface_create_from_png(name.c_str())) {
        EXPECT_EQ(cairo_surface_status(m_surface), CAIRO_STATUS_SUCCESS);
    }
    Picture(const Picture&) = delete;
    Picture& operator=(const Picture&) = delete;
    ~Picture() { cairo_surface_destroy(m_surface); }

    int width() const { return cairo_image_surface_get_width(m_surface); }
    int height() const { return cairo_image_surface_get_height(m_surface); }
    std::uint32_t pixel(int x, int y) const {
        const unsigned char* row =
            cairo_image_surface_get_data(m_surface) + y * cairo_image_surface_get_stride(m_surface);
        return reinterpret_cast<const std::uint32_t*>(row)[x] & 0xFFFFFFU;
    }
    int brightness(int x, int y) const {
        const std::uint32_t value = pixel(x, y);
        return static_cast<int>((value >> 16) + ((value >> 8) & 0xFFU) + (value & 0xFFU));
    }

private:
    cairo_surface_t* m_surface;
};

class PlotTest : public testing::Test {
protected:
    PlotTest() {
        m_facts.target = "AirSpyHF+";
        m_facts.frequency = 7100000;
        m_total.axisRate = rate;
        m_power.power.assign(bins, 1e-10);
        m_power.power[carrierBin] = 1e-2;
        m_power.frames = 1;
        for (std::int64_t row = 0; row < 400; ++row)
            if (row < 100 || row >= 200)
                m_history.add(row * m_history.pairsPerRow(), m_power);
        m_total.carrier = strongestCarrier(m_power.average(), rate);
    }

    StreamFacts m_facts;
    Figures m_total;
    PowerSum m_power;
    WaterfallHistory m_history;
    TemporaryFolder m_folder;
};

TEST_F(PlotTest, ShowsTheCarrierWhereItIs) {
    const std::string name = m_folder.file("a.png");
    PlotOutput(name, false).write(m_facts, m_total, m_power.average(), m_history);
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
    const std::string name = m_folder.file("a.png");
    PlotOutput(name, false).write(m_facts, m_total, m_power.average(), m_history);
    const Picture picture(name);
    const int x = plot::waterfall.x + 40;
    const int height = plot::waterfall.height;
    EXPECT_EQ(picture.pixel(x, plot::waterfall.y + height * 3 / 8), 0xCDD0D5U);
    EXPECT_NE(picture.pixel(x, plot::waterfall.y + height / 8), 0xCDD0D5U);
    EXPECT_NE(picture.pixel(x, plot::waterfall.y + height * 5 / 8), 0xCDD0D5U);
}

TEST_F(PlotTest, NeverDrawnLeavesNoFile) {
    { const PlotOutput output(m_folder.file("a.png"), false); }
    EXPECT_TRUE(m_folder.empty());
}

TEST_F(PlotTest, AnExistingFileIsKeptUnlessForced) {
    const std::string name = m_folder.file("a.png");
    PlotOutput(name, false).write(m_facts, m_total, m_power.average(), m_history);
    EXPECT_THROW(PlotOutput(name, false), Failure);
    const auto before = m_folder.size("a.png");
    { const PlotOutput output(name, true); }
    EXPECT_EQ(m_folder.size("a.png"), before);
    m_facts.frequency.reset();
    PlotOutput(name, true).write(m_facts, m_total, m_power.average(), m_history);
    EXPECT_TRUE(m_folder.has("a.png"));
}

TEST_F(PlotTest, NoSuchFolder) {
    EXPECT_THROW(PlotOutput(m_folder.file("nowhere/a.png"), false), Failure);
    EXPECT_THROW(PlotOutput(m_folder.file("nowhere/a.png"), true), Failure);
}

} // namespace
