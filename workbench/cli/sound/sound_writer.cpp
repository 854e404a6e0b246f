#include "workbench/cli/sound/sound_writer.h"

#include "chain/decibels.h"
#include "convolution/containers/bounded_integer.h"
#include "workbench/cli/warnings.h"

#include <cmath>
#include <cstdio>
#include <limits>

namespace tonvale::workbench {

namespace {

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

SoundWriter::SoundWriter(OutputFile &outputFile, const SoundFormat &soundFormat,
                         const SoundShape &soundShape)
    : file(outputFile)
    , format(soundFormat)
    , shape(soundShape)
    , coder(format, shape.channels)
    , container(makeSoundContainer(format, shape, file)) {}

void SoundWriter::write(const double *const *planes, int frames, int offset, int spacing) {
    container->write(coder.code(planes, frames, offset, spacing), frames);
    frameCount += frames;
}

void SoundWriter::finish() {
    container->finish();
    if (coder.sawNonFinite())
        warn(file.shownName() + " holds samples that are no finite numbers");
    if (!format.isFloat() && coder.peak() > 1.0) {
        warn(file.shownName() + " is clipped: its peak is " + levelText(coder.peak()) + " and " +
             std::to_string(format.depth) + " bits hold 0 dBFS");
    }
}

void SoundWriter::report() const {
    std::printf("Wrote     %s: %s, %d-bit%s, peak %s\n", file.shownName().c_str(),
                soundShape(shape.rate, shape.channels, frameCount).c_str(), format.depth,
                format.isFloat() ? " float" : "", levelText(coder.peak()).c_str());
    std::fflush(stdout);
}

SoundShape shapeOf(double sampleRate, int channels) {
    SoundShape shape;
    shape.channels = channels;
    shape.rate = boundedInteger(std::round(sampleRate), 1, std::numeric_limits<int>::max());
    return shape;
}

std::string soundShape(double sampleRate, int channels, std::optional<int64_t> frames) {
    std::string text = formatted("%.10g Hz, ", sampleRate) + std::to_string(channels) +
                       (channels == 1 ? " channel" : " channels");
    if (frames)
        text += formatted(", %.3f s", static_cast<double>(*frames) / sampleRate);
    return text;
}

} // namespace tonvale::workbench
