#include "fuzz/fuzzed_effect.h"
#include "host/aeffect.h"
#include "host/vendor_protocol.h"

#include <cmath>
#include <cstdlib>
#include <cstring>

// Any script of the host's text commands, one a line:
//   r SIZE COMMAND       read a stage's text into SIZE bytes
//   c COMMAND|STAGE      change the chain
//   t INDEX VALUE        the text of a parameter's value

namespace {

using namespace tonvale;
using namespace tonvale::test;

constexpr float mostText = 65536.0f;
constexpr size_t paramText = 256;

bool endsWithin(const std::vector<char> &text) {
    return std::memchr(text.data(), 0, text.size()) != nullptr;
}

void readStage(FuzzedEffect &effect, const char *words) {
    char *command = nullptr;
    const float size = std::fmin(std::strtof(words, &command), mostText);
    command += *command == ' ';
    std::vector<char> text(size > 1.0f ? static_cast<size_t>(size) : 0, 'x');
    char none = 'x';
    const auto answer = effect.vendor(vendorReadStage, exactText(command).data(),
                                      text.empty() ? &none : text.data(), size);
    require(answer == 0 || answer == vendorChainAnswer, "a read has an answer of its own");
    require(none == 'x' && (answer == 0 || endsWithin(text)), "a stage's text keeps to its size");
}

void changeChain(FuzzedEffect &effect, const char *words) {
    const std::string_view all = words;
    const size_t end = std::min(all.find('|'), all.size());
    std::vector<char> stage = exactText(all.substr(std::min(end + 1, all.size())));
    const auto answer =
        effect.vendor(vendorChangeChain, exactText(all.substr(0, end)).data(), stage.data());
    require(answer == 0 || answer == vendorChainAnswer, "a change has an answer of its own");
}

void valueText(FuzzedEffect &effect, const char *words) {
    char *value = nullptr;
    const auto index = static_cast<intptr_t>(std::strtoll(words, &value, 10));
    std::vector<char> text(paramText, 'x');
    const auto answer = effect.dispatch(effVendorSpecific, vendorParamText, index, text.data(),
                                        std::strtof(value, nullptr));
    require(answer == (index >= 0 && index < 8 ? vendorParamAnswer : 0), "8 parameters have texts");
    require(endsWithin(text), "a value's text keeps to its size");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    FuzzedEffect effect;
    std::string_view script(reinterpret_cast<const char *>(data), size);
    while (!script.empty()) {
        const size_t end = std::min(script.find('\n'), script.size());
        const std::vector<char> line = exactText(script.substr(0, end));
        script.remove_prefix(std::min(end + 1, script.size()));
        if (line.size() < 3)
            continue;
        const char *words = line.data() + 2;
        if (line[0] == 'r')
            readStage(effect, words);
        else if (line[0] == 'c')
            changeChain(effect, words);
        else if (line[0] == 't')
            valueText(effect, words);
    }
    char unused[] = "";
    effect.vendor(vendorChangeChain, "DONE", unused);
    effect.hear();
    effect.load(effect.save());
    return 0;
}
