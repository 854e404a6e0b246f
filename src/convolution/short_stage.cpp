#include "convolution/short_stage.h"

#include "host/host_functions.h"

#include <algorithm>

namespace tonvale {

bool ShortStage::prepare(const ResponsePart &part, const StageSpan &span, int32_t left,
                         int32_t right, int32_t frameWidth) {
    response = &part;
    place = span;
    width = frameWidth;
    leads = canLead(span);
    const int32_t slots = part.pieces();
    const int64_t plane = int64_t{part.layout().groups} * groupSize * slots;
    if (!input.prepare(span.chunk, frameWidth) || !history.allocate(2 * plane))
        return false;
    product.slots = slots;
    product.parts = part.storedPieces();
    for (int32_t i = 0; i < 2; ++i) {
        product.history[i] = history.get() + plane * i;
        product.response[i] = part.spectra(left, right, i);
    }
    reset(0);
    return true;
}

void ShortStage::take(const double *frames, int32_t count, SumRing &sums, double *work) {
    if (owes)
        settle(sums, work);
    for (int32_t done = 0; done < count;) {
        const int32_t piece = std::min(count - done, input.missing());
        input.take(frames ? frames + int64_t{done} * width : nullptr, piece);
        done += piece;
        if (input.missing() == 0)
            finishChunk(done - place.chunk, sums, work);
    }
}

void ShortStage::lead(const double *frames, SumRing &sums, double *work) {
    input.take(frames, place.chunk);
    turn(work);
    // With what the chunks before owe to this one, or this one alone.
    const int32_t before = endAge;
    if (!owes)
        endAge = std::min(endAge, 1);
    const bool heard = play(0, input.isAudible(), work);
    endAge = before;
    if (heard)
        sums.add(0, work, 2 * place.chunk);
    owes = endAge > 0;
    input.next();
}

/// A chunk that began at frame `begin` of `sums` is complete.
void ShortStage::finishChunk(int64_t begin, SumRing &sums, double *work) {
    turn(work);
    if (play(leads ? 1 : 0, input.isAudible(), work))
        sums.add(begin + place.offset, work, 2 * place.chunk);
    input.next();
}

/// Makes the chunk age 0, with its transform in `work` where it can be heard.
void ShortStage::turn(double *work) {
    product.newest = (product.newest > 0 ? product.newest : product.slots) - 1;
    if (endAge > 0 || input.isAudible())
        endAge = std::min(endAge + 1, product.slots);
    firstAge = input.isAudible() ? 0 : firstAge + 1;
    if (firstAge >= endAge)
        endAge = firstAge = 0;
    if (!input.isAudible()) {
        // Silence among what is heard.
        for (int32_t group = 0; endAge > 0 && group < response->layout().groups; ++group) {
            const int64_t slot = int64_t{groupSize} * (product.slots * group + product.newest);
            for (double *channel : product.history)
                std::fill_n(channel + slot, groupSize, 0.0);
        }
        return;
    }
    input.copyPadded(work);
    hostFunctions.ZUB_fft_8(work, response->points(), 0);
}

/// What the chunks owe to the one that begins at present.
void ShortStage::settle(SumRing &sums, double *work) {
    if (play(1, false, work))
        sums.add(0, work, 2 * place.chunk);
    owes = false;
}

/// Puts the sum of all spectra, the newest times part `firstPart`, the next older times the part
/// behind it and so on, into `work` as samples. Answers false where nothing is heard.
bool ShortStage::play(int32_t firstPart, bool fresh, double *work) {
    product.firstAge = firstAge;
    product.endAge = std::min(endAge, product.slots - firstPart);
    product.firstPart = firstPart;
    product.fresh = fresh;
    if (product.firstAge >= product.endAge && !fresh)
        return false;
    product.endAge = std::max(product.endAge, product.firstAge);
    convolutionKernels().spectrum.multiplyShort(response->layout(), product, work);
    hostFunctions.ZUB_fft_8(work, response->points(), 1);
    return true;
}

void ShortStage::reset(int32_t phase) {
    input.reset(phase);
    firstAge = endAge = 0;
    owes = false;
}

} // namespace tonvale
