#include "bench/convolver.h"

#include <algorithm>
#include <cmath>
#include <juce_dsp/juce_dsp.h>
#include <stdexcept>

namespace tonvale::bench {

namespace {

/// The head that costs least: as many partitions of a block in it as of its own length behind it.
int headFor(const Setup &setup) {
    const double even = std::sqrt(static_cast<double>(setup.responseFrames()) * setup.block);
    return std::max(static_cast<int>(std::exp2(std::round(std::log2(even)))), setup.block);
}

class Juce final : public Convolver {
  public:
    Juce(const Setup &setup, const Planes &response)
        : convolution(juce::dsp::Convolution::NonUniform{headFor(setup)})
        , buffer(setup.channels, setup.block) {
        if (setup.channels > 2)
            throw std::runtime_error("juce::dsp::Convolution plays one or two channels");
        const auto length = static_cast<int>(response[0].size());
        juce::AudioBuffer<float> taps(static_cast<int>(response.size()), length);
        for (size_t c = 0; c < response.size(); ++c)
            std::ranges::copy(response[c], taps.getWritePointer(static_cast<int>(c)));
        using C = juce::dsp::Convolution;
        convolution.loadImpulseResponse(std::move(taps), setup.rate,
                                        setup.channels == 2 ? C::Stereo::yes : C::Stereo::no,
                                        C::Trim::no, C::Normalise::no);
        convolution.prepare({static_cast<double>(setup.rate),
                             static_cast<juce::uint32>(setup.block),
                             static_cast<juce::uint32>(setup.channels)});
    }

    void process(const double *const *in, double *const *out, int frames) override {
        for (int c = 0; c < buffer.getNumChannels(); ++c)
            std::copy_n(in[c], frames, buffer.getWritePointer(c));
        juce::dsp::AudioBlock<float> block(buffer);
        convolution.process(juce::dsp::ProcessContextReplacing<float>(block));
        for (int c = 0; c < buffer.getNumChannels(); ++c)
            std::copy_n(buffer.getReadPointer(c), frames, out[c]);
    }
    int latency() const override { return convolution.getLatency(); }

  private:
    juce::dsp::Convolution convolution;
    juce::AudioBuffer<float> buffer;
};

} // namespace

std::unique_ptr<Convolver> makeJuce(const Setup &setup, const Planes &response) {
    return std::make_unique<Juce>(setup, response);
}

} // namespace tonvale::bench
