#include "editor/response_picture.h"

#include "convolution/containers/bounded_integer.h"
#include "editor/level_colour.h"
#include "host/host_functions.h"

#include <algorithm>
#include <cmath>

namespace tonvale {

namespace {

constexpr uint32_t waveformColour = 0xFFFFFF;
constexpr uint32_t delayColour = 0xFFFF00;

/// Ends of lines are held in this range around the picture, so that a drawing host can reckon with
/// them.
constexpr int32_t farthestPixel = 1 << 20;

int32_t pixelAt(double position) {
    return boundedInteger(position, -farthestPixel, farthestPixel);
}

struct ChannelView {
    const double *samples;
    int32_t length;
};

ChannelView channelOf(const ImpulseBuffer &response, int32_t index) {
    return {response.getChannel(index), response.getChannelLength(index)};
}

/// The rising half of a Hann window, `half` + 1 values; null without memory.
const float *hannRamp(TypedBuffer<float> &ramp, int32_t half) {
    const int32_t count = half + 1;
    if (ramp.getSize() == count)
        return ramp.get();
    ramp.resize(count, true);
    if (ramp.getSize() != count)
        return nullptr;
    float *values = ramp.get();
    for (int32_t i = 0; i < count; ++i)
        values[i] = static_cast<float>(0.5 - 0.5 * std::cos(i * 3.14159 / half));
    return values;
}

/// One column after the other of a channel's band.
class SpectrumColumns {
  public:
    SpectrumColumns(const ChannelView &from, int32_t columnCount, SpectrumScratch &scratch)
        : channel(from)
        , columns(columnCount)
        , points(from.length < 2048 ? 32 : SpectrumScratch::largestTransform)
        , bins(points / 2)
        , half(std::max(4, (from.length / (2 * columnCount)) & ~1))
        , scale(points * 0.25 / half)
        , ramp(hannRamp(scratch.hannRamp, half))
        , fold(scratch.fold)
        , order(hostFunctions.ZUB_fft_permute_tab ? hostFunctions.ZUB_fft_permute_tab(bins)
                                                  : nullptr) {}

    void draw(int32_t column, uint32_t *pixel, int32_t rows, int32_t rowSpan) {
        std::fill_n(fold, SpectrumScratch::largestTransform, 0.0);
        if (ramp)
            foldAround(boundedInteger(static_cast<double>(column) * channel.length / columns, 0,
                                      channel.length));
        if (hostFunctions.ZUB_fft_real_8)
            hostFunctions.ZUB_fft_real_8(fold, points, 0);
        writeRows(pixel, rows, rowSpan);
    }

  private:
    /// The stretch of 2 * half samples around `centre` under the window, wrapped into `points`.
    void foldAround(int32_t centre) {
        const int32_t mask = points - 1;
        const int32_t first = std::max(0, centre - half);
        const int32_t end = std::min(channel.length, centre + half);
        for (int32_t k = first; k < centre; ++k)
            fold[k & mask] += static_cast<double>(ramp[k - (centre - half)]) * channel.samples[k];
        for (int32_t k = centre; k < end; ++k)
            fold[k & mask] += static_cast<double>(ramp[centre + half - k]) * channel.samples[k];
    }

    /// Of the bin that is `fromTop` below the highest.
    double power(int32_t fromTop) const {
        if (fromTop == 0)
            return fold[1] * fold[1];
        const int32_t bin = bins - fromTop;
        if (bin <= 0)
            return fold[0] * fold[0];
        const int32_t at = 2 * (order ? order[bin] : bin);
        return fold[at] * fold[at] + fold[at + 1] * fold[at + 1];
    }

    /// A row shows the strongest of the bins that it passes, or where rows are narrower than bins
    /// what the row above shows.
    void writeRows(uint32_t *pixel, int32_t rows, int32_t rowSpan) const {
        const double binsPerRow = static_cast<double>(bins) / rows;
        double position = 0.0;
        int32_t next = 0;
        uint32_t colour = levelColour(0.0);
        for (int32_t row = 0; row < rows; ++row, pixel += rowSpan, position += binsPerRow) {
            const int32_t end = boundedInteger(position, 0, bins);
            if (next < end) {
                double strongest = 0.0;
                for (; next < end; ++next)
                    strongest = std::max(strongest, power(next));
                colour = levelColour(strongest * scale);
            }
            *pixel = colour;
        }
    }

    ChannelView channel;
    int32_t columns;
    int32_t points;
    int32_t bins;
    int32_t half; ///< of the window
    double scale; ///< of a power, so that the window's length doesn't show
    const float *ramp;
    double *fold;
    const int *order; ///< the pair of each bin; null for the natural order
};

/// Maps full scale to a band: +1 is its top.
struct SampleRows {
    double scale;
    double centre;

