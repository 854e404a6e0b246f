#include "core/main_engine.h"

#include "convolution/ready_pointers.h"

#include <algorithm>

namespace tonvale {

/// Calls `use` on the engine there is; 0 without one.
template <class Use>
auto MainEngine::onEngine(Use use) const -> decltype(use(*uniformEngine)) {
    if (uniformEngine)
        return use(*uniformEngine);
    if (zlEngine)
        return use(*zlEngine);
    return decltype(use(*uniformEngine))();
}

void MainEngine::addSamples(const double *const *buffers, int32_t frames, int32_t channels) {
    onEngine([=](auto &engine) { engine.addSamples(buffers, frames, channels); });
}

void MainEngine::prime(int32_t silence, int32_t channels) {
    onEngine([=](auto &engine) { engine.prime(silence, channels); });
}

int32_t MainEngine::samplesAvailable(int32_t wanted) {
    const int32_t ready = onEngine([=](auto &engine) { return engine.samplesAvailable(wanted); });
    return std::clamp(ready, 0, std::max(wanted, 0));
}

void MainEngine::readyPointers(double **out, int32_t wanted, int32_t channels) {
    std::fill_n(out, channels, nullptr);
    onEngine([=](auto &engine) { tonvale::readyPointers(engine, out, wanted, channels); });
}

void MainEngine::advanceOutput(int32_t frames) {
    onEngine([=](auto &engine) { engine.advanceOutput(frames); });
}

void MainEngine::resetState() {
    onEngine([](auto &engine) { engine.resetState(); });
}

int32_t MainEngine::latencySamples() const {
    return onEngine([](const auto &engine) { return engine.latencySamples(); });
}

} // namespace tonvale
