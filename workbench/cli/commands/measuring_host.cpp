#include "workbench/cli/commands/measuring_host.h"

#include "host/host_functions.h"
#include "workbench/cli/problem.h"
#include "workbench/services/host.h"

namespace tonvale::workbench {

namespace {

// The host that createSink serves, since a host function is told nothing but its arguments. Set
// and read on the main thread only.
MeasuringHost *present = nullptr;

/// Hands on to a writer, which outlives it.
class WriterSink final : public MediaSink {
  public:
    explicit WriterSink(SoundWriter &target)
        : writer(target) {}

    void destroy(int) override { delete this; }
    void WriteDoubles(double **channels, int length, int, int offset, int spacing) override {
        writer.write(channels, length, offset, spacing);
    }

  private:
    ~WriterSink() = default;

    SoundWriter &writer;
};

} // namespace

MeasuringHost::MeasuringHost(const std::string &outputName, const SoundFormat &soundFormat,
                             std::optional<int64_t> frames)
    : format(soundFormat)
    , frameCount(frames)
    , file(outputName) {
    if (!loadHostFunctions(hostCallback))
        throw Problem("this host lacks a function that measuring needs");
    hostFunctions.PCM_Sink_Create = createSink;
    present = this;
}

MeasuringHost::~MeasuringHost() {
    present = nullptr;
}

MediaSink *MeasuringHost::createSink(const char *, const void *, int, int channels, int rate, int) {
    try {
        SoundShape shape = shapeOf(rate, channels);
        shape.frames = present->frameCount;
        present->writer = std::make_unique<SoundWriter>(present->file, present->format, shape);
    } catch (const Problem &) {
        return nullptr;
    }
    return new WriterSink(*present->writer);
}

MeasureProgress MeasuringHost::progress(ProgressBar &bar) const {
    return [&bar, shown = int64_t{0}](double fraction) mutable {
        const auto reached = static_cast<int64_t>(fraction * progressSteps);
        bar.advance(reached - shown);
        shown = reached;
        return true;
    };
}

void MeasuringHost::finish(MeasureOutcome outcome, const std::string &subject) {
    if (outcome != MeasureOutcome::done || !writer) {
        const char *message = measureMessage(outcome);
        throw Problem(subject + ": " + (message ? message : "nothing was written"));
    }
    writer->finish();
    file.commit();
    writer->report();
}

} // namespace tonvale::workbench
