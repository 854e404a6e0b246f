#include "workbench/cli/measuring/division.h"

#include "host/host_functions.h"
#include "measure/deconvolver.h"
#include "workbench/cli/problem.h"
#include "workbench/services/host.h"

#include <string_view>

namespace tonvale::workbench {

namespace {

constexpr const char *recordingName = "recording";
constexpr const char *toneName = "tone";

// What the host functions serve, which are told nothing but their arguments.
struct Present {
    const MeasuredSound *recording;
    const MeasuredSound *tone;
    MeasuredSound *response;
};
Present present{};

class ResponseSink final : public MediaSink {
  public:
    void destroy(int) override { delete this; }
    void WriteDoubles(double **channels, int length, int channelCount, int offset,
                      int spacing) override {
        for (int c = 0; c < channelCount; ++c) {
            auto &samples = present.response->channels[static_cast<size_t>(c)];
            samples.reserve(samples.size() + static_cast<size_t>(length));
            for (int64_t i = 0; i < length; ++i)
                samples.push_back(channels[c][offset + i * spacing]);
        }
    }

  private:
    ~ResponseSink() = default;
};

MediaSource *openSound(const char *path) {
    const MeasuredSound &sound =
        std::string_view(path) == toneName ? *present.tone : *present.recording;
    return sound.channels.empty() ? nullptr : makeSoundSource(sound);
}

MediaSink *createSink(const char *, const void *, int, int channels, int, int) {
    present.response->channels.assign(static_cast<size_t>(channels), {});
    return new ResponseSink;
}

} // namespace

MeasureOutcome divideSounds(const MeasuredSound &recording, const MeasuredSound &tone, int floorDb,
                            const MeasureProgress &progress, MeasuredSound &response) {
    if (!loadHostFunctions(hostCallback))
        throw Problem("this host lacks a function that measuring needs");
    hostFunctions.PCM_Source_CreateFromFile = openSound;
    hostFunctions.PCM_Sink_Create = createSink;
    response = {};
    response.rate = recording.rate;
    present = {&recording, &tone, &response};
    DeconvolveSettings settings;
    settings.noiseFloorDb = floorDb;
    return deconvolve(recordingName, toneName, "", settings, progress);
}

} // namespace tonvale::workbench
