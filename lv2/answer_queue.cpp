#include "lv2/answer_queue.h"

#include "lv2/chain_text.h"

#include <algorithm>
#include <cstring>

namespace tonvale::lv2 {

namespace {

constexpr uint32_t padded(size_t size) {
    return (static_cast<uint32_t>(size) + 7U) & ~7U;
}

/// Bytes that go behind each other, with padding behind each atom.
struct Writer {
    char *place;

    template <class T>
    void put(const T &value) {
        std::memcpy(place, &value, sizeof value);
        place += sizeof value;
    }
    void putBody(const void *bytes, size_t size, size_t zeros) {
        std::memset(place, 0, padded(size + zeros));
        std::memcpy(place, bytes, size);
        place += padded(size + zeros);
    }
};

struct Value {
    LV2_URID type;
    const void *bytes;
    size_t size;
    size_t zeros; ///< behind the bytes, and part of the value
};

constexpr size_t propertyHead = 2 * sizeof(LV2_URID) + sizeof(LV2_Atom);

size_t eventSize(const Value &value) {
    return sizeof(LV2_Atom_Event) + sizeof(LV2_Atom_Object_Body) + propertyHead +
           padded(sizeof(LV2_URID)) + propertyHead + padded(value.size + value.zeros);
}

void putSet(Writer &writer, const Urids &urids, LV2_URID property, const Value &value) {
    const auto bodySize = static_cast<uint32_t>(eventSize(value) - sizeof(LV2_Atom_Event));
    writer.put(LV2_Atom_Event{{0}, {bodySize, urids.atomObject}});
    writer.put(LV2_Atom_Object_Body{0, urids.patchSet});
    writer.put(std::array<LV2_URID, 2>{urids.patchProperty, 0});
    writer.put(LV2_Atom{sizeof property, urids.atomUrid});
    writer.putBody(&property, sizeof property, 0);
    writer.put(std::array<LV2_URID, 2>{urids.patchValue, 0});
    writer.put(LV2_Atom{static_cast<uint32_t>(value.size + value.zeros), value.type});
    writer.putBody(value.bytes, value.size, value.zeros);
}

Value valueOf(PropertyIndex property, const Urids &urids, const Report &report,
              std::string_view chain) {
    const auto text = [](LV2_URID type, std::string_view of) {
        return Value{type, of.empty() ? "" : of.data(), of.size(), 1};
    };
    const auto number = [&urids](const float &of) {
        return Value{urids.atomFloat, &of, sizeof of, 0};
    };
    switch (property) {
    case propertyResponse:
        return text(urids.atomPath, lonePath(chain));
    case propertyChain:
        return text(urids.atomString, chain);
    case propertyLength:
        return number(report.length);
    case propertyChannels:
        return number(report.channels);
    case propertyRate:
        return number(report.rate);
    case propertyPeak:
        return number(report.peak);
    default:
        return text(urids.atomString, report.status);
    }
}

} // namespace

void AnswerQueue::ask(PropertyIndex property) {
    if (count == room)
        return;
    waiting[(first + count++) % room] = property;
}

void AnswerQueue::askAll() {
    // What waits would tell the same.
    first = count = 0;
    for (uint8_t i = 0; i < propertyCount; ++i)
        ask(static_cast<PropertyIndex>(i));
}

void AnswerQueue::write(LV2_Atom_Sequence *port, const Urids &urids, const Report &report,
                        std::string_view chain) {
    if (!port)
        return;
    const size_t whole = std::max<size_t>(port->atom.size, sizeof(LV2_Atom_Sequence));
    size_t left = whole - sizeof(LV2_Atom_Sequence);
    const size_t most = left;
    Writer writer{reinterpret_cast<char *>(port) + sizeof(LV2_Atom_Sequence)};
    for (; count > 0; first = (first + 1) % room, --count) {
        const PropertyIndex property = waiting[first];
        const Value value = valueOf(property, urids, report, chain);
        const size_t size = eventSize(value);
        if (size > most)
            continue;
        if (size > left)
            break;
        putSet(writer, urids, urids.properties[property], value);
        left -= size;
    }
    port->atom.type = urids.atomSequence;
    port->atom.size = static_cast<uint32_t>(sizeof(LV2_Atom_Sequence_Body) + most - left);
    port->body = {0, 0};
}

} // namespace tonvale::lv2
