#include "workbench/analysis/interaural.h"
#include "workbench/cli/commands/analysis_picture.h"
#include "workbench/cli/commands/analysis_report.h"
#include "workbench/cli/commands/commands.h"
#include "workbench/cli/problem.h"
#include "workbench/cli/sound/recording.h"
#include "workbench/cli/warnings.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <memory>

namespace tonvale::workbench {

namespace {

constexpr size_t mostSamples = size_t{1} << 27; ///< of all channels

constexpr double silentLevel = 1e-6; ///< -120 dBFS

// Flat tops: so many neighbours at the file's largest magnitude, in so many places. The largest
// positive number of 16 bits is one below the largest negative one.
constexpr int flatLength = 3;
constexpr int flatPlaces = 2;
constexpr double sameMagnitude = 1 - 1.01 / 32768;

// How far the last part must lie under the response's peak where no noise shows.
constexpr double lastPart = 0.05;
constexpr double leastFall = 40;

ResponseFile readResponse(const std::string &path) {
    Recording recording(path);
    return {path, recording.sampleRate(), recording.readAll(mostSamples), {}, {}};
}

int flatTops(const std::vector<double> &samples, double largest) {
    int places = 0, length = 0;
    for (const double sample : samples) {
        length = std::fabs(sample) >= largest * sameMagnitude ? length + 1 : 0;
        places += length == flatLength ? 1 : 0;
    }
    return places;
}

bool stopsBefore(const std::vector<double> &samples, const ChannelFigures &figures, double rate) {
    const Decay &decay = figures.decay;
    if (decay.showsNoise || decay.end == 0)
        return false;
    // Short responses, of a loudspeaker say, don't have so much to spare.
    const size_t whole = decay.end - decay.peak;
    const size_t count =
        std::min(std::max<size_t>(whole / 4, 1), static_cast<size_t>(lastPart * rate));
    const auto last = std::span(samples).subspan(decay.end - count, count);
    return powerDb(meanPower(last) / (figures.peak * figures.peak)) > -leastFall;
}

void warnOf(const ResponseFile &file) {
    double largest = 0;
    for (const ChannelFigures &channel : file.channels)
        largest = std::max(largest, channel.peak);
    for (size_t c = 0; c < file.samples.size(); ++c) {
        const std::string where = file.name + ": channel " + std::to_string(c + 1);
        if (file.channels[c].peak <= silentLevel) {
            warn(where + " is silent");
            continue;
        }
        if (flatTops(file.samples[c], largest) >= flatPlaces)
            warn(where + " is clipped: its peaks are flat");
        if (stopsBefore(file.samples[c], file.channels[c], file.rate))
            warn(where + " stops before the room has died away");
    }
}

class AnalyseCommand {
  public:
    explicit AnalyseCommand(CLI::App &command) {
        command.add_option("FILE", names, "The impulse responses; - is standard input")->required();
        command.add_flag("--json", asJson, "Print the figures for programs");
        command.add_flag("--third", inThirds,
                         "In third octaves from 50 Hz to 10 kHz instead of octaves");
        command
            .add_option("--picture", picture,
                        "Draw levels, spectrogram and reverberation times of the one FILE")
            ->type_name("OUT.png");
        addStrict(command);
        command.footer(
            "After ISO 3382-1, broadband and in octaves from 63 Hz to 8 kHz, the noise taken out. "
            "A figure that the\nnoise doesn't allow is left out: T30 needs 45 dB between the decay "
            "and its noise (INR), T20 35, the\nothers 20.");
    }

    void run() {
        if (!picture.empty() && names.size() != 1)
            throw CLI::ValidationError("--picture", "takes exactly one FILE");
        std::vector<ResponseFile> files;
        for (const std::string &name : names) {
            ResponseFile file = analyse(name);
            warnOf(file);
            if (!asJson)
                printTable(file);
            if (!picture.empty())
                draw(file);
            file.samples.clear();
            files.push_back(std::move(file));
        }
        if (asJson)
            printJson(files);
    }

  private:
    std::vector<std::string> names;
    std::string picture;
    bool asJson = false;
    bool inThirds = false;

    void draw(const ResponseFile &file) const {
        if (file.name != pipeName)
            refuseOverwriting(picture, file.name);
        OutputFile output(picture);
        drawPicture(file, output);
        output.commit();
    }

    ResponseFile analyse(const std::string &name) const {
        ResponseFile file = readResponse(name);
        const auto bands = inThirds ? thirdOctaves(file.rate) : octaves(file.rate);
        for (const auto &samples : file.samples)
            file.channels.push_back(analyseChannel(samples, file.rate, bands));
        if (file.samples.size() == 2)
            file.ears = interaural(file.samples[0], file.channels[0], file.samples[1],
                                   file.channels[1], file.rate);
        return file;
    }
};

} // namespace

void addAnalyseCommand(CLI::App &program) {
    CLI::App *command =
        program.add_subcommand("analyse", "Tells what impulse responses are worth: reverberation "
                                          "times, clarity, noise");
    auto analysis = std::make_shared<AnalyseCommand>(*command);
    command->callback([analysis] { analysis->run(); });
}

} // namespace tonvale::workbench
