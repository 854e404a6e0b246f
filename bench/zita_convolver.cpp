#include "bench/convolver.h"

#include <algorithm>
#include <sched.h>
#include <stdexcept>
#include <zita-convolver.h>

namespace tonvale::bench {

namespace {

/// Partitions from the block's length up to the longest there are, plans measured: as jconvolver
/// sets it up. Its threads work while a block waits for them, so none of it is late.
class Zita final : public Convolver {
  public:
    Zita(const Setup &setup, const Planes &response, bool vector)
        : channels(setup.channels) {
        const auto count = static_cast<uint32_t>(channels);
        const auto length = static_cast<uint32_t>(response[0].size());
        const auto quantum = static_cast<uint32_t>(setup.block);
        const uint32_t smallest = std::max<uint32_t>(quantum, Convproc::MINPART);
        convolver.set_options(Convproc::OPT_FFTW_MEASURE |
                              (vector ? uint32_t{Convproc::OPT_VECTOR_MODE} : 0u));
        if (convolver.configure(count, count, length, quantum, smallest, Convproc::MAXPART,
                                1.0f / static_cast<float>(count)) != 0)
            throw std::runtime_error("zita-convolver refuses this case");
        for (uint32_t c = 0; c < count; ++c) {
            const auto &plane = response[c % response.size()];
            std::vector<float> taps(plane.begin(), plane.end());
            convolver.impdata_create(c, c, 1, taps.data(), 0, static_cast<int32_t>(length));
        }
        convolver.start_process(0, SCHED_OTHER);
    }
    ~Zita() override {
        convolver.stop_process();
        convolver.cleanup();
    }

    void process(const double *const *in, double *const *out, int frames) override {
        for (uint32_t c = 0; c < static_cast<uint32_t>(channels); ++c)
            std::copy_n(in[c], frames, convolver.inpdata(c));
        convolver.process(true);
        for (uint32_t c = 0; c < static_cast<uint32_t>(channels); ++c)
            std::copy_n(convolver.outdata(c), frames, out[c]);
    }

  private:
    Convproc convolver;
    int channels;
};

} // namespace

std::unique_ptr<Convolver> makeZita(const Setup &setup, const Planes &response) {
    return std::make_unique<Zita>(setup, response, false);
}

std::unique_ptr<Convolver> makeZitaVector(const Setup &setup, const Planes &response) {
    return std::make_unique<Zita>(setup, response, true);
}

} // namespace tonvale::bench
