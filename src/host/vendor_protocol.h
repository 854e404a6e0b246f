#pragma once

#include <cstdint>

namespace tonvale {

// What Quorin asks of an effect beyond VST, and what it is answered.

// Sub-commands of effVendorSpecific, by index.
enum VendorCommand : int32_t {
    vendorParamText = 7,
    vendorReadStage = 23,
    vendorChangeChain = 24,
    vendorChannelConfig = 69,
    vendorParamRange = static_cast<int32_t>(0xDEADBEF0),
};

// Answers of the vendor sub-commands and of effCanDo.
constexpr intptr_t vendorParamAnswer = 0xBEEF;
constexpr intptr_t vendorChainAnswer = 0xF00D;
constexpr intptr_t canDoAnswer = 0xBEEF0000;

} // namespace tonvale
