#pragma once

#include <cstdint>

namespace tonvale::test {

/// A function that does what the host's `function` of that name does, with all that it and the
/// objects from it ask for on the host's side of an AllocationLimit. `function` itself where the
/// plug-in never calls it. 0 stays 0.
intptr_t onHostSide(const char *name, intptr_t function);

} // namespace tonvale::test
