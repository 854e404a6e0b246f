#include "workbench/cli/commands/chain_options.h"
#include "workbench/cli/commands/commands.h"
#include "workbench/cli/commands/format_options.h"
#include "workbench/cli/commands/option_values.h"
#include "workbench/cli/commands/progress_bar.h"
#include "workbench/cli/commands/settings_options.h"
#include "workbench/cli/problem.h"
#include "workbench/cli/rendering/batch.h"
#include "workbench/cli/rendering/render_job.h"
#include "workbench/cli/sound/sound_reader.h"
#include "workbench/cli/warnings.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <malloc.h>
#include <memory>
#include <sched.h>
#include <thread>

namespace tonvale::workbench {

namespace {

constexpr double largestBlock = 65536;
constexpr double longestTail = 86400;
constexpr int mostInstances = 16;
constexpr int largeBlock = 256 << 10;

/// The cores that this program may use, up to as many as are worth an instance each, since every
/// one makes the whole response before it leaves its part.
int coreCount() {
    cpu_set_t cores;
    const bool isTold = sched_getaffinity(0, sizeof cores, &cores) == 0;
    const int count =
        isTold ? CPU_COUNT(&cores) : static_cast<int>(std::thread::hardware_concurrency());
    return std::clamp(count, 1, mostInstances);
}

class Stopwatch {
  public:
    double seconds() const {
        return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    }

  private:
    std::chrono::steady_clock::time_point start = std::chrono::steady_clock::now();
};

class RenderCommand {
  public:
    explicit RenderCommand(CLI::App &command) {
        command
            .add_option("FILES", names,
                        "IN, the recording to treat: any media file, or - for a WAV from standard "
                        "input; and OUT, the sound to write: .wav, .w64, .flac, .aiff or .aif, or "
                        "- for a WAV to standard output. With --into any number of IN")
            ->type_name("")
            ->required();
        into =
            command.add_option("--into", folder,
                               "Write a file for each IN, named after it, into a folder, which is "
                               "made; several at a time");
        into->type_name("FOLDER");
        command.add_option("--type", type, "What --into writes; wav unless given")
            ->type_name("wav|flac|aiff|w64")
            ->check(CLI::IsMember({"wav", "flac", "aiff", "w64"}).description(""))
            ->needs(into);
        addNumber(command, "--block", block, 1, largestBlock,
                  "The most samples that the plug-in gets at once; the result doesn't depend on it",
                  true)
            ->type_name("N");
        CLI::Option *width = addNumber(
            command, "--channels", channels, 1, channelLimit,
            "Channels to write; unless given, the larger of those of IN and of the impulse "
            "response",
            true);
        width->type_name("N");
        command
            .add_flag("--true-stereo", wishes.isTrueStereo,
                      "The response is left to left, left to right, right to left, right to right: "
                      "--ir with these four channels, or --ir LEFT --ir RIGHT")
            ->excludes(width);
        addNumber(command, "--tail", wishes.tail, 0, longestTail,
                  "How long to go on behind the end of IN; unless given, until the response has "
                  "died away")
            ->type_name("SECONDS");
        command.add_flag("--lead", wishes.keepsLead,
                         "Begin where the wet sound begins, Pre-verb before IN");
        format.addTo(command);
        addStrict(command);
        chain.addTo(command);
        settings.addTo(command);
        command
            .add_option("--save-state", savedState,
                        "Write the plug-in's state, with these settings, to a file")
            ->type_name("FILE")
            ->group("Settings");
        command.footer("Without --zl, --ll and --max-fft a file is rendered as is quickest, which "
                       "isn't heard.");
    }

    void run() {
        // Large blocks go back to the system, which otherwise keeps each stage of a setup as long
        // as the program runs.
        mallopt(M_MMAP_THRESHOLD, largeBlock);
        checkNames();
        if (block)
            wishes.block = static_cast<int>(*block);
        if (channels)
            wishes.channels = static_cast<int>(*channels);
        if (wishes.isTrueStereo)
            chain.placeForTrueStereo();
        if (into->count() > 0)
            renderMany();
        else
            renderOne();
    }

  private:
    std::vector<std::string> names;
    CLI::Option *into;
    std::string folder;
    std::string type = "wav";
    std::optional<std::string> savedState;
    std::optional<double> block;
    std::optional<double> channels;
    RenderWishes wishes;
    FormatOptions format;
    ChainOptions chain;
    SettingsOptions settings;

    void checkNames() const {
        if (into->count() > 0) {
            if (folder.empty())
                throw CLI::ValidationError("--into", "the name of the folder is missing");
            return;
        }
        if (names.size() < 2)
            throw CLI::ValidationError("OUT", "is missing");
        if (names.size() > 2) {
            throw CLI::ValidationError("'" + names[2] + "'",
                                       "is one name too many: IN and OUT, or --into FOLDER");
        }
    }

