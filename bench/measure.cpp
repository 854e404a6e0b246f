#include "bench/measure.h"

#include "bench/clocks.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cmath>
#include <exception>
#include <fstream>
#include <malloc.h>
#include <sched.h>
#include <sys/resource.h>
#include <thread>
#include <unistd.h>

namespace tonvale::bench {

namespace {

/// Waits until no thread of a peer works on what it had queued: else its work counts as the next
/// one's.
void letThreadsFinish() {
    constexpr double idle = 1e-4;
    for (double before = -1.0; processSeconds() - before > idle;) {
        before = processSeconds();
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
}

double residentMegabytes() {
    malloc_trim(0);
    std::ifstream in("/proc/self/statm");
    long total = 0, resident = 0;
    in >> total >> resident;
    return static_cast<double>(resident) * static_cast<double>(sysconf(_SC_PAGESIZE)) / 1048576.0;
}

/// How often the calling thread has given the processor away to wait for something.
long waitsOfThread() {
    rusage usage{};
    getrusage(RUSAGE_THREAD, &usage);
    return usage.ru_nvcsw;
}

double quantile(std::vector<double> values, double share) {
    std::ranges::sort(values);
    const double place = share * static_cast<double>(values.size() - 1);
    return values[static_cast<size_t>(std::lround(place))];
}

/// A convolver on its way through noise that repeats.
class Player {
  public:
    Player(const Setup &about, const Peer &peer, const Planes &response, const Planes &noise)
        : setup(about)
        , input(noise)
        , output(noise.size(), std::vector<double>(static_cast<size_t>(about.block)))
        , convolver(peer.make(about, response)) {
        for (auto &plane : output)
            out.push_back(plane.data());
        in.resize(noise.size());
    }

    void playBlock() {
        const auto from = static_cast<size_t>(at) % input[0].size();
        for (size_t c = 0; c < input.size(); ++c)
            in[c] = input[c].data() + from;
        convolver->process(in.data(), out.data(), setup.block);
        at += setup.block;
    }

    void play(double seconds) {
        for (int64_t i = blocksOf(seconds); i > 0; --i)
            playBlock();
    }

    /// Answers the share of its duration that the slowest block took the calling thread.
    double slowestOf(double seconds) {
        double slowest = 0.0;
        for (int64_t i = blocksOf(seconds); i > 0; --i) {
            const double begun = clockSeconds(CLOCK_THREAD_CPUTIME_ID);
            playBlock();
            slowest = std::max(slowest, clockSeconds(CLOCK_THREAD_CPUTIME_ID) - begun);
        }
        return slowest * setup.rate / setup.block;
    }

    /// Plays at the pace of the sound card, as its thread would.
    void playInRealTime(double seconds, ReloadFigures &figures) {
        const double duration = static_cast<double>(setup.block) / setup.rate;
        double due = clockSeconds(CLOCK_MONOTONIC);
        for (int64_t i = blocksOf(seconds); i > 0; --i, due += duration) {
            const auto early = std::chrono::duration<double>(due - clockSeconds(CLOCK_MONOTONIC));
            std::this_thread::sleep_for(early);
            const long waits = waitsOfThread();
            const double begun = clockSeconds(CLOCK_MONOTONIC);
            const double begunWork = clockSeconds(CLOCK_THREAD_CPUTIME_ID);
            playBlock();
            const double work = clockSeconds(CLOCK_THREAD_CPUTIME_ID) - begunWork;
            const double wait = clockSeconds(CLOCK_MONOTONIC) - begun - work;
            figures.slowest = std::max(figures.slowest, work / duration);
            // What the machine takes away for others leaves no trace here.
            if (waitsOfThread() > waits) {
                ++figures.waits;
                figures.longestWait = std::max(figures.longestWait, wait / duration);
            }
        }
    }

    double preparation() const { return convolver->preparation(); }
    void reload() { convolver->reload(); }

    double errorDecibels(const Planes &response) {
        double wrong = 0.0, right = 0.0;
        for (int spot = 0; spot < 120; ++spot) {
            for (int skipped = 0; skipped < 1 + spot % 5; ++skipped)
                playBlock();
            const int i = spot * 37 % setup.block;
            for (size_t c = 0; c < std::min<size_t>(input.size(), 2); ++c) {
                const double expected = convolvedAt(response[c % response.size()], input[c],
                                                    at - setup.block + i - convolver->latency());
                const double actual = output[c][static_cast<size_t>(i)];
                wrong += (actual - expected) * (actual - expected);
                right += expected * expected;
            }
        }
        return 10.0 * std::log10(std::max(wrong, 1e-300) / right);
    }

  private:
    int64_t blocksOf(double seconds) const {
        return std::max<int64_t>(1, std::llround(seconds * setup.rate / setup.block));
    }

    const Setup &setup;
    const Planes &input;
    Planes output;
    std::vector<const double *> in;
    std::vector<double *> out;
    std::unique_ptr<Convolver> convolver;
    int64_t at = 0;
};

Planes noiseFor(const Setup &setup) {
    // A whole number of blocks, longer than any cache likes.
    return noisePlanes(setup.channels, (131072 / setup.block + 1) * setup.block);
}

Planes responseFor(const Setup &setup) {
    return roomResponse(setup.channels, setup.responseFrames(), setup.equal);
}

} // namespace

std::vector<Figures> measure(const Setup &setup, const std::vector<Peer> &peers,
                             const Effort &effort) {
    const Planes response = responseFor(setup), noise = noiseFor(setup);
    std::vector<Figures> figures(peers.size());
    std::vector<std::unique_ptr<Player>> players(peers.size());
    std::vector<std::vector<double>> costs(peers.size());
    for (size_t i = 0; i < peers.size(); ++i) {
        const double memory = residentMegabytes(), begun = processSeconds();
        try {
            players[i] = std::make_unique<Player>(setup, peers[i], response, noise);
        } catch (const std::exception &) {
            continue;
        }
        figures[i].works = true;
        players[i]->playBlock();
        figures[i].loading = processSeconds() - begun - players[i]->preparation();
        figures[i].memory = residentMegabytes() - memory;
        // Until all of the response sounds.
        players[i]->play(setup.seconds + 1.0);
        letThreadsFinish();
        figures[i].error = players[i]->errorDecibels(response);
    }
    for (int round = 0; round < effort.rounds; ++round) {
        for (size_t i = 0; i < peers.size(); ++i) {
            if (!figures[i].works)
                continue;
            const double begun = processSeconds();
            players[i]->play(effort.seconds);
            letThreadsFinish();
            costs[i].push_back((processSeconds() - begun) / effort.seconds);
        }
    }
    for (size_t i = 0; i < peers.size(); ++i) {
        if (!figures[i].works)
            continue;
        figures[i].cost = quantile(costs[i], 0.5);
        figures[i].low = quantile(costs[i], 0.25);
        figures[i].high = quantile(costs[i], 0.75);
    }
    return figures;
}

double measureSlowest(const Setup &setup, const Peer &peer, const Effort &effort) {
    const Planes response = responseFor(setup), noise = noiseFor(setup);
    Player player(setup, peer, response, noise);
    player.play(setup.seconds + 1.0);
    std::vector<double> slowest;
    for (int round = 0; round < effort.rounds; ++round)
        slowest.push_back(player.slowestOf(effort.seconds));
    return quantile(slowest, 0.5);
}

ReloadFigures measureReloads(const Setup &setup, const Peer &peer, double seconds) {
    const Planes response = responseFor(setup), noise = noiseFor(setup);
    Player player(setup, peer, response, noise);
    player.play(1.0);
    ReloadFigures figures;
    std::atomic<bool> ended = false;
    std::thread loader([&] {
        while (!ended) {
            player.reload();
            ++figures.reloads;
        }
    });
    std::thread audio([&] {
        // As hosts run it.
        sched_param urgent{};
        urgent.sched_priority = 50;
        pthread_setschedparam(pthread_self(), SCHED_FIFO, &urgent);
        player.playInRealTime(seconds, figures);
        ended = true;
    });
    audio.join();
    loader.join();
    return figures;
}

double measureInstances(const Setup &setup, const Peer &peer, int count, const Effort &effort) {
    const Planes response = responseFor(setup), noise = noiseFor(setup);
    std::vector<std::unique_ptr<Player>> players;
    for (int i = 0; i < count; ++i)
        players.push_back(std::make_unique<Player>(setup, peer, response, noise));
    std::vector<double> costs;
    const auto playAll = [&](double seconds) {
        const auto blocks = std::llround(seconds * setup.rate / setup.block);
        for (int64_t block = 0; block < blocks; ++block)
            for (auto &player : players)
                player->playBlock();
    };
    // Long enough for the history to be as long as the response, in part.
    playAll(std::min(setup.seconds, effort.seconds));
    for (int round = 0; round < std::max(effort.rounds / 3, 1); ++round) {
        const double begun = processSeconds();
        playAll(effort.seconds);
        costs.push_back((processSeconds() - begun) / effort.seconds);
    }
    return quantile(costs, 0.5);
}

void pinToOneProcessor() {
    cpu_set_t allowed;
    if (sched_getaffinity(0, sizeof allowed, &allowed) != 0)
        return;
    int last = 0;
    for (int cpu = 0; cpu < CPU_SETSIZE; ++cpu) {
        if (CPU_ISSET(static_cast<size_t>(cpu), &allowed))
            last = cpu;
    }
    cpu_set_t one;
    CPU_ZERO(&one);
    CPU_SET(static_cast<size_t>(last), &one);
    sched_setaffinity(0, sizeof one, &one);
}

} // namespace tonvale::bench
