#include "measure/sample_block.h"

#include <algorithm>

namespace tonvale {

ChannelBlocks::~ChannelBlocks() {
    for (int32_t i = 0; i < getSize(); ++i)
        freeRaw(get(i));
}

bool ChannelBlocks::add(int32_t bits) {
    SampleBlock block = allocatePoints(bits);
    if (!block)
        return false;
    const int32_t before = getSize();
    blocks.resize(before + 1, false);
    if (getSize() != before + 1)
        return false;
    std::fill_n(block.get(), int64_t{2} << bits, 0.0);
    blocks.get()[before] = block.release();
    return true;
}

} // namespace tonvale