    void renderOne() {
        const std::string &input = names[0];
        const std::string &output = names[1];
        const SoundFormat chosen = format.formatOf(output);
        chain.check();
        Recording recording(input);
        refuseOverwritingBy(output, {input});
        OutputFile file(output);
        Renderer renderer(chain, settings, wishes, coreCount());
        const auto state = openState({input}, {output}, renderer, recording.sampleRate());
        RenderJob job{std::move(recording), file, chosen, state.get()};

        std::unique_ptr<SoundWriter> writer;
        const Stopwatch watch;
        {
            ProgressBar bar;
            bar.expect(job.recording.frames().value_or(0));
            writer = renderJob(renderer, job, describer(&job.recording), bar);
        }
        const double written = static_cast<double>(writer->frames()) / job.recording.sampleRate();
        reportSpeed(written, watch.seconds());
        reportState();
        writer->report();
    }

    void renderMany() {
        const SoundFormat chosen = format.formatOf(folder + "/*." + type);
        const BatchPlan plan{names, folder, chosen};
        chain.check();
        checkBatch(plan);
        std::vector<std::string> outputs;
        for (const std::string &input : names)
            outputs.push_back(plan.outputOf(input));
        for (const std::string &output : outputs)
            refuseOverwritingBy(output, {});
        std::error_code error;
        std::filesystem::create_directories(folder, error);
        if (error)
            throw Problem(folder + ": can't be made (" + error.message() + ")");

        const int atOnce = std::min(coreCount(), static_cast<int>(names.size()));
        Renderer renderer(chain, settings, wishes, coreCount() / atOnce);
        const auto state = openState(names, outputs, renderer, firstRate());
        Batch batch(plan, renderer, state.get());
        const Stopwatch watch;
        batch.run(atOnce, describer(nullptr));
        if (batch.writtenSeconds() > 0.0) {
            reportSpeed(batch.writtenSeconds(), watch.seconds());
            reportState();
        }
        if (batch.hasFailed())
            throw ToldProblem();
    }

    void refuseOverwritingBy(const std::string &output,
                             const std::vector<std::string> &inputs) const {
        for (const std::string &input : inputs)
            refuseOverwriting(output, input);
        chain.refuseOverwritingBy(output);
    }

    /// The state's file, with its content; null where none is wanted.
    std::unique_ptr<StateFile> openState(const std::vector<std::string> &inputs,
                                         const std::vector<std::string> &outputs,
                                         Renderer &renderer, double rate) const {
        if (!savedState)
            return nullptr;
        refuseOverwritingBy(*savedState, inputs);
        for (const std::string &output : outputs) {
            std::error_code error;
            namespace fs = std::filesystem;
            if (fs::weakly_canonical(output, error) == fs::weakly_canonical(*savedState, error))
                throw Problem(*savedState + ": the state and the sound have one name");
        }
        auto state = std::make_unique<StateFile>(*savedState);
        state->write(renderer.state(rate));
        return state;
    }

    /// That of the first recording that can be read.
    double firstRate() const {
        for (const std::string &input : names) {
            try {
                return Recording(input).sampleRate();
            } catch (const Problem &) {
                // Told when its turn comes.
            }
        }
        return 44100.0;
    }

    /// Tells of the recording, where there is just one, and of what all have in common.
    Renderer::Describe describer(const Recording *recording) const {
        return [this, recording, isTold = std::make_shared<bool>(false)](
                   Effect &effect, int responses, const std::string &shownSettings) {
            if (std::exchange(*isTold, true))
                return;
            if (recording) {
                std::printf(
                    "Read      %s: %s\n", recording->shownName().c_str(),
                    soundShape(recording->sampleRate(), recording->channels(), recording->frames())
                        .c_str());
            }
            printChain(effect);
            std::printf("Response  %d %s", responses, responses == 1 ? "channel" : "channels");
            if (settings.choosesEngine())
                std::printf(", latency %lld samples", static_cast<long long>(effect.latency()));
            std::printf("\n");
            std::printf("Settings  %s\n", shownSettings.c_str());
            std::fflush(stdout);
        };
    }

    void reportState() const {
        if (savedState)
            std::printf("Wrote     %s: the state\n", savedState->c_str());
    }

    static void reportSpeed(double written, double seconds) {
        std::printf("Speed     %.1f times real time\n", written / std::max(seconds, 1e-6));
    }
};

} // namespace

void addRenderCommand(CLI::App &program) {
    CLI::App *command = program.add_subcommand(
        "render",
        "Sends recordings through the plug-in and writes the results, lined up with them");
    auto render = std::make_shared<RenderCommand>(*command);
    command->callback([render] { render->run(); });
}

} // namespace tonvale::workbench
