#include "chain/impulse_generator.h"

#include "host/localized_text.h"
#include "text/number_text.h"

#include <cstring>

namespace tonvale {

namespace {

/// Module-wide: the head of the registry, complete before the first instance exists.
constinit ImpulseGeneratorType *firstType = nullptr;

} // namespace

HWND ImpulseGenerator::createDialog(HWND parent) {
    return createStageDialog(*this, parent);
}

bool registerImpulseGeneratorType(ImpulseGeneratorType *type) {
    ImpulseGeneratorType **place = &firstType;
    while (*place && compareIgnoringCase((*place)->displayName, type->displayName) <= 0)
        place = &(*place)->next;
    type->next = *place;
    *place = type;
    return true;
}

const char *nextImpulseGeneratorType(ImpulseGeneratorType *&cursor, const char **keyOut) {
    cursor = cursor ? cursor->next : firstType;
    if (!cursor)
        return nullptr;
    if (keyOut)
        *keyOut = cursor->key;
    return localizedText(cursor->displayName, "tonvale_modname", 0);
}

ImpulseGenerator *createImpulseGenerator(const char *key, ReverbPlugin *owner) {
    const bool bypassed = *key == '!';
    if (bypassed)
        ++key;
    for (const ImpulseGeneratorType *type = firstType; type; type = type->next) {
        if (std::strcmp(type->key, key) != 0)
            continue;
        if (ImpulseGenerator *stage = type->factory()) {
            stage->owner = owner;
            stage->bypassed = bypassed ? 1 : 0;
            return stage;
        }
    }
    return nullptr;
}

} // namespace tonvale
