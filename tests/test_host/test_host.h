#pragma once

#include "host/aeffect.h"
#include "host/host_functions.h"
#include "test_host/allocation_limit.h"
#include "test_host/signals.h"

#include <atomic>
#include <optional>
#include <string>

extern "C" AEffect *VSTPluginMain(tonvale::HostCallback callback);

namespace tonvale::test {

/// What the host of the tests was told since clear(). Any thread.
struct HostNotes {
    std::atomic<int> lookups{0};
    std::atomic<int> automateCalls{0};
    std::atomic<int> lastAutomatedIndex{0};
    std::atomic<int> idleRequests{0};

    void clear();
};
HostNotes &hostNotes();

/// The callback of the tests' host: the workbench's functions, less those that are withheld, and
/// media from memory.
intptr_t testHostCallback(AEffect *effect, int32_t opcode, int32_t index, intptr_t value, void *ptr,
                          float opt);

/// While it lives the host answers null for this name.
class WithheldFunction {
  public:
    explicit WithheldFunction(const char *name);
    ~WithheldFunction();
    WithheldFunction(const WithheldFunction &) = delete;
    WithheldFunction &operator=(const WithheldFunction &) = delete;
};

/// Fetches the host functions, for tests below the level of an effect.
void loadTestHost();

/// While it lives the host's transform puts the bins in a random but fixed order, as a host may.
class PermutedTransform {
  public:
    PermutedTransform();
    ~PermutedTransform();
    PermutedTransform(const PermutedTransform &) = delete;
    PermutedTransform &operator=(const PermutedTransform &) = delete;

  private:
    void (*before)(double *, int, int);
};

/// What a media file says of itself that isn't so.
struct MediaClaims {
    std::optional<double> seconds{};
    std::optional<int> channels{};
};

/// Makes `channels` a media file of the name "memory:NAME" for as long as the process lives.
void putMedia(const std::string &name, double rate, const Channels &channels,
              const MediaClaims &claims = {});
/// How many sources on such files are open.
int openMediaSources();

} // namespace tonvale::test
