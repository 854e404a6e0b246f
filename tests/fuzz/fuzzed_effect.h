#pragma once

#include "test_host/effect_driver.h"

#include <string>
#include <string_view>
#include <vector>

namespace tonvale::test {

/// Ends the process, which is how a fuzzer hears of a fault, unless `holds`.
void require(bool holds, const char *claim);

/// The text up to its first zero byte, and a terminator at which the memory ends too, so that a
/// sanitizer sees every read behind it.
std::vector<char> exactText(std::string_view text);

/// An effect that bears any state and text without a run getting long: at 2000 Hz, and refused
/// every block of memory above 256 KiB (16 s of one channel). Knows the media "memory:room".
class FuzzedEffect : public EffectDriver {
  public:
    FuzzedEffect();

    /// Runs a block of 96 frames through all channels.
    void hear();

  private:
    /// In front of the effect's later memory, behind its making, which must succeed.
    AllocationLimit limit;
};

} // namespace tonvale::test
