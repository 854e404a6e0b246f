#pragma once

#include <cstdint>

namespace tonvale {

/// While one lives `depth` is above 0: the program itself writes controls, and their handlers,
/// which test it, take no notice of what the controls then tell. User interface thread.
class Mute {
  public:
    explicit Mute(int32_t &depthOfWriting)
        : depth(depthOfWriting) {
        ++depth;
    }
    ~Mute() { --depth; }
    Mute(const Mute &) = delete;
    Mute &operator=(const Mute &) = delete;

  private:
    int32_t &depth;
};

} // namespace tonvale
