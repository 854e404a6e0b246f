#pragma once

#include "chain/impulse_generator.h"
#include "convolution/containers/pointer_list.h"
#include "platform/critical_section.h"

#include <memory>

namespace tonvale {

/// The stages of an instance, in the order of running. Owns them. Any thread but the audio thread.
/// No call but run() holds chainLock across a window, a file or the host.
///
/// A host may call back while run() asks it for a file's samples, and change the list from inside.
/// The run then goes on over the stages that it started with, and what letGo() was given lives
/// until it ends.
class ImpulseChain {
  public:
    using Stage = std::unique_ptr<ImpulseGenerator>;

    ImpulseChain() = default;
    ~ImpulseChain();
    ImpulseChain(const ImpulseChain &) = delete;
    ImpulseChain &operator=(const ImpulseChain &) = delete;

    /// Makes `impulse`, which comes empty, what the stages that aren't bypassed make of it at
    /// `sampleRate` Hz. Never from inside another run. Throws bad_alloc before any stage ran.
    void run(ImpulseBuffer &impulse, double sampleRate);

    int32_t getSize();
    /// Null where there is none. For the thread that alone removes stages.
    ImpulseGenerator *get(int32_t index);

    /// Puts `stage` in front of the one at `index`, or at the end. Where memory is out the caller
    /// keeps it.
    void insert(int32_t index, Stage &stage);
    /// Swaps `stage` with the one at `index`; where there is none, as insert().
    void replace(int32_t index, Stage &stage);
    /// Null where there is none. The caller closes its dialog, and lets it go.
    Stage take(int32_t index);
    void move(int32_t from, int32_t to);
    /// Deletes `stage`, at once or, from inside a run, at its end.
    void letGo(Stage stage);

    /// Calls `use` for each stage in order, under chainLock.
    template <class Use>
    void forEach(Use use) {
        CriticalScope chainScope(chainLock);
        for (int32_t i = 0; i < stages.getSize(); ++i)
            use(*stages.get(i));
    }

  private:
    Stage runStages(ImpulseBuffer &impulse, double sampleRate);

    CriticalSection chainLock;
    PointerList<ImpulseGenerator> stages;
    PointerList<ImpulseGenerator> running; ///< those of the run under way
    Stage leaving; ///< the list, by `nextLeaving`, of what goes when the run ends
};

} // namespace tonvale
