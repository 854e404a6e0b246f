#include "core/impulse_chain.h"

#include <algorithm>
#include <new>

namespace tonvale {

ImpulseChain::~ImpulseChain() {
    stages.clear(true);
}

void ImpulseChain::run(ImpulseBuffer &impulse, double sampleRate) {
    Stage left = runStages(impulse, sampleRate);
    // One by one, and behind the lock: a stage that goes talks to the host.
    while (left)
        left = std::move(left->nextLeaving);
}

ImpulseChain::Stage ImpulseChain::runStages(ImpulseBuffer &impulse, double sampleRate) {
    CriticalScope chainScope(chainLock);
    impulse.sampleRate = sampleRate;
    impulse.setNumChannels(1, false);
    if (impulse.getNumChannels() < 1 || !running.copyFrom(stages))
        throw std::bad_alloc();
    for (int32_t i = 0; i < running.getSize(); ++i) {
        if (!running.get(i)->bypassed)
            running.get(i)->process(impulse);
    }
    running.clear(false);
    return std::move(leaving);
}

int32_t ImpulseChain::getSize() {
    CriticalScope chainScope(chainLock);
    return stages.getSize();
}

ImpulseGenerator *ImpulseChain::get(int32_t index) {
    CriticalScope chainScope(chainLock);
    return stages.get(index);
}

void ImpulseChain::insert(int32_t index, Stage &stage) {
    CriticalScope chainScope(chainLock);
    if (stages.insert(std::clamp(index, 0, stages.getSize()), stage.get()))
        static_cast<void>(stage.release());
}

void ImpulseChain::replace(int32_t index, Stage &stage) {
    CriticalScope chainScope(chainLock);
    Stage before = take(index);
    insert(index, stage);
    if (before)
        stage = std::move(before);
}

ImpulseChain::Stage ImpulseChain::take(int32_t index) {
    CriticalScope chainScope(chainLock);
    Stage stage(stages.get(index));
    stages.remove(index);
    return stage;
}

void ImpulseChain::move(int32_t from, int32_t to) {
    CriticalScope chainScope(chainLock);
    Stage stage = take(from);
    if (stage)
        insert(to, stage);
}

void ImpulseChain::letGo(Stage stage) {
    if (!stage)
        return;
    CriticalScope chainScope(chainLock);
    if (running.getSize() == 0)
        return;
    stage->nextLeaving = std::move(leaving);
    leaving = std::move(stage);
}

} // namespace tonvale
