#pragma once

#include <span>
#include <vector>

namespace tonvale::workbench {

/// Levels in dB of `columns` moments spread over all samples, each at these frequencies in Hz: row
/// by row, a row for each frequency. A moment is heard through a Hann window of 30 to 60 ms.
std::vector<double> spectrogram(std::span<const double> samples, double rate, size_t columns,
                                std::span<const double> frequencies);

} // namespace tonvale::workbench
