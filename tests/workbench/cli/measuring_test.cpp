#include "workbench/cli/program_run.h"
#include "workbench/services/rate_converter.h"
#include "workbench/sounds.h"

#include <cmath>
#include <filesystem>
#include <functional>
#include <tuple>

namespace tonvale::test {
namespace {

/// A tone, and the recording of it in a room whose decay is known: a direct sound, then noise that
/// falls by 60 dB in 0.4 s, and the noise of the room, 70 dB under the tone.
class Measuring : public testing::Test {
  protected:
    TestFolder folder;
    std::string tone = folder.file("tone.wav");
    std::string in = folder.file("in.wav");
    std::string out = folder.file("out.wav");
    static constexpr double rate = 24000;
    Sound room{rate, {Samples(), Samples()}};
    Sound recorded;

    void SetUp() override {
        runWell({"tone", tone, "--rate", "24000", "--length", "2"});
        const size_t arrivals[] = {480, 600};
        for (size_t c = 0; c < 2; ++c) {
            Samples &samples = room.channels[c];
            samples = noise(12000, static_cast<uint32_t>(c + 1));
            for (size_t i = 0; i < samples.size(); ++i) {
                const double age = static_cast<double>(i) - static_cast<double>(arrivals[c]);
                samples[i] *= age < 0 ? 0.0 : 0.1 * std::pow(10.0, -3.0 * age / 9600.0);
            }
            samples[arrivals[c]] = 0.4;
        }
        const std::string response = folder.file("room.wav");
        writeSound(response, room);
        runWell({"render", tone, in, "--ir", response, "--wet", "0", "--dry", "-inf"});
        recorded = readSound(in);
        for (size_t c = 0; c < 2; ++c) {
            const Samples hiss = noise(recorded.length(), static_cast<uint32_t>(c + 5));
            for (size_t i = 0; i < hiss.size(); ++i)
                recorded.channels[c][i] += 1e-3 * hiss[i];
        }
    }

