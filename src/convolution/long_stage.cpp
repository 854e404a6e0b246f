#include "convolution/long_stage.h"

#include "host/host_functions.h"

#include <algorithm>

namespace tonvale {

bool LongStage::isFor(const StageSpan &span) {
    constexpr int32_t fewParts = 4;
    // What a stage of small chunks has to read for one lies in the cache.
    constexpr int32_t fewSamples = 16384;
    return span.length > int64_t{fewParts} * span.chunk && span.length > fewSamples;
}

bool LongStage::prepare(const ResponsePart &part, const StageSpan &span, int32_t left,
                        int32_t right, int32_t frameWidth) {
    response = &part;
    place = span;
    width = frameWidth;
    const int32_t groups = part.layout().groups;
    // Part 0 meets fresh spectra alone.
    const int32_t slots = part.pieces() - 1;
    const int64_t spectrum = int64_t{groups} * groupSize;
    if (!input.prepare(span.chunk, frameWidth) || !history.allocate(2 * spectrum * slots) ||
        !fresh.allocate(2 * spectrum * turnsAPass) || !sums.allocate(2 * spectrum * turnsAPass))
        return false;
    product.slots = slots;
    product.parts = part.storedPieces();
    product.groups = groups;
    for (int32_t i = 0; i < 2; ++i) {
        product.history[i] = history.get() + spectrum * slots * i;
        product.fresh[i] = fresh.get() + spectrum * turnsAPass * i;
        product.sums[i] = sums.get() + spectrum * turnsAPass * i;
        product.response[i] = part.spectra(left, right, i);
        product.newest[i] = part.newestSpectra(left, right, i);
    }
    rememberedTurns = slots + 2 * turnsAPass;
    reset(0, 0);
    return true;
}

void LongStage::take(const double *frames, int32_t count, SumRing &out, double *work) {
    for (int32_t done = 0; done < count;) {
        const int32_t piece = std::min(count - done, input.missing());
        input.take(frames ? frames + int64_t{done} * width : nullptr, piece);
        done += piece;
        advancePass();
        if (input.missing() == 0)
            finishChunk(done - place.chunk, out, work);
    }
}

/// Brings the pass over the history as far as the chunk has come.
void LongStage::advancePass() {
    if (!passDue)
        return;
    const auto due = static_cast<int32_t>(int64_t{product.groups} * input.gathered() / place.chunk);
    if (due <= passDone)
        return;
    convolutionKernels().spectrum.sumHistory(product, passDone, due);
    passDone = due;
    passDue = due < product.groups;
}

/// A chunk that began at frame `begin` of `out` is complete.
void LongStage::finishChunk(int64_t begin, SumRing &out, double *work) {
    silentTurns = input.isAudible() ? 0 : std::min(silentTurns + 1, rememberedTurns);
    // The pass has read those of the group before.
    if (turn == 0)
        product.firstFresh = turnsAPass;
    if (silentTurns < rememberedTurns)
        playTurn(begin, out, work);
    input.next();
    if (++turn == turnsAPass)
        nextGroup();
}

void LongStage::playTurn(int64_t begin, SumRing &out, double *work) {
    const bool heard = input.isAudible();
    if (heard)
        product.firstFresh = std::min(product.firstFresh, turn);
    const bool anyFresh = product.firstFresh <= turn;
    if (!anyFresh && !product.hasSums)
        return;

    if (heard) {
        input.copyPadded(work);
        hostFunctions.ZUB_fft_8(work, response->points(), 0);
    } else {
        std::fill_n(work, 2 * int64_t{response->points()}, 0.0);
    }
    convolutionKernels().spectrum.multiplyFresh(response->layout(), product, turn, work);
    hostFunctions.ZUB_fft_8(work, response->points(), 1);
    out.add(begin + place.offset, work, 2 * place.chunk);
}

/// All turns of the group are over: their spectra go into the history, which then says what it adds
/// to the turns of the next group.
void LongStage::nextGroup() {
    turn = 0;
    const bool anyFresh = product.firstFresh < turnsAPass;
    if (silentTurns >= rememberedTurns)
        product.ages = 0;
    else if (anyFresh || product.ages > 0)
        product.ages = std::min(product.ages + turnsAPass, product.slots);
    product.hasSums = passDue = product.ages > 0;
    passDone = 0;
    product.newestSlot =
        (product.newestSlot + product.slots - turnsAPass % product.slots) % product.slots;
}

void LongStage::reset(int32_t phase, int32_t turnsGone) {
    input.reset(phase);
    turn = turnsGone;
    passDue = false;
    passDone = 0;
    product.newestSlot = 0;
    product.ages = 0;
    product.firstFresh = turnsAPass;
    product.hasSums = false;
    silentTurns = rememberedTurns;
}

} // namespace tonvale
