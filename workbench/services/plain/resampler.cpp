#include "workbench/services/resampler.h"

#include <algorithm>
#include <cmath>
#include <numbers>
#include <vector>

namespace tonvale::workbench {

namespace {

/// Zero crossings of the filter to either side.
constexpr double crossings = 24.0;

constexpr int tableSteps = 1024; ///< from one zero crossing to the next

/// A sinc under a Blackman window, from its middle on.
const std::vector<double> &filterTable() {
    static const auto table = [] {
        using std::numbers::pi;
        std::vector<double> taps(static_cast<size_t>(crossings * tableSteps) + 2, 0.0);
        taps[0] = 1.0;
        for (size_t i = 1; i < taps.size() - 2; ++i) {
            const double x = pi * static_cast<double>(i) / tableSteps;
            const double turn = x / crossings;
            const double window = 0.42 + 0.5 * std::cos(turn) + 0.08 * std::cos(2.0 * turn);
            taps[i] = window * std::sin(x) / x;
        }
        return taps;
    }();
    return table;
}

/// At `x` zero crossings from the middle, within the filter.
double filterTap(const std::vector<double> &table, double x) {
    const double place = std::fabs(x) * tableSteps;
    const auto before = static_cast<size_t>(place);
    const double part = place - static_cast<double>(before);
    return table[before] + part * (table[before + 1] - table[before]);
}

/// Band-limited interpolation (J. O. Smith, 1984), each tap worked out where it is needed. Keeps
/// the whole input of a stream: meant for responses, not for hours.
class Resampler final : public ResamplerHandle {
  public:
    void destroy(int) override { delete this; }

    void SetRates(double in, double out) override {
        step = in > 0.0 && out > 0.0 ? in / out : 0.0;
        if (!(step >= 1.0 / 256.0 && step <= 256.0))
            step = 0.0;
        Reset();
    }

    void Reset() override {
        input.clear();
        channels = 0;
        asked = given = 0;
        hasEnded = false;
    }

    int Prepare(int outFrames, int channelCount, double **place) override {
        if (place)
            *place = nullptr;
        if (!place || outFrames < 1 || channelCount < 1 || channelCount > 1024 || step == 0.0)
            return 0;
        if (channelCount != channels) {
            Reset();
            channels = channelCount;
        }
        if (hasEnded)
            return 0;
        const double end = static_cast<double>(given + outFrames - 1) * step + reach() + 1.0;
        asked = std::clamp<int64_t>(static_cast<int64_t>(std::ceil(end)) - frames(), 1, 65536);
        const size_t before = input.size();
        input.resize(before + static_cast<size_t>(asked * channels));
        *place = input.data() + before;
        return static_cast<int>(asked);
    }

    int Out(double *out, int inFrames, int outFrames, int channelCount) override {
        if (channelCount != channels || channels == 0)
            return 0;
        const int64_t taken = std::clamp<int64_t>(inFrames, 0, asked);
        hasEnded |= taken < asked;
        input.resize(input.size() - static_cast<size_t>((asked - taken) * channels));
        asked = 0;
        int done = 0;
        for (; out && done < outFrames && canGive(); ++done, ++given)
            for (int c = 0; c < channels; ++c)
                *out++ = interpolated(static_cast<double>(given) * step, c);
        return done;
    }

    intptr_t Extended(int call, intptr_t mode, intptr_t, intptr_t) override {
        return call == resamplerSetMode && mode >= 0 && mode <= 4 ? 1 : 0;
    }

  private:
    int64_t frames() const {
        return static_cast<int64_t>(input.size() / static_cast<size_t>(channels));
    }
    /// Input frames that a tap spans: more where the lower rate is the output's.
    double spread() const { return std::max(1.0, step); }
    double reach() const { return crossings * spread(); }

    bool canGive() const {
        const double position = static_cast<double>(given) * step;
        const auto end = static_cast<double>(frames());
        return hasEnded ? position < end : position + reach() < end;
    }

    double interpolated(double position, int channel) const {
        const auto first =
            std::max<int64_t>(0, static_cast<int64_t>(std::ceil(position - reach())));
        const auto last =
            std::min<int64_t>(frames() - 1, static_cast<int64_t>(std::floor(position + reach())));
        const std::vector<double> &table = filterTable();
        double sum = 0.0;
        for (int64_t i = first; i <= last; ++i)
            sum += input[static_cast<size_t>(i * channels + channel)] *
                   filterTap(table, (static_cast<double>(i) - position) / spread());
        return sum / spread();
    }

    double step = 0.0; ///< input frames from one output frame to the next; 0 for rates not taken
    std::vector<double> input;
    int channels = 0;  ///< of the present stream; 0 without one
    int64_t asked = 0; ///< frames of the Prepare that no Out has answered yet
    int64_t given = 0; ///< output frames of this stream
    bool hasEnded = false;
};

} // namespace

ResamplerHandle *createResampler() {
    return new Resampler;
}

} // namespace tonvale::workbench
