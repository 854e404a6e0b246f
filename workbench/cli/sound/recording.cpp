#include "workbench/cli/sound/recording.h"

#include "workbench/cli/output_file.h"
#include "workbench/cli/problem.h"
#include "workbench/cli/sound/sound_reader.h"
#include "workbench/cli/sound/speakers.h"
#include "workbench/cli/sound/truncation.h"
#include "workbench/cli/sound/wave_pipe.h"
#include "workbench/services/media.h"

#include <algorithm>
#include <cmath>
#include <unistd.h>

namespace tonvale::workbench {

namespace {

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
    return std::isfinite(number) ? number : 0.0;
}

/// Reads up to `count` frames by way of `interleaved`, writes each channel's samples into its plane
/// and answers how many there were.
template <class Number>
int readApart(SNDFILE *file, std::vector<Number> &interleaved, size_t width, double *const *planes,
              int count) {
    interleaved.resize(static_cast<size_t>(count) * width);
    int got = 0;
    while (got < count) {
        Number *to = interleaved.data() + static_cast<size_t>(got) * width;
        const sf_count_t more = readFrames(file, to, count - got);
        if (more <= 0)
            break;
        got += static_cast<int>(more);
    }
    for (size_t c = 0; c < width; ++c) {
        const Number *from = interleaved.data() + c;
        for (int i = 0; i < got; ++i, from += width)
            planes[c][i] = sampleOf(*from);
    }
    return got;
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
    // What has 16 bits needs no way through the library's own doubles.
    const int got = hasShorts ? readApart(file.get(), shorts, width, planes, wanted)
                              : readApart(file.get(), doubles, width, planes, wanted);
    position += got;
    if (got < wanted && promised)
        warnTruncated(name);
    if (position == 0)
        throw Problem(name + ": holds no samples");
    return got;
}

} // namespace tonvale::workbench
