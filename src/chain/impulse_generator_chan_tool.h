#pragma once

#include "chain/status_stage.h"

namespace tonvale {

/// What the Channel Tool does with each pair of a source and a destination channel. Any other value
/// makes room for the destination and leaves the samples alone.
enum class ChannelAction : int32_t { swap, copy, addTo, subtractFrom, convolve };

/// Moves a group of channels onto another group and can then set the impulse's channel count. A
/// channel that doesn't exist reads as silence, and what is written to it is dropped.
class ImpulseGenerator_ChanTool final : public StatusStage {
  public:
    static constexpr const char *typeKey = "CHANTOOL";
    static constexpr const char *displayName = "Channel Tool";

    static constexpr int32_t maxGroup = 128;

    Relaxed<int32_t> source{0};      ///< first channel, counted from 0
    Relaxed<int32_t> destination{1}; ///< likewise
    Relaxed<int32_t> action{0};      ///< a ChannelAction
    Relaxed<int32_t> count{1};       ///< channels in a group; held to maxGroup, below 1 is no work
    Relaxed<int32_t> total{0};       ///< final channel count; outside 1 ... 128 it stays

    void loadState(const char *key, const void *data, int32_t size) noexcept override;
    void saveState(HeapBuffer &out) noexcept override;
    const char *getDisplayName() override { return displayName; }
    const char *getTypeKey() override { return typeKey; }
    void saveText(char *text, int32_t size) noexcept override;
    bool loadText(const char *text) noexcept override;

  protected:
    void apply(ImpulseBuffer &impulse) override;

  private:
    void moveGroup(ImpulseBuffer &impulse, int32_t channels) const;

    static constexpr int32_t valueCount = 5;
    Relaxed<int32_t> *const values[valueCount] = {&source, &destination, &action, &count, &total};
};

} // namespace tonvale
