#pragma once

#include <cstdint>

// Objects that the host hands out. Each starts with the pointer to its table, and the table holds
// just these operations in this order, so none may gain data, a virtual destructor or another
// operation. The caller owns what the host creates and ends it with destroy(1).

namespace tonvale {

/// One read from a MediaSource. All fields that a caller doesn't set are zero before each read.
struct MediaReadBlock {
    double time;        ///< seconds into the source at which to read
    double sampleRate;  ///< wanted rate, Hz
    int32_t channels;   ///< wanted channels; fewer than the source has gives a mix
    int32_t length;     ///< wanted frames
    double *samples;    ///< the caller's room: length * channels interleaved samples
    int32_t samplesOut; ///< frames delivered, 0 at the end
    int32_t reserved1[5];
    double secondTime; ///< set equal to time by the measurement tools
    int64_t reserved2;
};
static_assert(sizeof(MediaReadBlock) == 72);

class MediaSource {
  public:
    virtual void destroy(int one) = 0;
    virtual int GetNumChannels() = 0;
    virtual double GetSampleRate() = 0; ///< Hz
    virtual double GetLength() = 0;     ///< seconds
    virtual void GetSamples(MediaReadBlock *block) = 0;

  protected:
    ~MediaSource() = default;
};

class MediaSink {
  public:
    /// Finishes the file.
    virtual void destroy(int one) = 0;
    /// Appends `length` frames; sample n of a channel is read at offset + n * spacing.
    virtual void WriteDoubles(double **channels, int length, int channelCount, int offset,
                              int spacing) = 0;

  protected:
    ~MediaSink() = default;
};

class ResamplerHandle {
  public:
    virtual void destroy(int one) = 0;
    virtual void SetRates(double in, double out) = 0;
    virtual void Reset() = 0;
    /// How many input frames it wants for `outFrames` output frames; `place` becomes the room for
    /// them, interleaved.
    virtual int Prepare(int outFrames, int channels, double **place) = 0;
    /// Takes `inFrames` frames from the prepared room, writes at most `outFrames` interleaved
    /// frames to `out` and answers how many.
    virtual int Out(double *out, int inFrames, int outFrames, int channels) = 0;
    virtual intptr_t Extended(int call, intptr_t first, intptr_t second, intptr_t third) = 0;

  protected:
    ~ResamplerHandle() = default;
};

/// Resampler call that picks a quality mode, its number in the first argument.
constexpr int resamplerSetMode = 4096;

/// A host bitmap: 32-bit pixels 0xAARRGGBB.
class HostBitmap {
  public:
    virtual void destroy(int one) = 0;
    virtual uint32_t *pixels() = 0;
    virtual int width() = 0;
    virtual int height() = 0;
    virtual int rowSpan() = 0; ///< pixels from row to row
    virtual int reserved() = 0;
    virtual bool resize(int width, int height) = 0;
    virtual void *deviceContext() = 0; ///< an HDC usable for text and BitBlt
    virtual int extended(int call, void *argument) = 0;

  protected:
    ~HostBitmap() = default;
};

/// The format block that PCM_Sink_Create takes for a WAV file: five bytes, with no padding.
struct WaveFormatBlock {
    uint8_t tag[4] = {0x65, 0x76, 0x61, 0x77}; ///< 0x77617665, little-endian
    uint8_t bitDepth = 32;                     ///< 16, 24: PCM; 32, 64: floating point
};
static_assert(sizeof(WaveFormatBlock) == 5);

} // namespace tonvale
