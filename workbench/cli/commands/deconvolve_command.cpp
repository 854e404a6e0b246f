#include "workbench/cli/commands/commands.h"
#include "workbench/cli/measuring/division.h"
#include "workbench/cli/measuring/drift.h"
#include "workbench/cli/measuring/recording_check.h"
#include "workbench/cli/measuring/response_edges.h"
#include "workbench/cli/measuring/tone_match.h"
#include "workbench/cli/measuring/whole_response.h"
#include "workbench/cli/options/format_options.h"
#include "workbench/cli/options/option_values.h"
#include "workbench/cli/problem.h"
#include "workbench/cli/progress_bar.h"
#include "workbench/cli/sound/sound_writer.h"
#include "workbench/cli/warnings.h"
#include "workbench/services/media.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>

namespace tonvale::workbench {

namespace {

constexpr double lowestFloor = -1000;
constexpr double highestFloor = 1000;
constexpr double usualFloor = -120;
constexpr int uncutFloor = -150;
constexpr double latestStart = 10000; // ms
constexpr int progressSteps = 1000;
constexpr int mostPasses = 3;
constexpr double smallestDrift = 0.01; // ppm
// By how much the exchanged division stands out more, dB.
constexpr double clearlyMore = 6;

MeasuredSound read(const std::string &path) {
    MeasuredSound sound = loadSound(path);
    if (!sound.channels.empty()) {
        const auto width = static_cast<int>(sound.channels.size());
        const auto length = static_cast<int64_t>(sound.length());
        std::printf("Read      %s: %s\n", path.c_str(),
                    soundShape(sound.rate, width, length).c_str());
        std::fflush(stdout);
    }
    return sound;
}

/// Shows an option whose number may be left out without the one that it is then.
class OptionNames final : public CLI::Formatter {
  public:
    std::string make_option_name(const CLI::Option *option, bool isPositional) const override {
        const std::string name = CLI::Formatter::make_option_name(option, isPositional);
        return name.substr(0, name.find('{'));
    }
};

MeasureProgress shownIn(ProgressBar &bar) {
    return [&bar, shown = int64_t{0}](double fraction) mutable {
        const auto reached = static_cast<int64_t>(fraction * progressSteps);
        bar.advance(reached - shown);
        shown = reached;
        return true;
    };
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
        command
            .add_option("--drift", drift,
                        "Mend clocks that run apart: PPM is above 0 where the recording has more "
                        "samples than it should, or auto")
            ->type_name("auto|PPM")
            ->check([](const std::string &text) {
                const auto value = numberIn(text);
                const bool fits = text == "auto" || (value && std::fabs(*value) <= largestDrift);
                return fits ? "" : "'" + text + "' is neither auto nor a number from -200 to 200";
            });
        command
            .add_flag(
                "--align{0}", align,
                "Put the earliest direct sound at MS milliseconds, 0 unless given, and drop what "
                "is ahead of the new start")
            ->type_name("[=MS]")
            ->check([](const std::string &text) {
                const auto value = numberIn(text);
                const bool fits = value && *value >= 0.0 && *value <= latestStart;
                return fits ? "" : "'" + text + "' is no number from 0 to 10000";
            });
        command.add_flag("--trim", isTrimmed,
                         "End each channel where it sinks into the noise, with a fade");
        command.formatter(std::make_shared<OptionNames>());
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
        OutputFile file(output);
        const MeasuredSound heard = read(recording), played = read(tone);

        const auto start = std::chrono::steady_clock::now();
        MeasuredSound response = divide(heard, played);
        const size_t loudest = loudestChannel(heard);
        const MeasuredSound tonePlayed = channelOf(played, loudest);
        const MeasuredSound delayed = behindSilence(channelOf(heard, loudest), tonePlayed);
        const MeasuredSound whole = wholeResponse(delayed, tonePlayed);
        check(heard, played, response, whole);
        if (const auto ppm = driftToMend(delayed, tonePlayed, whole))
            response = divide(withoutDrift(heard, *ppm), played);
        shape(response);
        const std::chrono::duration<double> taken = std::chrono::steady_clock::now() - start;
        std::printf("Took      %.3f s\n", taken.count());
        write(response, file, chosen);
    }

