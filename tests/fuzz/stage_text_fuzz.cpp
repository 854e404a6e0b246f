#include "fuzz/fuzzed_effect.h"

#include <algorithm>
#include <iterator>

// A first byte that picks the stage type, and any text as its values. The stage works on a response
// of two channels, and the text that it gives makes a stage of the same text.

namespace {

constexpr const char *keys[] = {"CHANTOOL", "ECHOGEN", "FILELDR", "FILT",
                                "NORM",     "VERBGEN", "REVERSE", "BASICEDIT"};
constexpr const char *source = "VERBGEN 0 40 1 50 50 1";

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    using namespace tonvale::test;
    if (size < 1)
        return 0;
    const char *values = reinterpret_cast<const char *>(data) + 1;
    const std::string line =
        std::string(keys[data[0] % std::size(keys)]) + " " + exactText({values, size - 1}).data();

    FuzzedEffect effect;
    require(effect.setChain({source, line}) == 2, "a known key is taken whatever its values");
    effect.hear();
    const std::string text = effect.stageText(1);
    require(effect.setChain({source, text}) == 2, "a stage's own text is taken");
    // The quotes round a path have no escape, so that one with a quote in it can't come back.
    require(effect.stageText(1) == text || std::count(text.begin(), text.end(), '"') > 2,
            "a stage's own text comes back");
    effect.hear();
    effect.load(effect.save());
    return 0;
}