    ProgramResult deconvolve(const Sound &recording, const Words &more = {}) {
        writeSound(in, recording);
        return runProgram(Words{"deconvolve", in, tone, out} + more);
    }
};

TEST_F(Measuring, WarnsOfWhatIsWrongWithARecordingAndOfNothingElse) {
    const auto each = [](const std::function<void(Samples &)> &damage) {
        return [damage](Sound &sound) {
            for (Samples &samples : sound.channels)
                damage(samples);
        };
    };
    const auto cut = [](double limit) {
        return [limit](Samples &samples) {
            for (double &sample : samples)
                sample = std::clamp(sample, -limit, limit);
        };
    };
    const std::pair<const char *, std::function<void(Sound &)>> cases[] = {
        {"", [](Sound &) {}},
        {"clipped", each(cut(0.25))},
        // One peak at the largest number is none.
        {"", each([](Samples &samples) { samples[30000] = 1.0; })},
        {"finite", each([](Samples &samples) { samples[30000] = std::nan(""); })},
        {"is silent", [](Sound &sound) { sound.channels[1].assign(sound.length(), 1e-7); }},
        {"stops before", each([](Samples &samples) { samples.resize(48200); })},
        {"stops before", each([](Samples &samples) { samples.resize(49200); })},
        {"drop-out", [](Sound &sound) { std::fill_n(&sound.channels[1][40000], 32, 0.0); }},
        {"drop-out",
         [](Sound &sound) {
             Samples &samples = sound.channels[0];
             std::fill_n(&samples[40001], 50, samples[40000]);
         }},
        // Before the tone and behind it nothing is missing.
        {"", each([](Samples &samples) {
             std::fill_n(samples.begin(), 400, 0.0);
             std::fill(samples.end() - 400, samples.end(), 0.0);
         })},
    };
    for (const auto &[word, damage] : cases) {
        Sound damaged = recorded;
        damage(damaged);
        const ProgramResult usual = deconvolve(damaged), strict = deconvolve(damaged, {"--strict"});
        const bool warned = *word != 0;
        EXPECT_EQ(usual.status, 0);
        EXPECT_EQ(strict.status, warned ? 1 : 0) << word;
        EXPECT_EQ(std::count(usual.errors.begin(), usual.errors.end(), '\n'), warned ? 1 : 0)
            << word << usual.errors;
        EXPECT_NE(usual.errors.find(word), std::string::npos) << word << usual.errors;
        EXPECT_TRUE(std::filesystem::exists(out));
    }
}

TEST_F(Measuring, WarnsWhereTheToneIsAnotherOneOrNone) {
    const std::string other = folder.file("other.wav");
    runWell({"tone", other, "--rate", "24000", "--length", "1.5"});
    writeSound(in, recorded);
    const std::string hiss = folder.file("hiss.wav"), faint = folder.file("faint.wav");
    Samples quiet = noise(60000, 3);
    writeSound(hiss, {rate, {quiet}});
    for (double &sample : quiet)
        sample *= 1e-4;
    writeSound(faint, {rate, {quiet}});
    const std::pair<const char *, Words> cases[] = {{"no tone", {in, other}},
                                                    {"no tone", {hiss, tone}},
                                                    {"no tone", {faint, tone}},
                                                    {"exchanged", {tone, in}}};
    for (const auto &[word, files] : cases) {
        const ProgramResult result =
            runProgram(Words{"deconvolve"} + files + Words{out, "--strict"});
        EXPECT_EQ(result.status, 1) << word;
        EXPECT_NE(result.errors.find(word), std::string::npos) << result.errors;
        EXPECT_EQ(std::count(result.errors.begin(), result.errors.end(), '\n'), 1) << result.errors;
    }
}

TEST_F(Measuring, SaysNothingOfCleanRecordingsOfMeasuredRooms) {
    const std::string street = "/usr/share/jconvolver/config-files/demo-reverbs/street2-L.wav";
    const std::string hall = "/usr/share/gx_head/sounds/greathall.wav";
    const std::tuple<std::string, const char *, const char *, int> cases[] = {
        {street, "44100", "1", SF_FORMAT_PCM_16},
        {street, "96000", "2", SF_FORMAT_FLOAT},
        {hall, "44100", "1", SF_FORMAT_PCM_24},
        {hall, "48000", "2", SF_FORMAT_PCM_16}};
    for (const auto &[response, hertz, seconds, format] : cases) {
        runWell({"tone", tone, "--rate", hertz, "--length", seconds});
        runWell({"render", tone, in, "--ir", response, "--wet", "-80", "--dry", "-inf"});
        Sound played = readSound(in);
        double peak = 0.0;
        for (const double sample : played.channels[0])
            peak = std::max(peak, 4.0 * std::fabs(sample));
        for (const double noiseLevel : {0.0, 1e-3}) {
            Sound noisy = played;
            for (size_t c = 0; c < noisy.channels.size(); ++c) {
                const Samples hiss = noise(noisy.length(), static_cast<uint32_t>(c + 1));
                for (size_t i = 0; i < hiss.size(); ++i)
                    noisy.channels[c][i] = noisy.channels[c][i] / peak + noiseLevel * hiss[i];
            }
            writeSound(in, noisy, SF_FORMAT_WAV | format);
            EXPECT_EQ(runProgram({"deconvolve", in, tone, out, "--align", "--trim"}).errors, "");
            EXPECT_EQ(runProgram({"analyse", out}).errors, "");
        }
    }
}

TEST_F(Measuring, PutsTheDirectSoundWhereItIsWantedAndEndsInTheNoise) {
    for (const auto &[option, place] : {std::pair{"--align", 0u}, {"--align=12.5", 300u}}) {
        EXPECT_EQ(deconvolve(recorded, {option, "--trim", "--depth", "64"}).errors, "");
        const Sound response = readSound(out);
        // The decay falls by 150 dB a second; what is left of the noise lies some 70 dB under
        // the direct sound.
        EXPECT_GT(response.length(), 0.2 * rate);
        EXPECT_LT(response.length(), 0.6 * rate);
        for (size_t c = 0; c < 2; ++c) {
            const Samples &samples = response.channels[c];
            EXPECT_NEAR(samples[place + 120 * c], 0.4, 1e-3) << option << c;
            EXPECT_LT(std::fabs(samples.back()), 1e-5);
        }
    }
    EXPECT_EQ(runProgram({"deconvolve", in, tone, out, "--align=-1"}).status, 2);
}

/// As a clock takes it down that gives 1 + ppm / 10^6 times the samples.
Sound drifted(const Sound &sound, double ppm) {
    Sound result{sound.rate, {}};
    for (const Samples &samples : sound.channels) {
        const auto converter =
            workbench::createFineConverter(sound.rate, sound.rate * (1.0 + ppm * 1e-6), 1);
        workbench::FrameQueue queue;
        queue.clear(1);
        converter->push(samples.data(), samples.size(), queue);
        converter->finish(queue);
        result.channels.emplace_back(queue.frames());
        queue.take(result.channels.back().data(), queue.frames());
    }
    return result;
}

TEST_F(Measuring, MendsClocksThatRunApartWhereADirectSoundTellsOfIt) {
    const Words whole{"--floor", "-150", "--depth", "64"};
    // A recording that starts with its tone: what a drift puts ahead is missing.
    for (Samples &samples : recorded.channels)
        samples.erase(samples.begin(), samples.begin() + 478);
    deconvolve(recorded, whole);
    const Samples undrifted = readSound(out).channels[0];
    for (const double ppm : {-180.0, 15.0, 50.0}) {
        const Sound recording = drifted(recorded, ppm);
        deconvolve(recording, whole);
        EXPECT_GT(errorLevel(readSound(out).channels[0], undrifted), -12.0);
        for (const std::string &wanted : {std::string("auto"), std::to_string(ppm)}) {
            const ProgramResult result = deconvolve(recording, whole + Words{"--drift", wanted});
            EXPECT_EQ(result.errors, "");
            const size_t told = result.output.find("Drift ");
            EXPECT_EQ(told != std::string::npos, wanted == "auto");
            if (told != std::string::npos) {
                EXPECT_NEAR(std::stod(result.output.substr(told + 6)), ppm, 2.0);
            }
            const double after = errorLevel(readSound(out).channels[0], undrifted);
            // The conversion leaves out the highest pitches.
            EXPECT_LT(after, -12.0) << ppm;
        }
    }

    for (Samples &samples : room.channels)
        *std::max_element(samples.begin(), samples.end()) = 0.0;
    writeSound(folder.file("room.wav"), room);
    runWell({"render", tone, in, "--ir", folder.file("room.wav"), "--wet", "0", "--dry", "-inf"});
    const ProgramResult result = deconvolve(readSound(in), {"--drift", "auto", "--strict"});
    EXPECT_EQ(result.status, 1);
    EXPECT_NE(result.errors.find("drift"), std::string::npos) << result.errors;
    EXPECT_EQ(runProgram({"deconvolve", in, tone, out, "--drift", "201"}).status, 2);
}

TEST_F(Measuring, WarnsOfFilesThatAreShorterThanTheirHeaders) {
    for (const char *name : {"a.wav", "b.w64", "c.aiff", "d.flac", "large.wav"}) {
        const std::string file = folder.file(name), output = folder.file("rendered.wav");
        const Words uses[] = {{"deconvolve", file, tone, output},
                              {"render", file, output},
                              {"impulse", output, "--ir", file}};
        if (name == std::string("large.wav"))
            writeSound(file, recorded, SF_FORMAT_RF64 | SF_FORMAT_PCM_24);
        else
            runWell({"render", in, file, "--dry", "-20"});
        for (const Words &words : uses)
            EXPECT_EQ(runProgram(words).errors, "") << name;
        std::filesystem::resize_file(file, std::filesystem::file_size(file) * 9 / 10);
        for (const Words &words : uses) {
            const ProgramResult result = runProgram(words + Words{"--strict"});
            EXPECT_NE(result.errors.find(name + std::string(" is truncated")), std::string::npos)
                << result.errors;
            EXPECT_EQ(result.status, 1) << name;
        }
    }
}

} // namespace
} // namespace tonvale::test
