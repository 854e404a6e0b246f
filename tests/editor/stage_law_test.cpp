#include "editor/stage_law.h"

#include "chain/row_stage.h"
#include "test_host/test_host.h"
#include "workbench/services/fader_law.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <memory>
#include <string>
#include <vector>

namespace tonvale::test {

namespace {

struct StageCase {
    const char *key;
    std::vector<std::string> defaultTexts;
};

const StageCase stageCases[] = {
    {"ECHOGEN", {"0", "100", "10.0", "-6.0", "-12.0", "0.0", "0.50"}},
    {"BASICEDIT", {"0.0", "0", "20000", "1.00", "0", "1.00", "0.00"}},
    {"NORM", {"0.0"}},
    {"REVERSE", {"0.0", "-inf", "0"}},
    {"FILT", {"1", "0"}},
    {"VERBGEN", {"0", "1000", "0.0", "50", "50", "1.00"}},
};

class StageLaws : public testing::TestWithParam<StageCase> {
  protected:
    void SetUp() override {
        loadTestHost();
        stage.reset(createImpulseGenerator(GetParam().key, nullptr));
        auto &rowStage = dynamic_cast<RowStage &>(*stage);
        rows = {rowStage.getRows(), static_cast<size_t>(rowStage.getRowCount())};
    }

    /// Position of a linear row: (fraction of its range)^(1 / skew), in thousandths.
    static double position(const StageRow &row, double value) {
        const double fraction = (value - row.minValue) / (row.maxValue - row.minValue);
        return 1000.0 * std::pow(fraction, 1.0 / row.skew);
    }

    std::unique_ptr<ImpulseGenerator> stage;
    std::span<const StageRow> rows;
};

std::string textOf(const StageLaw &law, int32_t row, double value) {
    char text[rowTextSize];
    law.textOf(row, value, text);
    return text;
}

} // namespace

TEST_P(StageLaws, ShowDefaultsAndPutFadersWhereTheirCurvesLead) {
    const StageLaw law(rows);
    ASSERT_EQ(rows.size(), GetParam().defaultTexts.size());
    for (int32_t r = 0; r < std::ssize(rows); ++r) {
        const StageRow &row = rows[static_cast<size_t>(r)];
        SCOPED_TRACE(row.name);
        EXPECT_EQ(textOf(law, r, row.defaultValue),
                  GetParam().defaultTexts[static_cast<size_t>(r)]);
        const bool isDecibels = row.minValue == decibelRow;
        const double top = isDecibels ? std::pow(10.0, workbench::faderTop / 20.0) : row.maxValue;
        const double bottom = isDecibels ? 0.0 : row.minValue;
        EXPECT_NEAR(law.positionOf(r, top), 1000, 1);
        EXPECT_EQ(law.positionOf(r, bottom), 0);
        // Typed values are stored beyond the ends, where the fader stops.
        EXPECT_NEAR(law.positionOf(r, law.valueOfText(r, "1e9")), 1000, 1);
        for (const double odd : {-1e9, std::numeric_limits<double>::quiet_NaN()})
            EXPECT_EQ(law.positionOf(r, odd), 0);
        EXPECT_NEAR(law.defaultPosition(r), isDecibels ? -1.0 : position(row, row.defaultValue),
                    0.5001);
        for (int32_t p = 0; p <= 1000; p += 7) {
            const double value = law.valueOf(r, p);
            EXPECT_NEAR(isDecibels ? p : position(row, value), p, 1e-6);
            EXPECT_NEAR(law.positionOf(r, value), p, 1);
            // What is shown reads back as what shows the same.
            const std::string shown = textOf(law, r, value);
            EXPECT_EQ(textOf(law, r, law.valueOfText(r, shown.c_str())), shown);
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Stages, StageLaws, testing::ValuesIn(stageCases),
                         [](const auto &stage) { return std::string(stage.param.key); });

TEST(StageLaw, ShowsGainsAsDecibelsWithASignFromOneOn) {
    loadTestHost();
    const StageRow row{"Gain", "dB", 1.0, decibelRow, decibelRow, 1, 2, 1, 1.0};
    const StageLaw law({&row, 1});
    const std::pair<double, const char *> texts[] = {
        {1.0, "0.0"},   {1.2, "+1.6"},  {1.06, "0.5"},      {1.1221, "+1.0"}, {0.0, "-inf"},
        {1e-6, "-inf"}, {-0.5, "-inf"}, {1.1e-6, "-119.2"}, {1e3, "+60.0"},
    };
    for (const auto &[gain, text] : texts)
        EXPECT_EQ(textOf(law, 0, gain), text);
    const std::pair<const char *, double> typed[] = {
        {"-inf", 0.0}, {"6", 1.9953}, {" +20", 10.0}, {"-6.02 dB", 0.5}, {"loud", 1.0}, {"", 1.0},
    };
    for (const auto &[text, gain] : typed)
        EXPECT_NEAR(law.valueOfText(0, text), gain, 1e-4) << text;
}

} // namespace tonvale::test
