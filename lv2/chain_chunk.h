#pragma once

#include "lv2/effect.h"

#include <string>
#include <string_view>
#include <vector>

namespace tonvale::lv2 {

// The state chunk of the plug-in, as far as its chain goes.

/// Gives an effect without stages these lines as its chain, and has it made. What no line can say
/// to a stage, a path with blanks and both kinds of quotes, goes by its chunk.
void setChain(Effect &effect, const std::vector<std::string> &lines);

/// The chunk of an instance with this chain and otherwise the settings of a new one. Each line of
/// `chain` that is no stage is left out. Empty where memory is out.
std::string chunkOf(std::string_view chain, int32_t channels);

/// The chain in a chunk, as text with numbers that read back to the same bits: as much of it as is
/// sound.
std::string chainOf(std::string_view chunk);

} // namespace tonvale::lv2
