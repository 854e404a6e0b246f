#include "bench/clocks.h"
#include "bench/convolver.h"
#include "workbench/cli/plugin_module.h"

#include <cstdlib>
#include <filesystem>
#include <sndfile.h>
#include <stdexcept>

namespace tonvale::bench {

namespace {

/// A sound file of 32-bit floats that goes with the object.
class ResponseFile {
  public:
    ResponseFile(const Planes &response, int rate) {
        const double begun = processSeconds();
        char name[] = "/tmp/tonvale-bench-XXXXXX.wav";
        const int handle = mkstemps(name, 4);
        path = name;
        SF_INFO info{};
        info.samplerate = rate;
        info.channels = static_cast<int>(response.size());
        info.format = SF_FORMAT_WAVEX | SF_FORMAT_FLOAT;
        SNDFILE *file = handle < 0 ? nullptr : sf_open_fd(handle, SFM_WRITE, &info, 1);
        if (!file)
            throw std::runtime_error("no room for a response in /tmp");
        std::vector<double> frames;
        for (size_t i = 0; i < response[0].size(); ++i)
            for (const auto &plane : response)
                frames.push_back(plane[i]);
        sf_writef_double(file, frames.data(), static_cast<sf_count_t>(response[0].size()));
        sf_close(file);
        cost = processSeconds() - begun;
    }
    ~ResponseFile() { std::filesystem::remove(path); }
    ResponseFile(const ResponseFile &) = delete;
    ResponseFile &operator=(const ResponseFile &) = delete;

    std::string path;
    double cost; ///< processor seconds
};

class Tonvale final : public Convolver {
  public:
    Tonvale(const Setup &setup, const Planes &response)
        : file(response, setup.rate)
        , effect(setup.rate) {
        effect.setChannels(setup.channels);
        constexpr int wet = 0, dry = 1, zeroLatency = 6, lowLatency = 7;
        effect.setParameter(zeroLatency, setup.zeroLatency ? 1.0 : 0.0);
        effect.setParameter(lowLatency, setup.worker ? 1.0 : 0.0);
        effect.setParameter(wet, 1.0);
        effect.setParameter(dry, 0.0);
        if (!effect.appendStage("FILELDR \"" + file.path + "\" 60"))
            throw std::runtime_error("the plug-in refuses the response");
        effect.finishChainChange();
        effect.reset();
    }

    void process(const double *const *in, double *const *out, int frames) override {
        effect.process(const_cast<double **>(in), const_cast<double **>(out), frames);
    }
    int latency() const override { return static_cast<int>(effect.latency()); }
    double preparation() const override { return file.cost; }
    void reload() override { effect.finishChainChange(); }

  private:
    ResponseFile file;
    workbench::Effect effect;
};

} // namespace

std::unique_ptr<Convolver> makeTonvale(const Setup &setup, const Planes &response) {
    return std::make_unique<Tonvale>(setup, response);
}

} // namespace tonvale::bench
