#include "editor/row_law.h"

#include "core/parameters.h"
#include "host/host_functions.h"
#include "test_host/test_host.h"

#include <gtest/gtest.h>

#include <cmath>

using namespace tonvale;

TEST(ParameterLaw, PutsPositionsOnTheCurvesOfTheTable) {
    test::loadTestHost();
    const ParameterLaw law;
    for (int32_t p = 0; p <= 1000; p += 25) {
        EXPECT_NEAR(law.valueOf(paramPreverb, p), std::pow(p / 1000.0, 2.3), 1e-12);
        EXPECT_EQ(law.valueOf(paramPan, p), p / 1000.0);
        const double decibels = hostFunctions.SLIDER2DB(p);
        EXPECT_FLOAT_EQ(static_cast<float>(law.valueOf(paramWet, p)),
                        static_cast<float>(std::pow(10.0, decibels / 20.0)));
        for (const int32_t row : {paramWet, paramPreverb, paramPan})
            EXPECT_NEAR(law.positionOf(row, law.valueOf(row, p)), p, 1) << row; // truncated
    }
    EXPECT_EQ(law.positionOf(paramWidth, 0.7299), 729);
    EXPECT_EQ(law.positionOf(paramDry, 0.0), std::trunc(hostFunctions.DB2SLIDER(-150.0)));
    // Values that no fader reaches, and that no curve has a place for.
    EXPECT_GT(law.positionOf(paramPan, 3.0), 1000);
    EXPECT_EQ(law.positionOf(paramPreverb, -0.5), 0);
    EXPECT_EQ(law.positionOf(paramPan, HUGE_VAL), INT32_MAX);
    EXPECT_EQ(law.defaultPosition(paramWet), decibelDefaultPosition);
    EXPECT_EQ(law.defaultPosition(paramWidth), 1000);
    EXPECT_EQ(law.defaultPosition(paramPan), 500);
}
