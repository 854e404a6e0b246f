#pragma once

#include "convolution/containers/impulse_buffer.h"
#include "convolution/containers/raw_memory.h"
#include "convolution/containers/relaxed.h"
#include "platform/window_types.h"

#include <cstdint>
#include <memory>

namespace tonvale {

struct ReverbPlugin;

/// A stage of the impulse chain. Running a chain starts from one channel of length 0 at the run's
/// sample rate and hands the buffer to each stage in order; a stage loads, generates or changes
/// impulse data in it and never changes its sample rate. A stage that can't do its work leaves the
/// buffer as it came or as far as it got, and reports nothing to its caller.
///
/// process() runs on whichever thread started the run. Settings are written by a dialog without a
/// lock, so they are relaxed values.
///
/// Memory that runs out is borne in silence: a process() ends where it stands, with a buffer of
/// sound shape; a load leaves the settings as they were or as far as it got. Destroying a stage
/// needs no memory.
class ImpulseGenerator {
  public:
    ReverbPlugin *owner = nullptr; ///< set by createImpulseGenerator, not owned
    Relaxed<uint8_t> bypassed{0};  ///< 1: the stage keeps its place and is skipped by every run
    /// The owner's: the next of the stages that left the chain while a run was using them.
    std::unique_ptr<ImpulseGenerator> nextLeaving;

    virtual ~ImpulseGenerator() = default;

    virtual void process(ImpulseBuffer &impulse) noexcept = 0;
    /// Takes over the binary state of `size` bytes; `key` is the type key as it stood in the
    /// record, with its "!" if it had one. Too few bytes change nothing.
    virtual void loadState(const char *key, const void *data, int32_t size) noexcept = 0;
    /// Makes `out` hold exactly the binary state; leaves it alone where memory is out.
    virtual void saveState(HeapBuffer &out) noexcept = 0;
    virtual const char *getDisplayName() = 0;
    virtual const char *getTypeKey() = 0;
    /// Makes the stage's modeless dialog as a child of `parent`; null where it can't be made.
    virtual HWND createDialog(HWND parent);
    /// Writes the one-line text form, cut at `size` bytes with the terminator.
    virtual void saveText(char *text, int32_t size) noexcept = 0;
    /// Reads values from a text that starts behind the type key. True when all were found and
    /// taken.
    virtual bool loadText(const char *text) noexcept = 0;

    ImpulseGenerator() = default;
    ImpulseGenerator(const ImpulseGenerator &) = delete;
    ImpulseGenerator &operator=(const ImpulseGenerator &) = delete;
};

/// The dialog of `stage`, by its type key, as createDialog() answers it. The editor defines this.
HWND createStageDialog(ImpulseGenerator &stage, HWND parent);

/// One registry record: a static object, registered by a static initialiser.
struct ImpulseGeneratorType {
    const char *key;
    const char *displayName;
    ImpulseGenerator *(*factory)(); ///< a new stage, or null
    ImpulseGeneratorType *next = nullptr;
};

/// Puts `type` into the registry, which is sorted by display name without regard to ASCII case.
/// Only before main() or the module's first call. The result serves an initialiser.
bool registerImpulseGeneratorType(ImpulseGeneratorType *type);

/// The record of a stage class, by the names that it tells of itself, and its registration: each
/// stage's file runs this once in an initialiser.
template <class Stage>
bool registerStage() {
    static ImpulseGeneratorType type{
        Stage::typeKey, Stage::displayName,
        []() -> ImpulseGenerator * { return tryMake<Stage>().release(); }};
    return registerImpulseGeneratorType(&type);
}

/// Walks the registry: `cursor` is null at the start, and null again behind the last record.
/// Answers the translated display name, and in `keyOut`, where given, the type key; null at the
/// end.
const char *nextImpulseGeneratorType(ImpulseGeneratorType *&cursor, const char **keyOut);

/// A new stage for `key`, bypassed where it starts with "!"; null for an unknown key, and where
/// memory is out.
ImpulseGenerator *createImpulseGenerator(const char *key, ReverbPlugin *owner);

} // namespace tonvale
