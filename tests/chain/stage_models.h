#pragma once

#include "chain/status_stage.h"
#include "host/host_functions.h"

#include <memory>
#include <ostream>
#include <random>
#include <span>
#include <string>
#include <vector>

// Second opinions on what the stages do, written from their formulas over plain vectors.

namespace tonvale::test {

using Random = std::mt19937_64;
using Settings = std::vector<double>; ///< in the order of the text form

struct Signal {
    double rate;
    std::vector<std::vector<double>> channels;

    size_t length() const { return channels[0].size(); }
};

struct StageModel {
    const char *key;
    Settings defaults;
    bool wholeNumbers;  ///< the Channel Tool's
    int32_t fewestSize; ///< bytes that loadState takes
    Settings (*draw)(Random &random);
    void (*run)(Signal &signal, const Settings &settings);
    double tolerance; ///< of the stage against its model, relative to the signal's peak
};

std::span<const StageModel> stageModels();
inline void PrintTo(const StageModel &model, std::ostream *out) {
    *out << model.key;
}

double between(Random &random, double low, double high);
Signal noise(Random &random, int32_t channels, int32_t length, double rate);
void load(ImpulseBuffer &impulse, const Signal &signal);
Signal read(const ImpulseBuffer &impulse);

std::unique_ptr<StatusStage> makeStage(const char *key, const std::string &values = "");
std::string toText(const Settings &settings);
Settings readBack(ImpulseGenerator &stage);
Signal runStage(const char *key, const std::string &values, const Signal &input);

/// Lends the plug-in a transform, and a resampler that repeats or leaves out frames, for its life.
class StageHost {
  public:
    StageHost();
    ~StageHost() { hostFunctions = before; }

    static int liveResamplers;
    static double lastRates[2];

  private:
    HostFunctions before = hostFunctions;
};

} // namespace tonvale::test
