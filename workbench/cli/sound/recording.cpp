#include "workbench/cli/sound/recording.h"

#include "workbench/cli/output_file.h"
#include "workbench/cli/problem.h"
#include "workbench/cli/sound/holes.h"
#include "workbench/cli/sound/sound_reader.h"
#include "workbench/cli/sound/speakers.h"
#include "workbench/cli/sound/truncation.h"
#include "workbench/cli/sound/wave_pipe.h"
#include "workbench/services/media.h"

#include <algorithm>
#include <unistd.h>

namespace tonvale::workbench {

namespace {

constexpr int wholeBlock = 65536;

bool isPlausible(const SF_INFO &info) {
    return info.frames >= 0 && info.frames != SF_COUNT_MAX && info.samplerate >= 1 &&
           info.channels >= 1;
}

sf_count_t readFrames(SNDFILE *file, short *to, sf_count_t frames) {
    return sf_readf_short(file, to, frames);
}
sf_count_t readFrames(SNDFILE *file, double *to, sf_count_t frames) {
    return sf_readf_double(file, to, frames);
}

double sampleOf(short number) {
    return number * 0x1p-15;
}
double sampleOf(double number) {
    return number;
}

/// Reads up to `count` frames and answers how many there were.
template <class Number>
int readInterleaved(SNDFILE *file, std::vector<Number> &interleaved, size_t width, int count) {
    interleaved.resize(static_cast<size_t>(count) * width);
    int got = 0;
    while (got < count) {
        Number *to = interleaved.data() + static_cast<size_t>(got) * width;
        const sf_count_t more = readFrames(file, to, count - got);
        if (more <= 0)
            break;
        got += static_cast<int>(more);
    }
    return got;
}

template <class Number>
void separate(const std::vector<Number> &interleaved, size_t width, int count,
              double *const *planes) {
    for (size_t c = 0; c < width; ++c) {
        const Number *from = interleaved.data() + c;
        for (int i = 0; i < count; ++i, from += width)
            planes[c][i] = sampleOf(*from);
    }
}

} // namespace

Recording::Recording(const std::string &path)
    : name(path == pipeName ? "standard input" : path) {
    if (path == pipeName)
        openStandardInput();
    else
        open(path);
    if (promised == 0)
        throw Problem(name + ": holds no samples");
    if (channelCount > channelLimit) {
        throw Problem(name + ": has " + std::to_string(channelCount) +
                      " channels; 1 to 128 are possible");
    }
}

void Recording::open(const std::string &path) {
    if (path.empty())
        throw Problem("the name of the input file is missing");
    if (const std::string problem = mediaProblem(path.c_str()); !problem.empty())
        throw Problem(path + ": " + problem);
    warnOfTruncation(path);
    SF_INFO info{};
    takeOver(sf_open(path.c_str(), SFM_READ, &info), info);
}

void Recording::openStandardInput() {
    if (isatty(STDIN_FILENO))
        throw Problem(name + ": a terminal gives no sound");
    SF_INFO info{};
    if (lseek(STDIN_FILENO, 0, SEEK_CUR) >= 0) {
        takeOver(sf_open_fd(STDIN_FILENO, SFM_READ, &info, SF_FALSE), info);
        return;
    }
    const WaveStart start = readWaveStart(STDIN_FILENO, name.c_str());
    info.channels = start.channels;
    info.samplerate = start.rate;
    info.format = SF_FORMAT_RAW | SF_ENDIAN_LITTLE | start.subtype;
    SNDFILE *opened = sf_open_fd(STDIN_FILENO, SFM_READ, &info, SF_FALSE);
    // Whatever follows the samples, the header tells where they end.
    info.frames = start.frames.value_or(1);
    takeOver(opened, info);
    promised = start.frames;
    speakerMask = start.speakers;
}

void Recording::takeOver(SNDFILE *opened, const SF_INFO &info) {
    file.reset(opened);
    if (!file || !isPlausible(info))
        throw Problem(name + ": not a media file that can be read");
    channelCount = info.channels;
    rate = info.samplerate;
    promised = info.frames;
    hasShorts = (info.format & SF_FORMAT_SUBMASK) == SF_FORMAT_PCM_16;
    speakerMask = toldSpeakers(file.get(), channelCount);
}

int Recording::read(double *const *planes, int count) {
    const int64_t left = promised ? *promised - position : count;
    const auto wanted = static_cast<int>(std::min<int64_t>(left, count));
    const auto width = static_cast<size_t>(channelCount);
    int got = 0;
    if (hasShorts) {
        // What has 16 bits needs no way through the library's own doubles.
        got = readInterleaved(file.get(), shorts, width, wanted);
        separate(shorts, width, got, planes);
    } else {
        got = readInterleaved(file.get(), doubles, width, wanted);
        if (fillHoles({doubles.data(), static_cast<size_t>(got) * width}))
            warnOfHoles(name);
        separate(doubles, width, got, planes);
    }
    position += got;
    if (got < wanted && promised)
        warnTruncated(name);
    if (position == 0)
        throw Problem(name + ": holds no samples");
    return got;
}

std::vector<std::vector<double>> Recording::readAll(size_t mostSamples) {
    const auto width = static_cast<size_t>(channelCount);
    std::vector<std::vector<double>> samples(width);
    std::vector<double *> planes(width);
    size_t length = 0;
    int got = 0;
    do {
        for (size_t c = 0; c < width; ++c) {
            samples[c].resize(length + wholeBlock);
            planes[c] = samples[c].data() + length;
        }
        got = read(planes.data(), wholeBlock);
        length += static_cast<size_t>(got);
        if (length * width > mostSamples)
            throw Problem(name + ": is too long to be held in memory");
    } while (got == wholeBlock);
    for (auto &channel : samples)
        channel.resize(length);
    return samples;
}

} // namespace tonvale::workbench
