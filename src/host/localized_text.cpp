#include "host/localized_text.h"

#include "host/host_functions.h"

#include <map>
#include <mutex>
#include <utility>

namespace tonvale {

namespace {

/// Module-wide, shared by all instances and threads, guarded by `lock`.
struct TranslationCache {
    std::mutex lock;
    std::map<std::pair<uintptr_t, uintptr_t>, const char *> results;
};

TranslationCache &translationCache() {
    static TranslationCache cache;
    return cache;
}

} // namespace

const char *localizedText(const char *text, const char *section, int flags) {
    if (!hostFunctions.__localizeFunc)
        return text;
    TranslationCache &cache = translationCache();
    const auto key =
        std::make_pair(reinterpret_cast<uintptr_t>(text), reinterpret_cast<uintptr_t>(section));
    if (!(flags & localizeUncached)) {
        std::scoped_lock scope(cache.lock);
        const auto hit = cache.results.find(key);
        if (hit != cache.results.end() && hit->second)
            return hit->second;
    }
    // The host may take its time, or ask for a translation itself: no lock is held here.
    const char *result = hostFunctions.__localizeFunc(text, section, flags | localizeUncached);
    if (flags & localizeUncached)
        return result;
    std::scoped_lock scope(cache.lock);
    // The table stays empty for as long as nothing is translated.
    if (result != text || !cache.results.empty())
        cache.results[key] = result;
    return result ? result : text;
}

} // namespace tonvale
