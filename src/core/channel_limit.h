#pragma once

#include <cstdint>

namespace tonvale {

/// The most channels that an instance runs: each owns a slot in the signal queues.
constexpr int32_t maxChannels = 128;

} // namespace tonvale
