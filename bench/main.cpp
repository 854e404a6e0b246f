#include "bench/report.h"

#include <cstring>
#include <iostream>
#include <sys/utsname.h>

// Tonvale and its peers on the same audio, as a page: see ./bench/run.

namespace tonvale::bench {
namespace {

const std::vector<Peer> allPeers{{"Tonvale", makeTonvale},
                                 {"zita", makeZita},
                                 {"zita -V", makeZitaVector},
                                 {"JUCE", makeJuce},
                                 {"afir", makeAfir}};
const std::vector<Peer> closePeers(allPeers.begin(), allPeers.begin() + 3);
const std::vector<Peer> tonvaleAlone(allPeers.begin(), allPeers.begin() + 1);

std::string processorName() {
    std::ifstream in("/proc/cpuinfo");
    for (std::string line; std::getline(in, line);) {
        if (line.starts_with("model name"))
            return line.substr(line.find(':') + 2);
    }
    return "an unknown processor";
}

struct Plan {
    Effort effort;
    bool quick;

    /// All of them, or the first few.
    template <class T>
    std::vector<T> some(std::vector<T> all, size_t few) const {
        if (quick && all.size() > few)
            all.resize(few);
        return all;
    }
};

void measureBlocks(Report &report, const Plan &plan) {
    report.text("## Block lengths\n\nStereo, a response of 5 s, distinct in its channels. "
                "Milliseconds of processor time for each second of audio, ± half the distance of "
                "the quartiles; then what Tonvale takes of each peer's time.");
    report.beginCosts("blocks", "block", allPeers);
    for (const int block : plan.some<int>({64, 256, 1024, 16, 32, 128, 512, 2048, 4096}, 3)) {
        Setup setup;
        setup.block = block;
        report.costs(std::to_string(block), block, measure(setup, allPeers, plan.effort));
    }
    report.text("");
    report.picture("Processor time over block lengths", "performance-blocks.png");
    report.text("One response for both channels:");
    report.beginCosts("equal", "block", closePeers);
    for (const int block : {64, 256, 1024}) {
        Setup setup;
        setup.block = block;
        setup.equal = true;
        report.costs(std::to_string(block), block, measure(setup, closePeers, plan.effort));
    }
    report.text("");
}

void measureLengths(Report &report, const Plan &plan) {
    report.text("## Lengths of the response");
    for (const int block : {64, 1024}) {
        report.text("Stereo, blocks of " + std::to_string(block) + ":");
        report.beginCosts("lengths-" + std::to_string(block), "seconds", closePeers);
        for (const double seconds : plan.some<double>({1.0, 20.0, 0.1, 0.3, 3.0, 10.0, 60.0}, 2)) {
            Setup setup;
            setup.block = block;
            setup.seconds = seconds;
            report.costs(number(seconds, 1), seconds, measure(setup, closePeers, plan.effort));
        }
        report.text("");
    }
    report.picture("Processor time over the length of the response", "performance-lengths.png");
}

void measureChannels(Report &report, const Plan &plan) {
    report.text("## Channels\n\nResponses of 5 s, one of its own for each channel.");
    for (const int block : {64, 256, 1024}) {
        report.text("Blocks of " + std::to_string(block) + ":");
        report.beginCosts("channels-" + std::to_string(block), "channels", closePeers);
        for (const int channels : plan.some<int>({1, 8, 2, 4, 16, 64}, 2)) {
            Setup setup;
            setup.block = block;
            setup.channels = channels;
            Effort effort = plan.effort;
            if (channels > 8)
                effort.rounds = (effort.rounds + 2) / 3;
            report.costs(std::to_string(channels), channels, measure(setup, closePeers, effort));
        }
        report.text("");
    }
    report.picture("Processor time over channels", "performance-channels.png");
}

/// Seconds of audio, one block after the other, for what must never be late.
constexpr double longTrial = 600.0;

void measureLoad(Report &report, const Plan &plan) {
    report.text(
        "## The slowest block\n\nThe audio thread's time in the slowest block, as a share "
        "of the block's own duration: above 1 it comes too late. LL plays the late part of "
        "a response on a thread of its own, and its rows hold the one slowest block of ten "
        "minutes, others the median over the rounds; without ZL the plug-in tells its latency.");
    report.beginTable(
        {"response", "channels", "ZL", "LL", "at 64", "at 256", "at 1024", "cost at 64, ms/s"});
    struct Row {
        double seconds;
        int channels;
        bool zeroLatency, worker;
    };
    for (const Row &r : plan.some<Row>({{5, 2, true, false},
                                        {20, 2, true, false},
                                        {5, 8, true, false},
                                        {5, 2, true, true},
                                        {5, 2, false, false},
                                        {5, 2, false, true},
                                        {20, 8, true, false},
                                        {20, 8, true, true},
                                        {20, 8, false, false},
                                        {5, 64, true, false}},
                                       5)) {
        std::vector<std::string> cells{number(r.seconds, 0) + " s", std::to_string(r.channels),
                                       r.zeroLatency ? "on" : "off", r.worker ? "on" : "off"};
        double cost = 0.0;
        for (const int block : {64, 256, 1024}) {
            Setup setup;
            setup.block = block;
            setup.seconds = r.seconds;
            setup.channels = r.channels;
            setup.zeroLatency = r.zeroLatency;
            setup.worker = r.worker;
            Effort effort = plan.effort;
            if (r.worker && !plan.quick)
                effort = {1, longTrial};
            cells.push_back(number(measureSlowest(setup, allPeers[0], effort), 3));
            if (block == 64)
                cost = measure(setup, tonvaleAlone, plan.effort)[0].cost;
        }
        cells.push_back(number(1e3 * cost, 2));
        report.row(cells);
    }
    report.text("");
}

void measureLoading(Report &report, const Plan &plan) {
    report.text(
        "## Loading and memory\n\nProcessor seconds from nothing to the end of the first "
        "block, and memory taken then. Tonvale reads the response from a file, as users "
        "give it; the others get it in memory. zita-convolver's time holds the measuring of "
        "its transforms.");
    report.beginTable({"response", "channels", "Tonvale, s", "zita, s", "zita -V, s",
                       "Tonvale, MiB", "zita, MiB", "zita -V, MiB"});
    for (const auto &[seconds, channels] :
         plan.some<std::pair<double, int>>({{5, 2}, {30, 8}, {60, 2}}, 1)) {
        Setup setup;
        setup.seconds = seconds;
        setup.channels = channels;
        std::vector<std::string> cells{number(seconds, 0) + " s", std::to_string(channels)};
        const auto figures = measure(setup, closePeers, {1, 0.1});
        for (const Figures &f : figures)
            cells.push_back(f.works ? number(f.loading, 3) : "–");
        for (const Figures &f : figures)
            cells.push_back(f.works ? number(f.memory, 0) : "–");
        report.row(cells);
    }
    report.text("");
}

void measureReloading(Report &report, const Plan &plan) {
    report.text("A response of 30 s loaded again and again while eight channels play in real time, "
                "both on the one core: the audio thread's work in its slowest block, how often it "
                "waited for another thread and how long at most, as shares of a block's duration.");
    report.beginTable({"LL", "block", "reloads", "slowest block", "waits", "longest wait"});
    for (const bool worker : {false, true}) {
        for (const int block : {64, 256, 1024}) {
            Setup setup;
            setup.block = block;
            setup.seconds = 30;
            setup.channels = 8;
            setup.worker = worker;
            const ReloadFigures f = measureReloads(setup, allPeers[0], plan.quick ? 10.0 : 30.0);
            report.row({worker ? "on" : "off", std::to_string(block), std::to_string(f.reloads),
                        number(f.slowest, 3), std::to_string(f.waits), number(f.longestWait, 3)});
        }
    }
    report.text("");
}

void measureManyInstances(Report &report, const Plan &plan) {
    report.text("## Instances\n\nStereo instances of 5 s on one core, in turn, as a host plays "
                "them.");
    for (const int block : {64, 1024}) {
        auto curve = report.data("instances-" + std::to_string(block));
        curve << "instances\tload" << std::endl;
        report.text("Blocks of " + std::to_string(block) + ":");
        report.beginTable({"instances", "load of the core", "each, ms/s"});
        double load = 0.0, each = 1.0;
        for (const int count : plan.some<int>({1, 16, 64, 128}, 2)) {
            Setup setup;
            setup.block = block;
            Effort effort = plan.effort;
            effort.seconds = 1.4;
            load = measureInstances(setup, allPeers[0], count, effort);
            each = load / count;
            report.row({std::to_string(count), number(load, 3), number(1e3 * each, 2)});
            curve << count << '\t' << load << std::endl;
        }
        report.text("\nAt what each of so many takes, one core plays " +
                    std::to_string(static_cast<int>(1.0 / each)) + " in real time.");
    }
    report.picture("Load over instances", "performance-instances.png");
}

struct Section {
    const char *name;
    void (*measure)(Report &, const Plan &);
};
constexpr Section sections[] = {
    {"blocks", measureBlocks},           {"lengths", measureLengths},
    {"channels", measureChannels},       {"load", measureLoad},
    {"loading", measureLoading},         {"reloading", measureReloading},
    {"instances", measureManyInstances},
};

/// All sections, or the one of that name.
void run(const std::string &page, const std::string &folder, bool quick,
         const std::string &section) {
    const Plan plan{quick ? Effort{9, 1.4} : Effort{9, 2.8}, quick};
    Report report(page, folder);
    utsname system{};
    uname(&system);
    report.text("# What Tonvale costs");
    report.text("Made by `./bench/run`, on " + processorName() + ", Linux " + system.release +
                ", all on one core. Tonvale is the whole plug-in in its own host; ZL is on and LL "
                "off where nothing else is said. Peers are zita-convolver " +
                "in its plain and its vector mode with measured transforms, JUCE's "
                "dsp::Convolution with the same transforms, and FFmpeg's afir, all without "
                "latency where they can be; they take turns round by round on the same audio at "
                "48 kHz, and figures are medians of " +
                std::to_string(plan.effort.rounds) +
                " rounds. All but Tonvale and afir work in single precision. The last column holds "
                "each one's error against direct convolution.");
    for (const auto &[name, measureSection] : sections) {
        if (section.empty() || section == name)
            measureSection(report, plan);
    }
}

} // namespace
} // namespace tonvale::bench

int main(int count, char **words) {
    if (count < 3) {
        std::cerr << "tonvale_bench PAGE FOLDER [--quick] [SECTION]\n";
        return 2;
    }
    const std::string last = words[count - 1];
    const bool quick = count > 3 && std::strcmp(words[3], "--quick") == 0;
    const bool hasSection = count > (quick ? 4 : 3);
    tonvale::bench::pinToOneProcessor();
    tonvale::bench::run(words[1], words[2], quick, hasSection ? last : "");
}
