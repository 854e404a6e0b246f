#include "workbench/cli/commands/commands.h"
#include "workbench/cli/options/chain_options.h"
#include "workbench/cli/options/chain_warnings.h"
#include "workbench/cli/options/format_options.h"
#include "workbench/cli/options/option_values.h"
#include "workbench/cli/output_file.h"
#include "workbench/cli/problem.h"
#include "workbench/cli/progress_bar.h"
#include "workbench/cli/sound/impulse_response.h"
#include "workbench/cli/sound/sound_reader.h"
#include "workbench/cli/sound/sound_writer.h"
#include "workbench/cli/warnings.h"

#include <memory>

namespace tonvale::workbench {

namespace {

constexpr double usualRate = 44100;
constexpr double leastRate = 1e-3;
constexpr double mostRate = 1e7;

class ImpulseCommand {
  public:
    explicit ImpulseCommand(CLI::App &command) {
        command.add_option("OUT", output, outputHelp)->required();
        addNumber(command, "--rate", rate, leastRate, mostRate,
                  "Sample rate; unless given, that of the first file in the chain, else 44100")
            ->type_name("HZ");
        format.addTo(command);
        addStrict(command);
        chain.addTo(command);
        command.footer("The response is what the plug-in answers to a unit impulse. It keeps "
                       "responses in single precision and\nconvolves long ones by FFT, so there "
                       "is a noise floor of about -145 dB below the peak.");
    }

    void run() {
        const SoundFormat chosen = format.formatOf(output);
        chain.check();
        chain.refuseOverwritingBy(output);
        OutputFile file(output);

        Effect effect(wantedRate());
        chain.loadState(effect);
        soloResponse(effect);
        chain.loadStages(effect);
        if (effect.stageCount() == 0)
            throw Problem("the chain is empty: --ir, --stage or --load-state fills it");
        printChain(effect);
        const bool isEmpty = warnOfEmptyChain(effect);
        const int channels = responseChannels(effect);
        const int64_t frames = isEmpty ? 0 : effect.tailFrames();
        SoundShape shape = shapeOf(effect.sampleRate(), channels);
        shape.frames = frames;
        SoundWriter writer(file, chosen, shape);
        {
            ProgressBar bar(frames);
            captureResponse(effect, channels, frames, [&](double **planes, int count, int offset) {
                writer.write(planes, count, offset);
                bar.advance(count);
            });
        }
        writer.finish();
        file.commit();
        writer.report();
    }

  private:
    std::string output;
    FormatOptions format;
    std::optional<double> rate;
    ChainOptions chain;

    double wantedRate() const {
        if (rate)
            return *rate;
        return chain.firstFile().empty() ? usualRate : SoundReader(chain.firstFile()).sampleRate();
    }
};

} // namespace

void addImpulseCommand(CLI::App &program) {
    CLI::App *command = program.add_subcommand(
        "impulse", "Writes the impulse response that a chain of stages makes");
    auto impulse = std::make_shared<ImpulseCommand>(*command);
    command->callback([impulse] { impulse->run(); });
}

} // namespace tonvale::workbench
