#include "workbench/cli/rendering/channel_plan.h"

#include "workbench/cli/sound/sound_reader.h"

#include <algorithm>

namespace tonvale::workbench {

namespace {

std::string copyStage(int source, int destination, int count, int total) {
    return "CHANTOOL " + std::to_string(source) + " " + std::to_string(destination) + " 1 " +
           std::to_string(count) + " " + std::to_string(total);
}

/// Stages that make response channel i the one that channel `first` + i had. Nothing where the
/// plug-in has too few channels for it.
std::optional<std::vector<std::string>> selection(int first, int count, int responses) {
    const int start = first % responses;
    const int kept = std::min(count, responses);
    if (start == 0 && kept == responses)
        return std::vector<std::string>{};
    if (start + kept <= responses)
        return std::vector{copyStage(start, 0, kept, kept)};
    if (2 * responses > channelLimit)
        return std::nullopt;
    // Twice in a row, so that the lane's part is found in one piece.
    return std::vector{copyStage(0, responses, responses, 0), copyStage(start, 0, kept, kept)};
}

std::optional<LaneRoute> route(const ChannelRequest &request, int first, int count) {
    auto stages = selection(first, count, request.responses);
    if (!stages)
        return std::nullopt;
    LaneRoute lane;
    lane.selection = std::move(*stages);
    lane.isMirrored = first % 2 == 1;
    for (int c = first; c < first + count; ++c) {
        lane.inputs.push_back(c % request.inputs);
        lane.outputs.push_back(c);
    }
    return lane;
}

} // namespace

std::vector<LaneRoute> planChannels(const ChannelRequest &request) {
    // Two channels in one instance cost less than in two, so they part only where there are lanes
    // enough.
    const int pairs = (request.outputs + 1) / 2;
    const int unit = request.staysInPairs || pairs >= request.lanes ? 2 : 1;
    const int units = (request.outputs + unit - 1) / unit;
    const int lanes = std::clamp(request.lanes, 1, units);
    std::vector<LaneRoute> plan;
    for (int i = 0; i < lanes; ++i) {
        const int first = units * i / lanes * unit;
        const int end = std::min(units * (i + 1) / lanes * unit, request.outputs);
        auto lane = route(request, first, end - first);
        if (!lane)
            return {*route(request, 0, request.outputs)};
        plan.push_back(std::move(*lane));
    }
    return plan;
}

std::vector<LaneRoute> planTrueStereo(int inputs) {
    const int right = inputs > 1 ? 1 : 0;
    LaneRoute straight, crossed;
    straight.inputs = {0, right};
    crossed.inputs = {right, 0};
    straight.outputs = crossed.outputs = {0, 1};
    straight.selection = {copyStage(3, 1, 1, 2)};
    crossed.selection = {copyStage(2, 0, 1, 2)};
    crossed.hasDry = false;
    return {straight, crossed};
}

} // namespace tonvale::workbench
