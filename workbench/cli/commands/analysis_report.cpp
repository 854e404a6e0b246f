#include "workbench/cli/commands/analysis_report.h"

#include "workbench/cli/sound/sound_writer.h"

#include <cmath>
#include <cstdio>
#include <nlohmann/json.hpp>

namespace tonvale::workbench {

namespace {

using Json = nlohmann::ordered_json;
using Figure = std::optional<double> RoomFigures::*;

struct Column {
    const char *key;   ///< in JSON
    const char *title; ///< in the table
    Figure figure;
    int decimals;
};

constexpr Column columns[] = {
    {"edt", "EDT s", &RoomFigures::edt, 3},      {"t20", "T20 s", &RoomFigures::t20, 3},
    {"t30", "T30 s", &RoomFigures::t30, 3},      {"c50", "C50 dB", &RoomFigures::c50, 2},
    {"c80", "C80 dB", &RoomFigures::c80, 2},     {"d50", "D50", &RoomFigures::d50, 3},
    {"ts", "Ts s", &RoomFigures::centreTime, 4}, {"inr", "INR dB", &RoomFigures::impulseToNoise, 1},
};

constexpr int columnWidth = 9;

Json json(const std::optional<double> &value) {
    return value && std::isfinite(*value) ? Json(*value) : Json();
}

std::string text(const std::optional<double> &value, int decimals) {
    if (!value || !std::isfinite(*value))
        return "-";
    char digits[64];
    std::snprintf(digits, sizeof digits, "%.*f", decimals, *value);
    return digits;
}

std::optional<double> startTime(const ChannelFigures &channel, double rate) {
    if (!channel.start)
        return std::nullopt;
    return static_cast<double>(*channel.start) / rate;
}

std::optional<double> peakDb(const ChannelFigures &channel) {
    if (!(channel.peak > 0))
        return std::nullopt;
    return 20 * std::log10(channel.peak);
}

std::optional<double> noiseDb(const ChannelFigures &channel) {
    if (!channel.decay.showsNoise)
        return std::nullopt;
    return powerDb(channel.decay.noise);
}

Json json(const ChannelFigures &channel, size_t number, double rate) {
    Json bands = Json::array();
    for (const RoomFigures &figures : channel.bands) {
        Json band;
        band["hz"] = json(figures.hz);
        for (const Column &column : columns)
            band[column.key] = json(figures.*column.figure);
        bands.push_back(std::move(band));
    }
    return {{"channel", number},
            {"start", json(startTime(channel, rate))},
            {"peakDb", json(peakDb(channel))},
            {"noiseDb", json(noiseDb(channel))},
            {"bands", std::move(bands)}};
}

void printRow(const std::string &title, const auto &cell) {
    std::printf("  %-9s", title.c_str());
    for (const Column &column : columns)
        std::printf("%*s", columnWidth, cell(column).c_str());
    std::printf("\n");
}

} // namespace

void printTable(const ResponseFile &file) {
    const size_t frames = file.samples.empty() ? 0 : file.samples.front().size();
    std::printf(
        "%s: %s\n", file.name.c_str(),
        soundShape(file.rate, static_cast<int>(file.samples.size()), static_cast<int64_t>(frames))
            .c_str());
    for (size_t c = 0; c < file.channels.size(); ++c) {
        const ChannelFigures &channel = file.channels[c];
        std::printf("\nChannel %zu: start %s s, peak %s dBFS, noise %s dBFS\n", c + 1,
                    text(startTime(channel, file.rate), 4).c_str(),
                    text(peakDb(channel), 1).c_str(), text(noiseDb(channel), 1).c_str());
        printRow("Hz", [](const Column &column) { return std::string(column.title); });
        for (const RoomFigures &figures : channel.bands) {
            printRow(figures.hz ? text(figures.hz, 0) : "broadband", [&](const Column &column) {
                return text(figures.*column.figure, column.decimals);
            });
        }
    }
    if (file.ears.early || file.ears.late) {
        std::printf("\nIACC: early %s, late %s\n", text(file.ears.early, 3).c_str(),
                    text(file.ears.late, 3).c_str());
    }
    std::printf("\n");
}

void printJson(const std::vector<ResponseFile> &files) {
    Json all = Json::array();
    for (const ResponseFile &file : files) {
        Json channels = Json::array();
        for (size_t c = 0; c < file.channels.size(); ++c)
            channels.push_back(json(file.channels[c], c + 1, file.rate));
        all.push_back({{"file", file.name},
                       {"rate", file.rate},
                       {"channels", std::move(channels)},
                       {"iaccEarly", json(file.ears.early)},
                       {"iaccLate", json(file.ears.late)}});
    }
    // A file name may hold bytes that are no UTF-8.
    std::printf("%s\n", all.dump(2, ' ', false, Json::error_handler_t::replace).c_str());
}

} // namespace tonvale::workbench
