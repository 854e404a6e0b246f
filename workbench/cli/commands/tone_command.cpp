#include "measure/test_tone.h"
#include "workbench/cli/commands/commands.h"
#include "workbench/cli/commands/measuring_host.h"
#include "workbench/cli/options/format_options.h"
#include "workbench/cli/options/option_values.h"
#include "workbench/cli/problem.h"

#include <cmath>
#include <cstdio>

namespace tonvale::workbench {

namespace {

constexpr double mostFrames = 2147483647.0;
// Headers count the bytes of a second in 32 bits.
constexpr double mostBytesASecond = 4294967295.0;

class ToneCommand {
  public:
    explicit ToneCommand(CLI::App &command) {
        command.add_option("OUT", output, outputHelp)->required();
        addPositive(command, "--length", settings.toneLengthSeconds, "Length of the tone")
            ->type_name("SECONDS")
            ->default_str("4");
        addPositive(command, "--rate", settings.toneSampleRate,
                    "Sample rate; the file's header holds whole Hz, the tone has the exact rate")
            ->type_name("HZ")
            ->default_str("44100");
        format.addTo(command);
        command.footer(
            "The tone is a full-scale sine that sweeps from 20 Hz to half the sample rate. Play it "
            "through a room\nor a device, record that, and let tonvale deconvolve make an impulse "
            "response of the recording.");
    }

    void run() {
        const SoundFormat chosen = format.formatOf(output);
        settings.toneBitDepth = chosen.depth;
        refuseTooLarge();
        MeasuringHost host(output, chosen, testToneLength(settings));
        MeasureOutcome outcome;
        {
            ProgressBar bar(MeasuringHost::progressSteps);
            outcome = writeTestTone(host.path().c_str(), settings, host.progress(bar));
        }
        host.finish(outcome, output);
    }

  private:
    std::string output;
    FormatOptions format;
    TestToneSettings settings;

    void refuseTooLarge() const {
        const double seconds = settings.toneLengthSeconds;
        const double rate = settings.toneSampleRate;
        if (seconds * rate <= mostFrames && rate * settings.toneBitDepth / 8.0 <= mostBytesASecond)
            return;
        char reason[160];
        std::snprintf(reason, sizeof reason, ": %g s at %g Hz are more than a tone can have",
                      seconds, rate);
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
