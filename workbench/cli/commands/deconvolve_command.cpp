#include "host/host_object_ptr.h"
#include "measure/deconvolver.h"
#include "workbench/cli/commands/commands.h"
#include "workbench/cli/commands/format_options.h"
#include "workbench/cli/commands/measuring_host.h"
#include "workbench/cli/commands/option_values.h"
#include "workbench/cli/measuring/recording_check.h"
#include "workbench/cli/sound/truncation.h"
#include "workbench/cli/warnings.h"
#include "workbench/services/media.h"

#include <chrono>
#include <cmath>
#include <cstdio>

namespace tonvale::workbench {

namespace {

constexpr double lowestFloor = -1000;
constexpr double highestFloor = 1000;

void describe(const std::string &path) {
    const HostObjectPtr<MediaSource> source(createMediaSource(path.c_str()));
    if (!source)
        return;
    const double rate = source->GetSampleRate();
    std::printf("Read      %s: %s\n", path.c_str(),
                soundShape(rate, source->GetNumChannels(), std::llround(source->GetLength() * rate))
                    .c_str());
    std::fflush(stdout);
}

class DeconvolveCommand {
  public:
    explicit DeconvolveCommand(CLI::App &command) {
        command.add_option("RECORDING", recording, "The recording of the test tone")->required();
        command.add_option("TONE", tone, "The test tone that was played")->required();
        command.add_option("OUT", output, outputHelp)->required();
        addNumber(command, "--floor", floor, lowestFloor, highestFloor,
                  "Level below which the ends of the recording, the tone and the result are cut "
                  "off, -120 unless given; -150 or lower cuts nothing",
                  true)
            ->type_name("DB");
        format.addTo(command);
        addStrict(command);
        command.footer("The tone is matched with the recording by where both rise above the floor, "
                       "so the time that a sound takes\nto the microphone isn't kept. Channel c of "
                       "the recording is divided by channel c of the tone, modulo its\ncount.");
    }

    void run() {
        const SoundFormat chosen = format.formatOf(output);
        refuseOverwriting(output, recording);
        refuseOverwriting(output, tone);
        DeconvolveSettings settings;
        settings.noiseFloorDb = static_cast<int32_t>(floor.value_or(settings.noiseFloorDb));
        settings.deconvolveBitDepth = chosen.depth;
        MeasuringHost host(output, chosen);
        describe(recording);
        describe(tone);
        warnOfTruncation(recording);
        warnOfTruncation(tone);
        checkRecording(loadSound(recording), recording);

        const auto start = std::chrono::steady_clock::now();
        MeasureOutcome outcome;
        {
            ProgressBar bar(MeasuringHost::progressSteps);
            outcome = deconvolve(recording.c_str(), tone.c_str(), host.path().c_str(), settings,
                                 host.progress(bar));
        }
        const std::chrono::duration<double> taken = std::chrono::steady_clock::now() - start;
        if (outcome == MeasureOutcome::done)
            std::printf("Took      %.3f s\n", taken.count());
        host.finish(outcome, subjectOf(outcome), reasonOf(outcome));
    }

  private:
    std::string recording;
    std::string tone;
    std::string output;
    FormatOptions format;
    std::optional<double> floor;

    /// Why a file can't be opened, in brackets.
    std::string reasonOf(MeasureOutcome outcome) const {
        const bool opening =
            outcome == MeasureOutcome::recordingFailed || outcome == MeasureOutcome::toneFailed;
        return opening ? " (" + mediaProblem(subjectOf(outcome).c_str()) + ")" : "";
    }

    /// The files that a failure is about.
    std::string subjectOf(MeasureOutcome outcome) const {
        switch (outcome) {
        case MeasureOutcome::recordingFailed:
            return recording;
        case MeasureOutcome::toneFailed:
            return tone;
        case MeasureOutcome::outputFailed:
            return output;
        default:
            return recording + ", " + tone;
        }
    }
};

} // namespace

void addDeconvolveCommand(CLI::App &program) {
    CLI::App *command = program.add_subcommand(
        "deconvolve", "Makes an impulse response of a recording of the test tone");
    auto deconvolver = std::make_shared<DeconvolveCommand>(*command);
    command->callback([deconvolver] { deconvolver->run(); });
}

} // namespace tonvale::workbench
