#pragma once

#include "lv2/urids.h"

#include <optional>
#include <string_view>

namespace tonvale::lv2 {

/// What a host wants to know or to set.
struct PatchMessage {
    bool isSet;
    std::optional<PropertyIndex> property; ///< nothing for all, in a Get
    std::string_view text;                 ///< of a Set
};

/// An atom within bounds.
struct AtomView {
    LV2_URID type;
    const char *body;
    uint32_t size;
};

/// Walks the messages to this plug-in in a host's sequence. Trusts no size in it: whatever is cut,
/// malformed or to another is passed over. Allocates nothing.
class PatchReader {
  public:
    PatchReader(const Urids &numbers, const LV2_Atom_Sequence *sequence);
    std::optional<PatchMessage> next();

  private:
    std::optional<PatchMessage> read(const AtomView &object) const;

    const Urids &urids;
    const char *place = nullptr;
    uint32_t left = 0;
};

} // namespace tonvale::lv2
