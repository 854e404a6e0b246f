#pragma once

#include "lv2/report.h"
#include "lv2/urids.h"

#include <array>
#include <string_view>

namespace tonvale::lv2 {

/// What a host is told of, in the order of asking. Allocates nothing.
class AnswerQueue {
  public:
    /// Where too much waits already, what waits answers for this one too.
    void ask(PropertyIndex property);
    void askAll();

    /// Makes `port`, whose atom tells its room, a sequence of all answers that fit; the others
    /// wait. One that would not even fit alone is given up. `port` may be null.
    void write(LV2_Atom_Sequence *port, const Urids &urids, const Report &report,
               std::string_view chain);

  private:
    static constexpr size_t room = 256;
    std::array<PropertyIndex, room> waiting{};
    size_t first = 0;
    size_t count = 0;
};

} // namespace tonvale::lv2
