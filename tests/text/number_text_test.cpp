#include "text/number_text.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <gtest/gtest.h>
#include <random>
#include <string>

namespace tonvale {
namespace {

TEST(NumberText, ReadsAndWritesWhatTheCLibraryDoes) {
    std::mt19937_64 random(1);
    const auto below = [&](uint64_t limit) { return static_cast<int>(random() % limit); };
    for (int i = 0; i < 20000; ++i) {
        // From far too small to far too large, with the point and the exponent anywhere.
        std::string text = std::to_string(random()) + std::string(below(400) / 40 * 40, '0');
        text.insert(random() % text.size(), ".");
        if (below(4) == 0)
            text.insert(0, "0." + std::string(below(400), '0')).erase(text.rfind('.'), 1);
        if (below(2) == 0)
            text += (below(2) ? "e" : "E") + std::to_string(below(1400) - 700);
        if (below(3) == 0)
            text.insert(0, below(2) ? "-" : "+");
        ASSERT_EQ(readNumber((text + " 5").c_str()), std::strtod(text.c_str(), nullptr)) << text;

        const auto bits =
            static_cast<double>(static_cast<int64_t>(random())) / std::pow(2.0, below(120));
        char wanted[400], got[400];
        std::snprintf(wanted, sizeof wanted, "%.*f", i % 8, bits);
        TextWriter(got, sizeof got).addFixed(bits, i % 8);
        ASSERT_STREQ(got, wanted);
    }
}

TEST(NumberText, HoldsIntegersAndUnreadableTextsInRange) {
    for (const char *text : {"0", "-1", "+7x", "2147483647", "2147483648", "-2147483649", "1e5",
                             "999999999999999999999", "", "-", "+-3", "--3", "x"}) {
        const long value = std::strtol(text, nullptr, 10);
        EXPECT_EQ(readInteger(text), std::clamp<long>(value, INT32_MIN, INT32_MAX)) << text;
    }
    for (const char *text : {"", "-", "+", "+-3", ".", "e5", "x1"})
        EXPECT_EQ(readNumber(text), 0.0) << text;
}

TEST(NumberText, CutsWhatHasNoRoom) {
    const std::string whole = "gain -123 0.50";
    for (int32_t size = -1; size < 20; ++size) {
        char text[32];
        std::fill_n(text, 32, '#');
        TextWriter writer(text, size);
        writer.add("gain ");
        writer.addInteger(-123);
        writer.add(" ");
        writer.addFixed(0.5, 2);
        if (size > 0) {
            EXPECT_EQ(text, whole.substr(0, static_cast<size_t>(size) - 1));
        }
        EXPECT_EQ(text[std::max(size, 0)], '#');
    }
    EXPECT_EQ(compareIgnoringCase("Wav", "wAV"), 0);
    EXPECT_LT(compareIgnoringCase("a", "B"), 0);
    EXPECT_GT(compareIgnoringCase("ab", "A"), 0);
}

} // namespace
} // namespace tonvale
