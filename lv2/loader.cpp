#include "lv2/loader.h"

#include "lv2/signal_mask.h"

#include <algorithm>
#include <exception>

namespace tonvale::lv2 {

Settings initialSettings() {
    Settings settings{};
    for (const ControlRow &row : controlRows()) {
        if (row.parameter >= 0)
            settings[static_cast<size_t>(row.parameter)] =
                static_cast<float>(normalised(row, row.initial));
    }
    return settings;
}

Loader::Loader(const PluginKind &of, double sampleRate,
               std::function<void(const std::string &)> teller)
    : kind(of)
    , rate(sampleRate)
    , tell(std::move(teller)) {
    askFor(initialSettings());
}

Loader::~Loader() {
    delete outcome.load();
    delete retired.load();
}

void Loader::wish(const ChainText &chain) {
    std::scoped_lock scope(wishLock);
    wished = chain;
    wishes.fetch_add(1, std::memory_order_release);
}

std::string Loader::wishedChain() {
    std::scoped_lock scope(wishLock);
    return std::string(wished.view());
}

bool Loader::tryWish(const ChainText &chain) {
    const std::unique_lock scope(wishLock, std::try_to_lock);
    if (!scope)
        return false;
    wished = chain;
    wishes.fetch_add(1, std::memory_order_release);
    return true;
}

bool Loader::tryRead(ChainText &chain) {
    const std::unique_lock scope(wishLock, std::try_to_lock);
    if (scope)
        chain = wished;
    return scope.owns_lock();
}

void Loader::askFor(const Settings &settings) {
    for (size_t i = 0; i < settings.size(); ++i)
        asked[i] = settings[i];
}

void Loader::work() {
    const SignalsBlocked signalsBlocked;
    std::scoped_lock scope(jobLock);
    delete retired.exchange(nullptr, std::memory_order_acq_rel);
    uint32_t number = 0;
    {
        std::scoped_lock wishScope(wishLock);
        number = wishNumber();
        current = wished;
    }
    Settings wanted;
    std::copy(std::begin(asked), std::end(asked), wanted.begin());
    if (voiceIsAsked.exchange(false, std::memory_order_acq_rel) || number != madeWish) {
        try {
            auto made = make(current, number, wanted);
            delete outcome.exchange(made.release(), std::memory_order_acq_rel);
            madeWish = number;
        } catch (const std::exception &) {
            // Without the memory for so much as a report; asked again, it is tried again.
        }
    }
    busy.store(false, std::memory_order_release);
}

std::unique_ptr<Loaded> Loader::make(const ChainText &chain, uint32_t number,
                                     const Settings &wanted) {
    const std::vector<std::string> lines = linesOf(chain.view());
    auto loaded = std::make_unique<Loaded>();
    loaded->wish = number;
    loaded->settings = wanted;
    ResponseShape shape;
    try {
        loaded->voice = Voice::build(kind, rate, wanted, lines, shape);
    } catch (const std::exception &) {
        // The old voice goes on.
    }
    loaded->report = makeReport(lines, shape, rate, tell);
    return loaded;
}

} // namespace tonvale::lv2
