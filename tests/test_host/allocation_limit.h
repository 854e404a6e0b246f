#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>

// Memory that runs out. In a program that uses a limit, `operator new` in all its forms and the
// containers' raw memory are one stream of requests.
//
// While an AllocationLimit lives, every request counts, on every thread, but those of the host: its
// callback, functions and objects, and the EffectDriver outside its calls through the record. What
// a test itself does beside the plug-in's code stays out of the limit's scope, as arguments made
// and results judged, or stands in a HostSide.

namespace tonvale::test {

/// Which requests are refused, counted from 0 when the limit begins.
struct Refusal {
    int64_t from = INT64_MAX;  ///< this one and all behind it,
    int64_t until = INT64_MAX; ///< up to but not with this one;
    size_t above = SIZE_MAX;   ///< besides, each of more bytes
};

class AllocationLimit {
  public:
    explicit AllocationLimit(const Refusal &refusal);
    /// Refuses all after `allowed` more requests, and those above `largest` bytes.
    explicit AllocationLimit(int64_t allowed, size_t largest = SIZE_MAX)
        : AllocationLimit(Refusal{.from = allowed, .above = largest}) {}
    ~AllocationLimit();
    AllocationLimit(const AllocationLimit &) = delete;
    AllocationLimit &operator=(const AllocationLimit &) = delete;

    /// Requests that were refused since this limit began.
    int refused() const;

  private:
    int before;
};

/// While it lives, this thread's requests are the host's, and no limit counts them.
class HostSide {
  public:
    HostSide()
        : HostSide(true) {}
    ~HostSide();
    HostSide(const HostSide &) = delete;
    HostSide &operator=(const HostSide &) = delete;

  protected:
    explicit HostSide(bool isHost);

  private:
    bool before;
};

/// Within a HostSide: a call into the plug-in, whose requests count.
class PluginSide : HostSide {
  public:
    PluginSide()
        : HostSide(false) {}
};

/// Calls `round` with request 0 refused, then request 1, and so on until a round met no refusal;
/// then again with request n and all behind it refused. A round puts an AllocationLimit of what it
/// is given round what it tries, makes what that needs before, and judges behind. The test fails
/// where nothing is ever refused, or where `most` rounds of either form are not enough.
void forEachRefusedRequest(int most, const std::function<void(const Refusal &)> &round);

} // namespace tonvale::test
