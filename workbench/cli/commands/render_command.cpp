#include "workbench/cli/commands/chain_options.h"
#include "workbench/cli/commands/commands.h"
#include "workbench/cli/commands/option_values.h"
#include "workbench/cli/commands/progress_bar.h"
#include "workbench/cli/commands/settings_options.h"
#include "workbench/cli/output_file.h"
#include "workbench/cli/sound/aligned_stream.h"
#include "workbench/cli/sound/impulse_response.h"
#include "workbench/cli/sound/sound_reader.h"
#include "workbench/cli/sound/sound_writer.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <memory>

namespace tonvale::workbench {

namespace {

constexpr double largestBlock = 65536;
constexpr double usualBlock = 512;
constexpr double longestTail = 86400;

class RenderCommand {
  public:
    explicit RenderCommand(CLI::App &command) {
        command.add_option("IN", input, "The recording to treat, any media file")->required();
        command.add_option("OUT", output, "The WAV file to write")->required();
        addNumber(command, "--block", block, 1, largestBlock,
                  "Samples a block; 512 unless given, the result doesn't depend on it", true)
            ->type_name("N");
        addNumber(command, "--channels", channels, 1, channelLimit,
                  "Channels to write; unless given, the larger of those of IN and of the impulse "
                  "response",
                  true)
            ->type_name("N");
        addNumber(command, "--tail", tail, 0, longestTail,
                  "How long to go on behind the end of IN; unless given, until the response has "
                  "died away")
            ->type_name("SECONDS");
        addDepth(command, depth);
        chain.addTo(command);
        settings.addTo(command);
        command
            .add_option("--save-state", savedState,
                        "Write the plug-in's state, as it rendered, to a file")
            ->type_name("FILE")
            ->group("Settings");
    }

    void run() {
        requireWaveName(output);
        chain.check();
        SoundReader reader(input);
        refuseOverwriting(output, input);
        chain.refuseOverwritingBy(output);
        OutputFile file(output);
        std::unique_ptr<OutputFile> stateFile;
        if (!savedState.empty())
            stateFile = std::make_unique<OutputFile>(savedState);

        Effect effect(reader.sampleRate());
        chain.loadState(effect);
        settings.applyTo(effect);
        chain.loadStages(effect);
        const int responses = responseChannels(effect);
        const int width =
            static_cast<int>(channels.value_or(std::max(reader.channels(), responses)));
        effect.setChannels(width);
        effect.reset();
        describe(effect, reader, responses);

        SoundWriter writer(output, file, width, reader.sampleRate(), std::stoi(depth));
        const double seconds = stream(effect, reader, writer, width);
        writer.finish();
        if (stateFile) {
            stateFile->write(effect.chunk());
            stateFile->commit();
        }
        report(reader, writer, seconds);
    }

  private:
    std::string input;
    std::string output;
    std::string depth = "32";
    std::string savedState;
    std::optional<double> block;
    std::optional<double> channels;
    std::optional<double> tail;
    ChainOptions chain;
    SettingsOptions settings;

    /// Answers the time that it took, seconds.
    double stream(Effect &effect, SoundReader &reader, SoundWriter &writer, int width) const {
        const int64_t behind =
            tail ? std::llround(*tail * reader.sampleRate()) : effect.tailFrames() - 1;
        const int64_t frames = reader.frames() + behind;
        const auto blockFrames = static_cast<int>(block.value_or(usualBlock));
        ProgressBar bar(frames);
        const auto start = std::chrono::steady_clock::now();
        AlignedStream(effect, width, reader.channels(), blockFrames)
            .run(
                frames, [&](double *const *planes, int count) { reader.read(planes, count); },
                [&](double **planes, int count, int offset) {
                    writer.write(planes, count, offset);
                    bar.advance(count);
                });
        return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    }

    void describe(Effect &effect, const SoundReader &reader, int responses) const {
        std::printf("Read      %s: %s\n", input.c_str(),
                    soundShape(reader.sampleRate(), reader.channels(), reader.frames()).c_str());
        printChain(effect);
        std::printf("Response  %d %s, latency %lld samples\n", responses,
                    responses == 1 ? "channel" : "channels",
                    static_cast<long long>(effect.latency()));
        std::printf("Settings  %s\n", settingsText(effect).c_str());
        std::fflush(stdout);
    }

    void report(const SoundReader &reader, const SoundWriter &writer, double seconds) const {
        const double length = static_cast<double>(reader.frames()) / reader.sampleRate();
        std::printf("Speed     %.1f times real time\n", length / std::max(seconds, 1e-6));
        if (!savedState.empty())
            std::printf("Wrote     %s: the state\n", savedState.c_str());
        writer.report();
    }
};

} // namespace

void addRenderCommand(CLI::App &program) {
    CLI::App *command = program.add_subcommand(
        "render", "Sends a recording through the plug-in and writes the result, lined up with it");
    auto render = std::make_shared<RenderCommand>(*command);
    command->callback([render] { render->run(); });
}

} // namespace tonvale::workbench
