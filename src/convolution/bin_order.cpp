#include "convolution/bin_order.h"

#include "host/host_functions.h"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace tonvale {

namespace {

constexpr int32_t lanes = 4;
/// The places of a run's lanes, counted from its first.
constexpr int32_t runOffsets[lanes] = {0, 2, 1, 3};

/// Whether four points from `place` on, and their mirrored ones downwards, lie in a row.
bool isRun(int32_t place, int32_t points, const int32_t *mirror, const uint8_t *used) {
    if (place + lanes > points)
        return false;
    for (int32_t i = 0; i < lanes; ++i) {
        const int32_t p = place + i, q = mirror[place] - i;
        if (used[p] || q < place + lanes || used[q] || mirror[p] != q)
            return false;
    }
    return true;
}

} // namespace

bool BinOrder::prepare(int32_t points, bool isAlone) {
    // n / 2 + 1 bins tell all; the last group is filled up with the last of them.
    const int32_t groups = points / 2 / lanes + 1;
    AlignedBlock<int32_t> placeOfBin, binOfPlace;
    if (!places.allocate(int64_t{groups} * groupSize) ||
        (isAlone && !rotation.allocate(int64_t{groups} * groupSize)) ||
        !placeOfBin.allocate(points) || !binOfPlace.allocate(points) ||
        !learn(points, placeOfBin.get(), binOfPlace.get()))
        return false;
    kernelLayout = {places.get(), 0, groups, nullptr};
    arrange(points, placeOfBin.get(), binOfPlace.get());
    if (isAlone)
        rotate(points, binOfPlace.get());
    return true;
}

bool BinOrder::learn(int32_t points, int32_t *placeOfBin, int32_t *binOfPlace) const {
    AlignedBlock<double> click;
    if (!click.allocate(2 * int64_t{points}))
        return false;
    double *z = click.get();
    z[2] = 1.0;
    hostFunctions.ZUB_fft_8(z, points, 0);
    std::fill_n(placeOfBin, points, -1);
    for (int32_t place = 0; place < points; ++place) {
        const double turn = -std::atan2(z[2 * place + 1], z[2 * place]) / (2.0 * std::numbers::pi);
        if (!(turn >= -1.0 && turn <= 1.0))
            return false;
        const auto rounded = static_cast<int32_t>(std::lround(turn * points));
        const int32_t bin = (rounded + points) % points;
        if (placeOfBin[bin] >= 0)
            return false;
        placeOfBin[bin] = place;
        binOfPlace[place] = bin;
    }
    return true;
}

/// Runs first, then what is left, four by four.
void BinOrder::arrange(int32_t points, const int32_t *placeOfBin, const int32_t *binOfPlace) {
    AlignedBlock<int32_t> mirrorBlock;
    AlignedBlock<uint8_t> usedBlock;
    // Without this memory no run is found; the order serves all the same.
    const bool searching = mirrorBlock.allocate(points) && usedBlock.allocate(points);
    const auto mirrorOf = [&](int32_t place) {
        return placeOfBin[(points - binOfPlace[place]) % points];
    };
    int32_t *group = places.get();
    uint8_t *used = usedBlock.get();
    if (searching) {
        int32_t *mirror = mirrorBlock.get();
        for (int32_t place = 0; place < points; ++place)
            mirror[place] = mirrorOf(place);
        for (int32_t place = 0; place < points; ++place) {
            if (!isRun(place, points, mirror, used))
                continue;
            for (int32_t i = 0; i < lanes; ++i) {
                group[i] = place + runOffsets[i];
                group[lanes + i] = mirror[place] - runOffsets[i];
                used[place + i] = used[mirror[place] - i] = 1;
            }
            group += groupSize;
            ++kernelLayout.runGroups;
        }
    }

    int32_t lane = 0;
    const auto put = [&](int32_t place) {
        group[lane] = place;
        group[lanes + lane] = mirrorOf(place);
        if (++lane == lanes) {
            lane = 0;
            group += groupSize;
        }
    };
    int32_t last = 0;
    for (int32_t place = 0; place < points; ++place) {
        // Of a bin and its mirrored one, that below n / 2.
        if (binOfPlace[place] > points / 2 || (searching && (used[place] != 0)))
            continue;
        put(place);
        last = place;
    }
    while (lane > 0)
        put(last);
}

void BinOrder::rotate(int32_t points, const int32_t *binOfPlace) {
    double *turn = rotation.get();
    kernelLayout.rotation = turn;
    for (int32_t group = 0; group < kernelLayout.groups; ++group) {
        for (int32_t lane = 0; lane < lanes; ++lane) {
            const int32_t bin = binOfPlace[places.get()[groupSize * group + lane]];
            const double angle = std::numbers::pi * bin / points;
            turn[groupSize * group + lane] = std::cos(angle);
            turn[groupSize * group + lanes + lane] = -std::sin(angle);
        }
    }
}

} // namespace tonvale
