#include "workbench/cli/sound/holes.h"

#include "workbench/cli/warnings.h"

#include <algorithm>
#include <cmath>
#include <memory>
#include <sndfile.h>
#include <vector>

namespace tonvale::workbench {

namespace {

constexpr int64_t blockFrames = 4096;
constexpr int64_t mostFrames = int64_t{1} << 22; // longer than any response

bool isFloating(const SF_INFO &info) {
    const int subtype = info.format & SF_FORMAT_SUBMASK;
    return subtype == SF_FORMAT_FLOAT || subtype == SF_FORMAT_DOUBLE;
}

} // namespace

bool fillHoles(std::span<double> samples) {
    bool found = false;
    for (double &sample : samples) {
        if (std::isfinite(sample))
            continue;
        sample = 0.0;
        found = true;
    }
    return found;
}

void warnOfHoles(const std::string &shownName) {
    warn(shownName + " holds samples that aren't finite numbers: they count as 0");
}

void warnOfHolesIn(const std::string &path) {
    SF_INFO info{};
    const std::unique_ptr<SNDFILE, int (*)(SNDFILE *)> file(sf_open(path.c_str(), SFM_READ, &info),
                                                            sf_close);
    if (!file || !isFloating(info) || info.channels < 1)
        return;
    const auto width = static_cast<size_t>(info.channels);
    std::vector<double> samples(blockFrames * width);
    for (int64_t left = mostFrames; left > 0; left -= blockFrames) {
        const sf_count_t got = sf_readf_double(file.get(), samples.data(), blockFrames);
        if (got < 1)
            return;
        if (fillHoles({samples.data(), static_cast<size_t>(got) * width})) {
            warnOfHoles(path);
            return;
        }
    }
}

} // namespace tonvale::workbench
