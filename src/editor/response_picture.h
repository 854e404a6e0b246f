#pragma once

#include "convolution/containers/impulse_buffer.h"

#include <functional>

namespace tonvale {

// The picture of an impulse response: a band for each channel, with its frequencies over time as
// colours, high ones at the top, and its waveform over them. No window, no lock: the caller keeps
// the response as it is meanwhile. Samples may have any value.

/// Pixels 0xAARRGGBB, in rows that begin `rowSpan` pixels apart.
struct PixelSpan {
    uint32_t *pixels;
    int32_t width;
    int32_t height;
    int32_t rowSpan;
};

/// The rows of a channel, from `top` to `end` - 1.
struct ChannelBand {
    int32_t top;
    int32_t end;
};
/// Of channel `index` of `channels` in `height` rows, so that the bands share them out.
ChannelBand channelBand(int32_t index, int32_t channels, int32_t height);

/// What the spectra of one picture leave for the next. One user at a time.
struct SpectrumScratch {
    static constexpr int32_t largestTransform = 64;
    double fold[largestTransform]{};
    TypedBuffer<float> hannRamp; ///< rising half of the analysis window
};

/// Writes the spectrum band of each channel. Each column is a transform, by the host, of just 32 or
/// 64 points, into which the stretch of the response around that column is folded, however long it
/// is; so each sample is visited about once. The last row of a band stays as it is. Without memory
/// for the window nothing is to be heard in the bands: they are transparent black.
void drawSpectra(const ImpulseBuffer &response, const PixelSpan &out, SpectrumScratch &scratch);

/// Draws a line of a colour 0xRRGGBB, ends included, as far as it lies in the picture.
using DrawLine =
    std::function<void(int32_t x1, int32_t y1, int32_t x2, int32_t y2, uint32_t colour)>;

/// The waveform of each channel over `width` by `height` pixels: for each column the range from
/// lowest to highest sample, or with fewer samples than columns a line for each sample, from the
/// middle of its band. A sample beyond full scale leaves its band.
void drawWaveforms(const ImpulseBuffer &response, int32_t width, int32_t height,
                   const DrawLine &drawLine);

/// Where the dry signal sets in, `delay` samples into the response; no line at column 0.
void drawDelayLine(const ImpulseBuffer &response, int32_t delay, int32_t width, int32_t height,
                   const DrawLine &drawLine);

/// Samples of the longest channel, at least 1.
int32_t shownLength(const ImpulseBuffer &response);
/// The greatest magnitude in any channel; a NaN has none.
double responsePeak(const ImpulseBuffer &response);

} // namespace tonvale
