#pragma once

#include "lv2/response_probe.h"

#include <functional>
#include <string>
#include <vector>

namespace tonvale::lv2 {

/// What hosts read of the response that was made last.
struct Report {
    float length = 0.0f; ///< seconds
    float channels = 1.0f;
    float rate = 0.0f;  ///< Hz
    float peak = 0.0f;  ///< dB, full scale is 0
    std::string status; ///< a line for each line of the chain
};

/// `tell` hears the status of each line that came to nothing.
Report makeReport(const std::vector<std::string> &chain, const ResponseShape &shape, double rate,
                  const std::function<void(const std::string &)> &tell);

} // namespace tonvale::lv2
