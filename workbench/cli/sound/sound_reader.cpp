#include "workbench/cli/sound/sound_reader.h"

#include "workbench/cli/problem.h"
#include "workbench/cli/sound/holes.h"
#include "workbench/cli/sound/truncation.h"
#include "workbench/services/media.h"

#include <algorithm>
#include <cmath>
#include <mutex>
#include <set>

namespace tonvale::workbench {

namespace {

constexpr int fetchFrames = 8192;
constexpr double mostFrames = 9.0e15; // whole frames are exact in a double up to here

/// Warns of what makes a file doubtful. Each is looked at once, since that reads it to its end, and
/// every engine of a render opens the chain's files anew. Any thread.
void judgeOnce(const std::string &path) {
    static std::mutex lock;
    static std::set<std::string> judged;
    {
        const std::scoped_lock held(lock);
        if (!judged.insert(path).second)
            return;
    }
    warnOfTruncation(path);
    warnOfHolesIn(path);
}

double framesOf(MediaSource &source) {
    return std::round(source.GetLength() * source.GetSampleRate());
}

} // namespace

HostObjectPtr<MediaSource> openMedia(const std::string &path) {
    if (path.empty())
        throw Problem("the name of the input file is missing");
    HostObjectPtr<MediaSource> source(createMediaSource(path.c_str()));
    if (!source)
        throw Problem(path + ": " + mediaProblem(path.c_str()));
    if (!(framesOf(*source) >= 1.0))
        throw Problem(path + ": holds no samples");
    judgeOnce(path);
    return source;
}

SoundReader::SoundReader(const std::string &path)
    : source(openMedia(path)) {
    channelCount = source->GetNumChannels();
    rate = source->GetSampleRate();
    if (channelCount < 1 || channelCount > channelLimit) {
        throw Problem(path + ": has " + std::to_string(channelCount) +
                      " channels; 1 to 128 are possible");
    }
    if (!(rate > 0.0) || !std::isfinite(rate))
        throw Problem(path + ": has no sample rate");
    frameCount = static_cast<int64_t>(std::min(framesOf(*source), mostFrames));
    pending.resize(static_cast<size_t>(channelCount) * fetchFrames);
}

void SoundReader::read(double *const *planes, int frames) {
    int done = 0;
    while (done < frames) {
        if (pendingFrames == 0 && !ended)
            fetch();
        if (ended)
            break;
        const int count = std::min(frames - done, pendingFrames);
        for (int c = 0; c < channelCount; ++c) {
            const double *from =
                pending.data() +
                static_cast<size_t>(pendingStart) * static_cast<size_t>(channelCount) + c;
            for (int i = 0; i < count; ++i, from += channelCount)
                planes[c][done + i] = *from;
        }
        pendingStart += count;
        pendingFrames -= count;
        done += count;
    }
    for (int c = 0; c < channelCount; ++c)
        std::fill(planes[c] + done, planes[c] + frames, 0.0);
}

void SoundReader::fetch() {
    const int64_t left = frameCount - position;
    MediaReadBlock block{};
    block.time = static_cast<double>(position) / rate;
    block.secondTime = block.time;
    block.sampleRate = rate;
    block.channels = channelCount;
    block.length = static_cast<int32_t>(std::min<int64_t>(left, fetchFrames));
    block.samples = pending.data();
    if (block.length > 0)
        source->GetSamples(&block);
    pendingStart = 0;
    pendingFrames = std::clamp(block.samplesOut, 0, std::max(0, block.length));
    position += pendingFrames;
    ended = pendingFrames == 0;
}

} // namespace tonvale::workbench
