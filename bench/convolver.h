#pragma once

#include "bench/signals.h"

#include <memory>
#include <string>

namespace tonvale::bench {

/// What is to be played: channel c through response channel c, in blocks of one length.
struct Setup {
    int channels = 2;
    double seconds = 5.0; ///< of the response
    int block = 256;
    bool equal = false;      ///< one response for all channels
    bool zeroLatency = true; ///< for the peers that can have it
    bool worker = false;     ///< the late part on a thread of its own
    int rate = 48000;

    int responseFrames() const { return static_cast<int>(seconds * rate); }
};

/// A convolver under measurement. Planes are converted to what it takes inside process(), as a host
/// of double precision would.
class Convolver {
  public:
    virtual ~Convolver() = default;
    /// One block of each channel.
    virtual void process(const double *const *in, double *const *out, int frames) = 0;
    /// Samples by which the output is late.
    virtual int latency() const { return 0; }
    /// Processor seconds of its making that went into what a user has already: the response's file.
    virtual double preparation() const { return 0.0; }
    /// Loads the response again, on another thread than process(), which may be running.
    virtual void reload() {}
};

using ConvolverMaker = std::unique_ptr<Convolver> (*)(const Setup &, const Planes &response);

/// The plug-in out of the module beside the program, in the workbench, its response through a file.
std::unique_ptr<Convolver> makeTonvale(const Setup &setup, const Planes &response);
/// zita-convolver, in its plain and in its vector mode.
std::unique_ptr<Convolver> makeZita(const Setup &setup, const Planes &response);
std::unique_ptr<Convolver> makeZitaVector(const Setup &setup, const Planes &response);
/// juce::dsp::Convolution, non-uniform, with the head that costs it least.
std::unique_ptr<Convolver> makeJuce(const Setup &setup, const Planes &response);
/// FFmpeg's afir filter, its smallest partitions as long as the block.
std::unique_ptr<Convolver> makeAfir(const Setup &setup, const Planes &response);

} // namespace tonvale::bench
