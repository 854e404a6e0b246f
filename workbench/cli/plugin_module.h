#pragma once

#include "host/aeffect.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace tonvale::workbench {

/// An instance of the plug-in, whose module lies beside this program where it was built, and in
/// lib/tonvale/ beside bin/ where it was installed. Nothing of the plug-in is
/// known here but its AEffect record, so what works here works in any host. All calls from one
/// thread.
class Effect {
  public:
    /// Values between which a parameter can be automated, as normalised values.
    struct Range {
        double low;
        double high;
    };

    /// Loads the module, which stays loaded until the process ends, and makes an instance that
    /// runs at `sampleRate` Hz. Throws Problem.
    explicit Effect(double sampleRate);
    ~Effect();
    Effect(const Effect &) = delete;
    Effect &operator=(const Effect &) = delete;

    double sampleRate() const { return rate; }

    int parameterCount() const { return effect->numParams; }
    std::string parameterName(int index) { return text(effGetParamName, index); }
    std::string parameterUnit(int index) { return text(effGetParamLabel, index); }
    std::string parameterDisplay(int index) { return text(effGetParamDisplay, index); }
    /// The text of any normalised value, which needn't be the present one.
    std::string parameterText(int index, double value);
    Range parameterRange(int index);
    double parameter(int index) { return effect->getParameter(effect, index); }
    void setParameter(int index, double value);

    /// The one-line form of stage `index`, nothing behind the last one.
    std::optional<std::string> stageText(int index);
    int stageCount();
    /// Makes a stage from its one-line form behind the last one. False when the text is refused.
    /// Nothing sounds different before finishChainChange().
    bool appendStage(const std::string &line);
    void finishChainChange();

    /// 1 to 128.
    void setChannels(int channels);
    /// Channels of the impulse response where they are 1 or 2; 0 for any other number, which the
    /// plug-in doesn't tell.
    int toldResponseChannels();

    std::vector<char> chunk();
    void setChunk(std::vector<char> &bytes);

    /// Forgets all signal history.
    void reset();
    /// Samples that the dry signal comes late, as reported now.
    int64_t latency() const;
    /// Samples that still sound behind the last input sample, that one counted: 1 or more.
    int64_t tailFrames();
    /// One block: `frames` samples of each channel.
    void process(double **inputs, double **outputs, int frames);
    /// Gives the plug-in the idle call that it asked for, if it did.
    void answerIdleRequest();

  private:
    AEffect *effect;
    double rate;

    intptr_t call(int32_t opcode, int32_t index = 0, intptr_t value = 0, void *ptr = nullptr,
                  float opt = 0.0f);
    std::string text(int32_t opcode, int32_t index);
};

} // namespace tonvale::workbench
