#include "measure/measure_settings.h"

#include <gtest/gtest.h>

namespace tonvale::test {
namespace {

TEST(MeasureSettings, TakeOnlyTheEntriesThatMakeSense) {
    // What the settings are after each entry, from 4.0, 32 and -120.
    const struct {
        const char *entry;
        double number;
        int32_t depth, floor;
    } cases[] = {
        {"", 4.0, 32, -120},       {"abc", 4.0, 32, -120},
        {"inf", 4.0, 32, -120},    {"0", 4.0, 32, 0},
        {"-", 4.0, 32, 0},         {"-x", 4.0, 32, 0},
        {"24", 24.0, 24, 24},      {"64", 64.0, 64, 64},
        {" 16 dB", 16.0, 16, 16},  {"20", 20.0, 32, 20},
        {"280", 280.0, 32, 280},   {"1e999", 4.0, 32, 1},
        {"-90.5", -90.5, 32, -90}, {"4294967312", 4294967312.0, 32, INT32_MAX},
    };
    for (const auto &c : cases) {
        double number = 4.0;
        int32_t depth = 32, floor = -120;
        acceptMeasureNumber(c.entry, number);
        acceptBitDepth(c.entry, depth);
        acceptNoiseFloor(c.entry, floor);
        EXPECT_EQ(number, c.number) << c.entry;
        EXPECT_EQ(depth, c.depth) << c.entry;
        EXPECT_EQ(floor, c.floor) << c.entry;
    }
}

} // namespace
} // namespace tonvale::test
