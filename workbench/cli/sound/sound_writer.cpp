#include "workbench/cli/sound/sound_writer.h"

#include "chain/decibels.h"
#include "convolution/containers/bounded_integer.h"
#include "workbench/cli/problem.h"
#include "workbench/services/media.h"
#include "workbench/services/media_types.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <limits>

namespace tonvale::workbench {

namespace {

constexpr int deepestPcm = 24;

std::string formatted(const char *format, double value) {
    char text[64];
    std::snprintf(text, sizeof text, format, value);
    return text;
}

/// A level as "-3.0 dBFS", "-inf dBFS" for silence.
std::string levelText(double peak) {
    if (peak <= 0.0)
        return "-inf dBFS";
    return formatted("%+.1f dBFS", factorToDecibels(peak));
}

} // namespace

void requireWaveName(const std::string &name) {
    std::string extension = std::filesystem::path(name).extension().string();
    std::transform(extension.begin(), extension.end(), extension.begin(), [](unsigned char c) {
        return static_cast<char>(c >= 'A' && c <= 'Z' ? c - 'A' + 'a' : c);
    });
    if (extension.size() < 2 || extension == ".wav" || extension == ".wave")
        return;
    if (isMediaExtension(extension.c_str() + 1, 0))
        throw Problem(name + ": only WAV files are written, so the name should end in .wav");
}

SoundWriter::SoundWriter(const std::string &fileName, OutputFile &outputFile, int channels,
                         double sampleRate, int bits)
    : name(fileName)
    , file(outputFile)
    , channelCount(channels)
    , rate(boundedInteger(std::round(sampleRate), 1, std::numeric_limits<int>::max()))
    , depth(bits) {
    WaveFormatBlock format;
    format.bitDepth = static_cast<uint8_t>(depth);
    sink.reset(createMediaSink(file.temporaryPath().c_str(), &format, sizeof format, channelCount,
                               rate, 0));
    if (!sink)
        throw Problem(name + ": can't be written as a WAV file");
}

void SoundWriter::write(double **planes, int frames, int offset, int spacing) {
    measure(planes, frames, offset, spacing);
    sink->WriteDoubles(planes, frames, channelCount, offset, spacing);
    frameCount += frames;
    if (mediaSinkFailed(sink.get()))
        throw Problem(name + ": writing failed, the disk may be full");
}

void SoundWriter::finish() {
    sink.reset();
    file.commit();
}

void SoundWriter::measure(double *const *planes, int frames, int offset, int spacing) {
    for (int c = 0; c < channelCount; ++c) {
        const double *sample = planes[c] + offset;
        for (int i = 0; i < frames; ++i, sample += spacing) {
            const double size = std::fabs(*sample);
            if (size <= std::numeric_limits<double>::max()) {
                peak = std::max(peak, size);
            } else {
                sawNonFinite = true;
            }
        }
    }
}

void SoundWriter::report() const {
    std::printf("Wrote     %s: %s, %d-bit%s, peak %s\n", name.c_str(),
                soundShape(rate, channelCount, frameCount).c_str(), depth,
                depth > deepestPcm ? " float" : "", levelText(peak).c_str());
    std::fflush(stdout);
    if (sawNonFinite) {
        std::fprintf(stderr, "tonvale: warning: %s holds samples that are no finite numbers\n",
                     name.c_str());
    }
    if (depth <= deepestPcm && peak > 1.0) {
        std::fprintf(stderr,
                     "tonvale: warning: %s is clipped: its peak is %s and %d bits hold 0 dBFS\n",
                     name.c_str(), levelText(peak).c_str(), depth);
    }
}

std::string soundShape(double sampleRate, int channels, int64_t frames) {
    return formatted("%.10g Hz, ", sampleRate) + std::to_string(channels) +
           (channels == 1 ? " channel, " : " channels, ") +
           formatted("%.3f s", static_cast<double>(frames) / sampleRate);
}

} // namespace tonvale::workbench
