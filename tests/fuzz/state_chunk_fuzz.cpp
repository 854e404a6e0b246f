#include "fuzz/fuzzed_effect.h"

// Any bytes as a saved state: the effect sounds with what could be read, and saves a state that
// comes back byte for byte.

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    using namespace tonvale::test;
    FuzzedEffect effect;
    effect.load({reinterpret_cast<const char *>(data), size});
    effect.hear();
    const std::string saved = effect.save();
    require(saved.size() >= 40, "a state can be saved");
    effect.load(saved);
    require(effect.save() == saved, "a saved state comes back byte for byte");
    return 0;
}
