#include "measure/test_tone.h"
#include "workbench/cli/commands/commands.h"
#include "workbench/cli/commands/measuring_host.h"
#include "workbench/cli/commands/option_values.h"
#include "workbench/cli/problem.h"

#include <cmath>
#include <cstdio>

namespace tonvale::workbench {

namespace {

// A WAV file counts bytes in 32 bits, those of a second too; some are left for its header.
constexpr double largestFile = 4294967295.0 - 65536.0;

class ToneCommand {
  public:
    explicit ToneCommand(CLI::App &command) {
        command.add_option("OUT", output, "The WAV file to write")->required();
        addPositive(command, "--length", settings.toneLengthSeconds, "Length of the tone")
            ->type_name("SECONDS")
            ->default_str("4");
        addPositive(command, "--rate", settings.toneSampleRate,
                    "Sample rate; the file's header holds whole Hz, the tone has the exact rate")
            ->type_name("HZ")
            ->default_str("44100");
        addDepth(command, depth);
        command.footer(
            "The tone is a full-scale sine that sweeps from 20 Hz to half the sample rate. Play it "
            "through a room\nor a device, record that, and let tonvale deconvolve make an impulse "
            "response of the recording.");
    }

    void run() {
        requireWaveName(output);
        refuseTooLarge();
        settings.toneBitDepth = std::stoi(depth);
        MeasuringHost host(output, settings.toneBitDepth);
        MeasureOutcome outcome;
        {
            ProgressBar bar(MeasuringHost::progressSteps);
            outcome = writeTestTone(host.path().c_str(), settings, host.progress(bar));
        }
        host.finish(outcome, output);
    }

  private:
    std::string output;
    std::string depth = "32";
    TestToneSettings settings;

    void refuseTooLarge() const {
        const double seconds = settings.toneLengthSeconds;
        const double rate = settings.toneSampleRate;
        const double sampleBytes = std::stod(depth) / 8.0;
        if (seconds * rate * sampleBytes <= largestFile && rate * sampleBytes <= largestFile)
            return;
        char reason[160];
        std::snprintf(reason, sizeof reason,
                      ": %g s at %g Hz and %s bits are more than a WAV file can hold", seconds,
                      rate, depth.c_str());
        throw Problem(output + reason);
    }
};

} // namespace

void addToneCommand(CLI::App &program) {
    CLI::App *command =
        program.add_subcommand("tone", "Writes the test tone by which a room is measured");
    auto tone = std::make_shared<ToneCommand>(*command);
    command->callback([tone] { tone->run(); });
}

} // namespace tonvale::workbench