  private:
    std::string recording;
    std::string tone;
    std::string output;
    FormatOptions format;
    std::optional<double> floor;
    std::string align;
    std::string drift;
    bool isTrimmed = false;

    MeasuredSound divide(const MeasuredSound &heard, const MeasuredSound &played) const {
        MeasuredSound response;
        MeasureOutcome outcome;
        {
            ProgressBar bar(progressSteps);
            outcome = divideSounds(heard, played, static_cast<int>(floor.value_or(usualFloor)),
                                   shownIn(bar), response);
        }
        if (outcome != MeasureOutcome::done) {
            const char *message = measureMessage(outcome);
            throw Problem(subjectOf(outcome) + ": " + (message ? message : "nothing was written") +
                          reasonOf(outcome));
        }
        return response;
    }

    void check(const MeasuredSound &heard, const MeasuredSound &played,
               const MeasuredSound &response, const MeasuredSound &whole) const {
        const ToneMatch match = matchTone(whole);
        if (areExchanged(heard, played, match)) {
            warn(recording + " and " + tone + " seem to be exchanged: the recording comes first");
            return;
        }
        if (!match.isResponse()) {
            warn("there is no tone of " + tone + " in " + recording +
                 ": nothing stands out of the noise as a room's response does");
        }
        const auto place = match.isResponse() ? findTone(whole, played) : std::nullopt;
        checkRecording(heard, response, place, recording);
    }

    /// Whether the tone holds the recording, rather than the other way round as `match` tells.
    static bool areExchanged(const MeasuredSound &heard, const MeasuredSound &played,
                             const ToneMatch &match) {
        // A recording goes on behind its tone.
        MeasuredSound reverse;
        if (heard.length() > played.length() ||
            divideSounds(played, heard, uncutFloor, {}, reverse) != MeasureOutcome::done)
            return false;
        const ToneMatch other = matchTone(reverse);
        return other.isResponse() && other.prominence > match.prominence + clearlyMore;
    }

    /// By how much the clocks ran apart, where that is to be mended.
    std::optional<double> driftToMend(const MeasuredSound &delayed, const MeasuredSound &played,
                                      const MeasuredSound &whole) const {
        if (drift != "auto")
            return numberIn(drift);
        auto found = findDrift(whole, played);
        if (!found) {
            warn(recording + ": no clear direct sound tells of a drift, so the recording is left " +
                 "as it is");
            return std::nullopt;
        }
        // What is far apart is found less exactly, and better when most of it is mended.
        double ppm = *found;
        for (int pass = 1; pass < mostPasses && std::fabs(*found) >= smallestDrift; ++pass) {
            found = findDrift(wholeResponse(withoutDrift(delayed, ppm), played), played);
            if (!found)
                break;
            ppm = std::clamp(ppm + *found, -largestDrift, largestDrift);
        }
        std::printf("Drift %+.1f ppm\n", ppm);
        if (std::fabs(ppm) < smallestDrift)
            return std::nullopt;
        return ppm;
    }

    void shape(MeasuredSound &response) const {
        if (!align.empty() && !alignResponse(response, numberIn(align).value_or(0.0) / 1000.0))
            warn(recording + ": no direct sound stands out, so nothing is aligned");
        if (isTrimmed)
            trimResponse(response);
    }

    static void write(const MeasuredSound &response, OutputFile &file, const SoundFormat &format) {
        SoundShape shape = shapeOf(response.rate, static_cast<int>(response.channels.size()));
        shape.frames = static_cast<int64_t>(response.length());
        std::vector<const double *> planes;
        for (const auto &samples : response.channels)
            planes.push_back(samples.data());
        SoundWriter writer(file, format, shape);
        writer.write(planes.data(), static_cast<int>(response.length()), 0);
        writer.finish();
        file.commit();
        writer.report();
    }

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
