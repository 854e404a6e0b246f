#pragma once

#include "bench/convolver.h"

#include <string>
#include <vector>

namespace tonvale::bench {

struct Peer {
    const char *name;
    ConvolverMaker make;
};

/// What one convolver did in one case. Times are processor time of all its threads, in seconds for
/// each second of audio, over the rounds.
struct Figures {
    bool works = false; ///< it takes the case
    double cost = 0.0;  ///< median
    double low = 0.0;   ///< lower and upper quartile
    double high = 0.0;
    double error = 0.0;   ///< against direct convolution, dB
    double loading = 0.0; ///< seconds of processor time until it can play
    double memory = 0.0;  ///< MiB that it took
};

struct Effort {
    int rounds = 9;
    double seconds = 2.8; ///< of audio a round
};

/// Plays one case through all peers, who take turns round by round. Each is first held against
/// direct convolution.
std::vector<Figures> measure(const Setup &setup, const std::vector<Peer> &peers,
                             const Effort &effort);

/// The calling thread's time in the slowest block, as a share of the block's own duration: median
/// over the rounds. Reading the clock for each block costs too much to tell the cost as well.
double measureSlowest(const Setup &setup, const Peer &peer, const Effort &effort);

/// Shares are of a block's own duration.
struct ReloadFigures {
    double slowest = 0.0;     ///< the audio thread's work in its slowest block
    int waits = 0;            ///< blocks in which it waited for another thread
    double longestWait = 0.0; ///< in one block
    int reloads = 0;          ///< that were done meanwhile
};

/// Plays in real time while another thread loads the response again and again.
ReloadFigures measureReloads(const Setup &setup, const Peer &peer, double seconds);

/// Processor seconds for each second of audio that `count` instances take in turn, each a block.
double measureInstances(const Setup &setup, const Peer &peer, int count, const Effort &effort);

/// Binds the process to one processor; threads that it starts stay there too.
void pinToOneProcessor();

} // namespace tonvale::bench
