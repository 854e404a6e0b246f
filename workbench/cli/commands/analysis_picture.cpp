#include "workbench/cli/commands/analysis_picture.h"

#include "workbench/cli/commands/plot.h"
#include "workbench/cli/commands/spectrogram.h"
#include "workbench/cli/problem.h"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace tonvale::workbench {

namespace {

constexpr int pictureWidth = 1100;
constexpr int pictureHeight = 1280;
constexpr Frame levelFrame{90, 70, 900, 360};
constexpr Frame spectrogramFrame{90, 510, 900, 310};
constexpr Frame timesFrame{90, 900, 900, 310};

constexpr size_t mostChannels = 2;
constexpr Colour channelColours[] = {{0.10, 0.35, 0.70}, {0.80, 0.35, 0.10}};
constexpr Colour lineColours[] = {{0.03, 0.15, 0.40}, {0.45, 0.12, 0.02}};

constexpr double levelStep = 20;
constexpr double mostLevels = 140;
constexpr double dynamic = 90; ///< dB of the spectrogram
constexpr double lowestShown = 40;
constexpr double highestShown = 20000;

double seconds(const ResponseFile &response) {
    return static_cast<double>(response.samples.front().size()) / response.rate;
}

/// Mean level of each column of pixels, dBFS.
std::vector<double> levels(std::span<const double> samples, size_t columns) {
    std::vector<double> found;
    columns = std::min(columns, samples.size());
    for (size_t i = 0; i < columns; ++i) {
        const size_t from = i * samples.size() / columns;
        const size_t to = (i + 1) * samples.size() / columns;
        found.push_back(powerDb(meanPower(samples.subspan(from, to - from))));
    }
    return found;
}

void drawDecayLine(Plot &plot, const ResponseFile &response, size_t channel) {
    const ChannelFigures &figures = response.channels[channel];
    const RoomFigures &broadband = figures.bands.front();
    const Pen dashed{lineColours[channel], 1.5, true};
    if (figures.decay.showsNoise) {
        const double level = powerDb(figures.decay.noise);
        plot.line({{0, level}, {seconds(response), level}}, dashed);
    }
    if (!broadband.line || !figures.start)
        return;
    const double fall = 60 / broadband.line->seconds;
    const double perSample = fall / response.rate * std::numbers::ln10 / 10;
    const double top = broadband.line->level + powerDb(broadband.energy * perSample);
    const double from = static_cast<double>(*figures.start) / response.rate;
    const double to = seconds(response);
    plot.line({{from, top}, {to, top - fall * (to - from)}}, {lineColours[channel], 2, false});
}

void drawLevels(Canvas &canvas, const ResponseFile &response) {
    const size_t shown = std::min(response.samples.size(), mostChannels);
    std::vector<std::vector<double>> curves;
    double top = -400, bottom = 0;
    for (size_t c = 0; c < shown; ++c) {
        curves.push_back(levels(response.samples[c], static_cast<size_t>(levelFrame.width)));
        for (const double level : curves.back()) {
            top = std::max(top, level);
            bottom = level > -350 ? std::min(bottom, level) : bottom;
        }
    }
    top = (std::floor(top / levelStep) + 1) * levelStep;
    bottom = std::max(std::floor(bottom / levelStep) * levelStep, top - mostLevels);
    const Axis time = linearAxis("Time, s", 0, seconds(response));
    const Axis level =
        steppedAxis("Level, dBFS", std::min(bottom, top - levelStep), top, levelStep);
    Plot plot(canvas, levelFrame, time, level);
    for (size_t c = 0; c < shown; ++c) {
        std::vector<Point> points;
        const auto count = static_cast<double>(curves[c].size());
        for (const double value : curves[c]) {
            const double place = (static_cast<double>(points.size()) + 0.5) / count;
            points.push_back({place * seconds(response), value});
        }
        plot.line(points, {channelColours[c], 1, false});
    }
    for (size_t c = 0; c < shown; ++c)
        drawDecayLine(plot, response, c);
    plot.finish();
    for (size_t c = 0; c < shown; ++c)
        plot.key(static_cast<int>(2 * c), "channel " + std::to_string(c + 1),
                 {channelColours[c], 3, false});
    plot.key(1, "decay", {lineColours[0], 2, false});
    plot.key(shown == 1 ? 2 : 3, "noise floor", {lineColours[0], 1.5, true});
}

void drawSpectrogram(Canvas &canvas, const ResponseFile &response) {
    const Axis time = linearAxis("Time, s", 0, seconds(response));
    const Axis pitch = octaveAxis("Frequency of channel 1, Hz", lowestShown,
                                  std::clamp(response.rate / 2, 2 * lowestShown, highestShown));
    Plot plot(canvas, spectrogramFrame, time, pitch);
    const auto width = static_cast<size_t>(spectrogramFrame.width);
    const auto height = static_cast<size_t>(spectrogramFrame.height);
    std::vector<double> frequencies;
    for (size_t y = 0; y < height; ++y)
        frequencies.push_back(
            pitch.low * std::pow(pitch.high / pitch.low,
                                 1 - (static_cast<double>(y) + 0.5) / static_cast<double>(height)));
    std::vector<double> image =
        spectrogram(response.samples.front(), response.rate, width, frequencies);
    const double loudest = *std::max_element(image.begin(), image.end());
    for (double &level : image)
        level = std::clamp((level - loudest) / dynamic + 1, 0.0, 1.0);
    plot.image(image, width, height);
    plot.finish();
    plot.scale("dB", -dynamic, 0);
}

void drawTimes(Canvas &canvas, const ResponseFile &response) {
    const size_t shown = std::min(response.channels.size(), mostChannels);
    double longest = 0;
    for (size_t c = 0; c < shown; ++c) {
        for (const RoomFigures &band : response.channels[c].bands)
            longest =
                std::max({longest, band.edt.value_or(0), band.t30.value_or(band.t20.value_or(0))});
    }
    Plot plot(canvas, timesFrame, octaveAxis("Band, Hz", 44, 11500),
              linearAxis("Reverberation time, s", 0, longest > 0 ? 1.15 * longest : 1));
    for (size_t c = 0; c < shown; ++c) {
        std::vector<Point> late, early;
        for (const RoomFigures &band : response.channels[c].bands) {
            if (!band.hz)
                continue;
            if (band.t30 || band.t20)
                late.push_back({*band.hz, band.t30.value_or(band.t20.value_or(0))});
            if (band.edt)
                early.push_back({*band.hz, *band.edt});
        }
        plot.line(late, {channelColours[c], 2, false});
        plot.dots(late, channelColours[c]);
        plot.line(early, {channelColours[c], 1.5, true});
    }
    plot.finish();
    for (size_t c = 0; c < shown; ++c) {
        const std::string name = shown == 1 ? "" : ", channel " + std::to_string(c + 1);
        plot.key(static_cast<int>(2 * c), "T30 or T20" + name, {channelColours[c], 2, false});
        plot.key(static_cast<int>(2 * c + 1), "EDT" + name, {channelColours[c], 1.5, true});
    }
}

} // namespace

void drawPicture(const ResponseFile &response, OutputFile &output) {
    Canvas canvas(pictureWidth, pictureHeight);
    canvas.title(response.name);
    drawLevels(canvas, response);
    drawSpectrogram(canvas, response);
    drawTimes(canvas, response);
    canvas.writePng([&](const void *bytes, size_t size) { output.write(bytes, size); });
}

} // namespace tonvale::workbench
