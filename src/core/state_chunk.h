#pragma once

#include <cstdint>

namespace tonvale {

struct ReverbPlugin;

// The state of an instance as a host saves it with its project.

/// Puts the address of the chunk into `*data` and answers its size in bytes; 0, and no address,
/// where memory is out: half a state would be taken for a whole one. The address is good until the
/// next call for any instance; not on two threads at once.
int32_t saveChunk(ReverbPlugin &plugin, void **data);

/// Takes a chunk of `size` bytes, or as much of a damaged one as can be read, and rebuilds.
void loadChunk(ReverbPlugin &plugin, const void *data, int32_t size);

} // namespace tonvale
