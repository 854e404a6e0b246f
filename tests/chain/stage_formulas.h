#pragma once

#include "chain/status_stage.h"
#include "test_host/effect_driver.h"

#include <gtest/gtest.h>
#include <memory>
#include <span>

// Second opinions on what the stages do, written from their formulas over plain vectors.

namespace tonvale::test {

using Settings = std::vector<double>; ///< in the order of the text form
using Signal = Sound;

struct StageFormula {
    const char *key;
    Settings defaults;
    int32_t fewestSize;                                    ///< bytes that loadState takes
    std::vector<std::pair<double, double>> limits;         ///< of the settings to try
    void (*run)(Signal &signal, const Settings &settings); ///< without a stretch in time
    double tolerance; ///< of the stage against its formula, relative to a channel's peak

    bool hasWholeNumbers() const { return std::string(key) == "CHANTOOL"; }
};
std::span<const StageFormula> stageFormulas();
std::string toText(const Settings &settings);
/// Holds what the stage makes of `input` against its formula.
void expectAgreement(const StageFormula &formula, const Settings &settings, const Signal &input);

void load(ImpulseBuffer &impulse, const Signal &signal);
Signal read(const ImpulseBuffer &impulse);

std::unique_ptr<StatusStage> makeStage(const char *key, const std::string &values = "");
/// As saveText() writes it into `size` bytes.
std::string textOf(ImpulseGenerator &stage, size_t size = 4096);
/// What the stage makes of `input` with so many requests for memory.
Signal runStage(const char *key, const std::string &values, const Signal &input,
                int allowedRequests = INT32_MAX);

/// The largest magnitude.
double peakOf(const Samples &samples);
/// 0.2 seconds of a smooth burst, of which no band limit takes anything.
Samples burst(double rate, double gain = 1.0);
/// The level of an error against it, dB, up to the last few frames.
double burstError(const Samples &samples, double rate, double gain);

/// With the functions of the tests' host.
template <class Base = testing::Test>
class StageTest : public Base {
  protected:
    void SetUp() override { loadTestHost(); }
};

} // namespace tonvale::test