    explicit SampleRows(const ChannelBand &band)
        : scale((band.top - (band.end - 1)) * 0.5)
        , centre((band.top + band.end - 1) * 0.5) {}
    int32_t rowOf(double sample) const { return pixelAt(sample * scale + centre); }
};

void drawSampleLines(const ChannelView &channel, const SampleRows &rows, double step,
                     const DrawLine &drawLine) {
    for (int32_t i = 0; i < channel.length; ++i) {
        const int32_t x = pixelAt(i * step);
        drawLine(x, pixelAt(rows.centre), x, rows.rowOf(channel.samples[i]), waveformColour);
    }
}

/// The least and the greatest of some samples, at most 1 and at least -1.
struct SampleRange {
    double low = 1.0;
    double high = -1.0;

    SampleRange(const double *samples, int32_t count) {
        // Side by side, since each comparison would wait for the one before.
        constexpr int32_t lanes = 4;
        double lows[lanes] = {low, low, low, low}, highs[lanes] = {high, high, high, high};
        int32_t i = 0;
        for (; i + lanes <= count; i += lanes)
            for (int32_t lane = 0; lane < lanes; ++lane) {
                lows[lane] = std::min(lows[lane], samples[i + lane]);
                highs[lane] = std::max(highs[lane], samples[i + lane]);
            }
        for (; i < count; ++i) {
            lows[0] = std::min(lows[0], samples[i]);
            highs[0] = std::max(highs[0], samples[i]);
        }
        low = *std::min_element(lows, lows + lanes);
        high = *std::max_element(highs, highs + lanes);
    }
};

void drawColumnRanges(const ChannelView &channel, const SampleRows &rows, double step,
                      const DrawLine &drawLine) {
    double position = 0.0;
    int32_t drawn = 0, first = 0;
    for (int32_t i = 0; i < channel.length; ++i) {
        position += step;
        if (position < drawn + 1)
            continue;
        const int32_t x = pixelAt(position);
        const SampleRange range(channel.samples + first, i + 1 - first);
        drawLine(x, rows.rowOf(range.low), x, rows.rowOf(range.high), waveformColour);
        drawn = x;
        first = i + 1;
    }
}

} // namespace

ChannelBand channelBand(int32_t index, int32_t channels, int32_t height) {
    const auto edge = [&](int32_t i) {
        return static_cast<int32_t>(static_cast<int64_t>(i) * height / channels);
    };
    return {edge(index), edge(index + 1)};
}

void drawSpectra(const ImpulseBuffer &response, const PixelSpan &out, SpectrumScratch &scratch) {
    if (out.width < 1)
        return;
    const int32_t channels = response.getNumChannels();
    for (int32_t c = 0; c < channels; ++c) {
        const ChannelBand band = channelBand(c, channels, out.height);
        const int32_t rows = band.end - 1 - band.top;
        if (rows < 1)
            continue;
        SpectrumColumns columns(channelOf(response, c), out.width, scratch);
        uint32_t *top = out.pixels + static_cast<int64_t>(band.top) * out.rowSpan;
        for (int32_t x = 0; x < out.width; ++x)
            columns.draw(x, top + x, rows, out.rowSpan);
    }
}

void drawWaveforms(const ImpulseBuffer &response, int32_t width, int32_t height,
                   const DrawLine &drawLine) {
    const int32_t channels = response.getNumChannels();
    const double step = static_cast<double>(width) / shownLength(response);
    for (int32_t c = 0; c < channels; ++c) {
        const ChannelView channel = channelOf(response, c);
        const SampleRows rows(channelBand(c, channels, height));
        const auto draw = width > channel.length ? drawSampleLines : drawColumnRanges;
        draw(channel, rows, step, drawLine);
    }
}

void drawDelayLine(const ImpulseBuffer &response, int32_t delay, int32_t width, int32_t height,
                   const DrawLine &drawLine) {
    // In 32 bits, which wrap around for a delay of many minutes.
    const auto product =
        static_cast<int32_t>(static_cast<uint32_t>(width) * static_cast<uint32_t>(delay));
    const int32_t x = pixelAt(static_cast<double>(product) / shownLength(response));
    if (x != 0)
        drawLine(x, 0, x, height, delayColour);
}

int32_t shownLength(const ImpulseBuffer &response) {
    int32_t longest = 1;
    for (int32_t c = 0; c < response.getNumChannels(); ++c)
        longest = std::max(longest, response.getChannelLength(c));
    return longest;
}

double responsePeak(const ImpulseBuffer &response) {
    double peak = 0.0;
    for (int32_t c = 0; c < response.getNumChannels(); ++c) {
        const ChannelView channel = channelOf(response, c);
        for (int32_t i = 0; i < channel.length; ++i)
            peak = std::max(peak, std::abs(channel.samples[i]));
    }
    return peak;
}

} // namespace tonvale
