#include "convolution/containers/block_queue.h"

#include "convolution/containers/raw_memory.h"

#include <algorithm>

namespace tonvale {

BlockQueue::~BlockQueue() {
    fullBlocks.clear(true, freeBlock);
    spareBlocks.clear(true, freeBlock);
}

void *BlockQueue::add(const void *data, int32_t bytes) {
    constexpr int32_t largest = std::numeric_limits<int32_t>::max();
    if (bytes < 1 || bytes > largest - available)
        return nullptr;

    Block *block = fullBlocks.get(fullBlocks.getSize() - 1);
    if (!block || bytes > block->capacity - block->used) {
        block = takeBlock(bytes);
        if (!block)
            return nullptr;
        block->used = 0;
        if (!fullBlocks.add(block)) {
            freeBlock(block);
            return nullptr;
        }
    }

    char *place = block->payload() + block->used;
    if (data)
        std::memcpy(place, data, static_cast<size_t>(bytes));
    else
        std::memset(place, 0, static_cast<size_t>(bytes));
    block->used += bytes;
    available += bytes;
    return place;
}

BlockQueue::Block *BlockQueue::takeBlock(int32_t bytes) {
    const int32_t last = spareBlocks.getSize() - 1;
    if (Block *spare = spareBlocks.get(last)) {
        spareBlocks.remove(last);
        if (bytes <= spare->capacity)
            return spare;
        freeBlock(spare);
    }
    const int32_t capacity = std::max(blockSize, bytes);
    auto *block = static_cast<Block *>(allocateRaw(sizeof(Block) + static_cast<size_t>(capacity)));
    if (block)
        block->capacity = capacity;
    return block;
}

const void *BlockQueue::getPiece(int32_t offset, int32_t &bytes) const {
    int64_t skip = int64_t{readOffset} + std::max(offset, 0);
    for (int32_t i = 0; i < fullBlocks.getSize(); ++i) {
        Block *block = fullBlocks.get(i);
        if (skip < block->used) {
            bytes = block->used - static_cast<int32_t>(skip);
            return block->payload() + skip;
        }
        skip -= block->used;
    }
    bytes = 0;
    return nullptr;
}

int32_t BlockQueue::getToBuffer(int32_t offset, void *destination, int32_t bytes) const {
    int32_t copied = 0;
    while (copied < bytes) {
        int32_t piece = 0;
        const void *source = getPiece(offset + copied, piece);
        if (!source)
            break;
        piece = std::min(piece, bytes - copied);
        std::memcpy(static_cast<char *>(destination) + copied, source, static_cast<size_t>(piece));
        copied += piece;
    }
    return copied;
}

void BlockQueue::advance(int32_t bytes) {
    int64_t offset = int64_t{readOffset} + bytes;
    available = static_cast<int32_t>(
        std::clamp<int64_t>(int64_t{available} - bytes, 0, std::numeric_limits<int32_t>::max()));
    while (Block *first = fullBlocks.get(0)) {
        if (offset < first->used)
            break;
        offset -= first->used;
        fullBlocks.remove(0);
        retire(first, maxSpare);
    }
    readOffset = fullBlocks.getSize() > 0 ? static_cast<int32_t>(std::max<int64_t>(offset, 0)) : 0;
}

void BlockQueue::clear(int32_t spareLimit) {
    const int32_t limit = spareLimit < 0 ? maxSpare : spareLimit;
    for (int32_t i = fullBlocks.getSize() - 1; i >= 0; --i) {
        Block *block = fullBlocks.get(i);
        fullBlocks.remove(i);
        retire(block, limit);
    }
    readOffset = 0;
    available = 0;
}

void BlockQueue::retire(Block *block, int32_t spareLimit) {
    const bool keep = spareLimit < 0 || spareBlocks.getSize() < spareLimit;
    if (!keep || !spareBlocks.add(block))
        freeBlock(block);
}

void BlockQueue::freeBlock(Block *block) {
    freeRaw(block);
}

} // namespace tonvale
