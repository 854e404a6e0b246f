#include "lv2/patch_message.h"

#include <algorithm>
#include <cstring>

namespace tonvale::lv2 {

namespace {

template <class T>
T readAs(const char *place) {
    T value;
    std::memcpy(&value, place, sizeof value);
    return value;
}

constexpr uint32_t padded(uint32_t size) {
    return (size + 7U) & ~7U;
}

/// Takes an atom behind a head of `head` bytes off the front; nothing where it doesn't fit. What
/// pads the last one may be missing.
std::optional<AtomView> takeAtom(const char *&place, uint32_t &left, uint32_t head) {
    const uint32_t start = head + sizeof(LV2_Atom);
    if (left < start)
        return std::nullopt;
    const auto atom = readAs<LV2_Atom>(place + head);
    if (atom.size > left - start)
        return std::nullopt;
    const AtomView view{atom.type, place + start, atom.size};
    const uint32_t used = std::min(left, start + padded(std::min(atom.size, left - start)));
    place += used;
    left -= used;
    return view;
}

} // namespace

PatchReader::PatchReader(const Urids &numbers, const LV2_Atom_Sequence *sequence)
    : urids(numbers) {
    if (!sequence || sequence->atom.type != urids.atomSequence ||
        sequence->atom.size < sizeof(LV2_Atom_Sequence_Body))
        return;
    place = reinterpret_cast<const char *>(sequence) + sizeof(LV2_Atom_Sequence);
    left = sequence->atom.size - static_cast<uint32_t>(sizeof(LV2_Atom_Sequence_Body));
}

std::optional<PatchMessage> PatchReader::next() {
    constexpr uint32_t eventHead = sizeof(LV2_Atom_Event) - sizeof(LV2_Atom);
    while (const auto event = takeAtom(place, left, eventHead)) {
        if (event->type != urids.atomObject)
            continue;
        if (const auto message = read(*event))
            return message;
    }
    return std::nullopt;
}

std::optional<PatchMessage> PatchReader::read(const AtomView &object) const {
    if (object.size < sizeof(LV2_Atom_Object_Body))
        return std::nullopt;
    const LV2_URID kind = readAs<LV2_Atom_Object_Body>(object.body).otype;
    if (kind != urids.patchSet && kind != urids.patchGet)
        return std::nullopt;

    std::optional<LV2_URID> property;
    std::optional<AtomView> value;
    const char *at = object.body + sizeof(LV2_Atom_Object_Body);
    uint32_t rest = object.size - static_cast<uint32_t>(sizeof(LV2_Atom_Object_Body));
    constexpr uint32_t keyAndContext = 2 * sizeof(LV2_URID);
    while (rest > 0) {
        const char *const head = at;
        const auto found = takeAtom(at, rest, keyAndContext);
        if (!found)
            return std::nullopt;
        const auto key = readAs<LV2_URID>(head);
        if (key == urids.patchValue)
            value = found;
        if (key != urids.patchProperty && key != urids.patchSubject)
            continue;
        if (found->type != urids.atomUrid || found->size != sizeof(LV2_URID))
            return std::nullopt;
        const auto named = readAs<LV2_URID>(found->body);
        if (key == urids.patchProperty)
            property = named;
        else if (named != urids.plugin)
            return std::nullopt;
    }

    PatchMessage message{.isSet = kind == urids.patchSet, .property = {}, .text = {}};
    if (property) {
        const auto row = std::find(urids.properties.begin(), urids.properties.end(), *property);
        if (row == urids.properties.end())
            return std::nullopt;
        message.property = static_cast<PropertyIndex>(row - urids.properties.begin());
    }
    if (!message.isSet)
        return message;
    if (!message.property || !propertyRows()[*message.property].isWritable || !value ||
        (value->type != urids.atomPath && value->type != urids.atomString))
        return std::nullopt;
    message.text = {value->body, strnlen(value->body, value->size)};
    return message;
}

} // namespace tonvale::lv2
