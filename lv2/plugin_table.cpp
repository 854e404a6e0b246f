#include "lv2/plugin_table.h"

#include "chain/decibels.h"
#include "core/parameters.h"

#include <algorithm>
#include <cmath>

namespace tonvale::lv2 {

namespace {

constexpr double longestPreverb = 3.0;
constexpr double longestEngine = 16384;
constexpr double silentDecibels = -60.0;

constexpr ControlRow rows[] = {
    {portEnabled, "enabled", "Enabled", 0, 1, 1, Law::none, -1,
     "lv2:designation lv2:enabled ; lv2:portProperty lv2:toggled , lv2:integer"},
    {portFreewheel, "freewheel", "Freewheel", 0, 1, 0, Law::none, -1,
     "lv2:designation lv2:freeWheeling ; "
     "lv2:portProperty lv2:toggled , lv2:integer , pprop:notOnGUI"},
    {portWet, "wet", "Wet", silentDecibels, 6, -12, Law::decibels, paramWet,
     "units:unit units:db ; lv2:scalePoint [ rdfs:label \"off\" ; rdf:value -60.0 ]"},
    {portDry, "dry", "Dry", silentDecibels, 6, 0, Law::decibels, paramDry,
     "units:unit units:db ; lv2:scalePoint [ rdfs:label \"off\" ; rdf:value -60.0 ]"},
    {portPreverb, "preverb", "Pre-verb", 0, 1000 * longestPreverb, 0, Law::linear, paramPreverb,
     "units:unit units:ms ; lv2:portProperty pprop:causesArtifacts , pprop:notAutomatic"},
    {portMaxFft, "max_fft", "Max FFT size", 32, 16384, 16384, Law::powerOfTwo, paramMaxFft,
     "lv2:portProperty lv2:integer , lv2:enumeration , pprop:expensive , pprop:notAutomatic ; "
     "lv2:scalePoint [ rdfs:label \"32\" ; rdf:value 32 ] , "
     "[ rdfs:label \"64\" ; rdf:value 64 ] , [ rdfs:label \"128\" ; rdf:value 128 ] , "
     "[ rdfs:label \"256\" ; rdf:value 256 ] , [ rdfs:label \"512\" ; rdf:value 512 ] , "
     "[ rdfs:label \"1024\" ; rdf:value 1024 ] , [ rdfs:label \"2048\" ; rdf:value 2048 ] , "
     "[ rdfs:label \"4096\" ; rdf:value 4096 ] , [ rdfs:label \"8192\" ; rdf:value 8192 ] , "
     "[ rdfs:label \"16384\" ; rdf:value 16384 ]"},
    {portWidth, "width", "Width", -1, 1, 1, Law::linear, paramWidth,
     "lv2:scalePoint [ rdfs:label \"swapped\" ; rdf:value -1.0 ] , "
     "[ rdfs:label \"mono\" ; rdf:value 0.0 ] , [ rdfs:label \"as it is\" ; rdf:value 1.0 ]"},
    {portPan, "pan", "Pan", -1, 1, 0, Law::linear, paramPan,
     "lv2:scalePoint [ rdfs:label \"left\" ; rdf:value -1.0 ] , "
     "[ rdfs:label \"middle\" ; rdf:value 0.0 ] , [ rdfs:label \"right\" ; rdf:value 1.0 ]"},
    {portZeroLatency, "zl", "Zero latency", 0, 1, 1, Law::toggle, paramZeroLatency,
     "lv2:portProperty lv2:toggled , lv2:integer , pprop:expensive , pprop:notAutomatic"},
    {portLowLatency, "ll", "Low load", 0, 1, 1, Law::toggle, paramLowLatency,
     "lv2:portProperty lv2:toggled , lv2:integer , pprop:expensive , pprop:notAutomatic"},
};

constexpr ChannelRow mono[] = {{"", "", "pg:center", 0}};
constexpr ChannelRow stereo[] = {{"l", "Left", "pg:left", 0}, {"r", "Right", "pg:right", 1}};
constexpr ChannelRow surround51[] = {
    {"l", "Left", "pg:left", 0},
    {"r", "Right", "pg:right", 2},
    {"c", "Centre", "pg:center", 1},
    {"lfe", "Low frequencies", "pg:lowFrequencyEffects", 5},
    {"sl", "Surround left", "pg:rearLeft", 3},
    {"sr", "Surround right", "pg:rearRight", 4},
};
constexpr ChannelRow surround71[] = {
    {"l", "Left", "pg:left", 0},           {"r", "Right", "pg:right", 2},
    {"c", "Centre", "pg:center", 1},       {"lfe", "Low frequencies", "pg:lowFrequencyEffects", 7},
    {"bl", "Back left", "pg:rearLeft", 5}, {"br", "Back right", "pg:rearRight", 6},
    {"sl", "Side left", "pg:sideLeft", 3}, {"sr", "Side right", "pg:sideRight", 4},
};

constexpr PluginKind kinds[] = {
    {"mono",
     "Mono",
     "Convolves one channel with the first channel of a response.",
     {"MonoGroup", mono},
     {"MonoGroup", mono},
     false},
    {"stereo",
     "Stereo",
     "Convolves left and right, each with a channel of a response.",
     {"StereoGroup", stereo},
     {"StereoGroup", stereo},
     false},
    {"mono-to-stereo",
     "Mono to Stereo",
     "Sets one channel into a room that was measured in stereo.",
     {"MonoGroup", mono},
     {"StereoGroup", stereo},
     false},
    {"true-stereo",
     "True Stereo",
     "Convolves with a response of four channels: left to left, left to right, right to left, "
     "right to right.",
     {"StereoGroup", stereo},
     {"StereoGroup", stereo},
     true},
    {"surround-5.1",
     "Surround 5.1",
     "Convolves six channels in the order of wave files, each with a channel of a response.",
     {"FivePointOneGroup", surround51},
     {"FivePointOneGroup", surround51},
     false},
    {"surround-7.1",
     "Surround 7.1",
     "Convolves eight channels in the order of wave files, each with a channel of a response.",
     {"SevenPointOneGroup", surround71},
     {"SevenPointOneGroup", surround71},
     false},
};

constexpr std::array<PropertyRow, propertyCount> properties{{
    {"response", PropertyType::path, true, "Impulse response",
     "A sound file as the whole chain; empty for none, and where the chain is more than that.", ""},
    {"chain", PropertyType::string, true, "Chain",
     "The stages that make the response, one a line: a key and its values; ! in front bypasses.",
     ""},
    {"length", PropertyType::number, false, "Length", "How long the response is.",
     "units:unit units:s"},
    {"channels", PropertyType::number, false, "Channels", "How many channels the response has.",
     ""},
    {"rate", PropertyType::number, false, "Sample rate", "The rate at which the response plays.",
     "units:unit units:hz"},
    {"peak", PropertyType::number, false, "Peak",
     "The largest sample of the response; full scale is 0.", "units:unit units:db"},
    {"status", PropertyType::string, false, "Status",
     "A line for each line of the chain: what became of it.", ""},
}};

} // namespace

std::span<const ControlRow> controlRows() {
    return rows;
}

double controlValue(const ControlRow &row, const float *port) {
    if (!port || !std::isfinite(*port))
        return row.initial;
    return std::clamp<double>(*port, row.low, row.high);
}

double normalised(const ControlRow &row, double value) {
    switch (row.law) {
    case Law::decibels:
        return value <= silentDecibels ? 0.0 : decibelsToFactor(value);
    case Law::powerOfTwo:
        value = std::exp2(std::round(std::log2(value)));
        return (value - row.low) / (row.high - row.low);
    case Law::linear:
        return (value - row.low) / (row.high - row.low);
    case Law::toggle:
    case Law::none:
        break;
    }
    return value > 0.0 ? 1.0 : 0.0;
}

std::span<const PluginKind> pluginKinds() {
    return kinds;
}

int32_t mostLatency(double rate) {
    return static_cast<int32_t>(longestPreverb * rate + longestEngine);
}

std::string uriOf(std::string_view name) {
    return std::string(uriPrefix).append(name);
}

std::string symbolOf(const char *direction, const ChannelRow &channel) {
    const std::string name = channel.name;
    return name.empty() ? direction : direction + ("_" + name);
}

std::span<const PropertyRow, propertyCount> propertyRows() {
    return properties;
}

} // namespace tonvale::lv2
