#pragma once

#include "lv2/effect.h"
#include "lv2/plugin_table.h"
#include "lv2/response_probe.h"

#include <memory>
#include <string>
#include <vector>

namespace tonvale::lv2 {

/// The most samples of a block; longer ones are taken in pieces.
constexpr int32_t longestPiece = 4096;

/// Whether a change from one to the other needs another voice.
bool needsAnotherVoice(const Settings &a, const Settings &b);

/// One response, ready to sound: an effect, or two where four response channels cross. What is
/// asked of it once it is built allocates nothing.
class Voice {
  public:
    /// Null where memory is out. Tells in `shape` what the chain made.
    static std::unique_ptr<Voice> build(const PluginKind &kind, double rate,
                                        const Settings &settings,
                                        const std::vector<std::string> &chain,
                                        ResponseShape &shape);

    /// Takes over what changes while it sounds, wet, dry, width and pan, over one block.
    void follow(const Settings &next);
    /// Takes over these and the Pre-verb, and forgets all signal, if any of them is new.
    void beginWith(const Settings &next);
    /// Forgets all signal, with its rooms as large as they will be.
    void restart(double *const *scratch);

    int32_t latency() const { return parts[0]->latency(); }
    /// `frames`, at most longestPiece, of each input of the plug-in, and of each output. The
    /// outputs are not the inputs.
    void process(double *const *in, double *const *out, int32_t frames);

  private:
    Voice(const PluginKind &of, const Settings &wanted)
        : kind(of)
        , settings(wanted) {}
    bool addPart(double rate, const std::vector<std::string> &chain);
    void settle(Effect &part, size_t index);
    void set(size_t part, int32_t parameter, float value);
    void set(int32_t parameter, float value);
    void run(size_t part, double *const *in, double *const *out, int32_t frames);

    const PluginKind &kind;
    Settings settings;
    std::vector<std::unique_ptr<Effect>> parts;
    std::vector<double> second; ///< what the second part gives, channel behind channel
};

} // namespace tonvale::lv2
