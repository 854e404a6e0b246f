#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>

namespace tonvale::lv2 {

// What hosts are told of the plug-ins, and what the code reads of their ports: one table for both.

constexpr const char *uriPrefix = "urn:tonvale:";

/// The ports that all plug-ins have, by index. Audio inputs follow, then audio outputs.
enum PortIndex : uint32_t {
    portControl,
    portNotify,
    portLatency,
    portEnabled,
    portFreewheel,
    portWet,
    portDry,
    portPreverb,
    portMaxFft,
    portWidth,
    portPan,
    portZeroLatency,
    portLowLatency,
    firstAudioPort,
};

constexpr int32_t settingCount = 8;
/// Values of the effect's parameters, normalised, by their index there.
using Settings = std::array<float, settingCount>;

/// How the value of a port becomes that of a parameter.
enum class Law { none, decibels, linear, powerOfTwo, toggle };

struct ControlRow {
    uint32_t port;
    const char *symbol;
    const char *name;
    double low;
    double high;
    double initial;
    Law law;
    int32_t parameter; ///< of the effect, -1 for none
    const char *more;  ///< further statements of its Turtle
};

std::span<const ControlRow> controlRows();
/// What a port says, held within its range; the default where it isn't connected or says nothing
/// finite.
double controlValue(const ControlRow &row, const float *port);
double normalised(const ControlRow &row, double value);

struct ChannelRow {
    const char *name; ///< behind "in_" or "out_"; empty for a lone one
    const char *label;
    const char *designation;
    int32_t element; ///< its index in the group's class, which has an order of its own
};

struct ChannelGroup {
    const char *type; ///< in pg:
    std::span<const ChannelRow> channels;
};

constexpr size_t mostPorts = 8; ///< of audio, in one direction

struct PluginKind {
    const char *id;
    const char *name;
    const char *comment;
    ChannelGroup inputs;
    ChannelGroup outputs;
    bool crosses; ///< four response channels are L to L, L to R, R to L, R to R
};

std::span<const PluginKind> pluginKinds();
/// The most samples that a signal comes late at `rate` Hz: the Pre-verb and the longest engine.
int32_t mostLatency(double rate);

/// The URI of a plug-in, a parameter or a group.
std::string uriOf(std::string_view name);
/// "in", "out_sl" and so on.
std::string symbolOf(const char *direction, const ChannelRow &channel);

enum class PropertyType { path, string, number };

struct PropertyRow {
    const char *name;
    PropertyType type;
    bool isWritable;
    const char *label;
    const char *comment;
    const char *more;
};

/// In the order in which they are told.
enum PropertyIndex : uint8_t {
    propertyResponse,
    propertyChain,
    propertyLength,
    propertyChannels,
    propertyRate,
    propertyPeak,
    propertyStatus,
    propertyCount,
};

std::span<const PropertyRow, propertyCount> propertyRows();

} // namespace tonvale::lv2
