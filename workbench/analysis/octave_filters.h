#pragma once

#include <span>
#include <vector>

namespace tonvale::workbench {

/// An octave or a third of one, by the base-ten system of IEC 61260-1. Frequencies in Hz.
struct Band {
    double nominal;
    double middle; ///< exact
    double low;
    double high;
};

/// Octaves from 63 Hz to 8 kHz, or thirds from 50 Hz to 10 kHz: those that end below half the rate.
std::vector<Band> octaves(double rate);
std::vector<Band> thirdOctaves(double rate);

/// A Butterworth band-pass of class 1 after IEC 61260-1 at the usual rates: four second-order
/// sections whose edges are kept by the bilinear transform. The default one lets everything pass.
class BandFilter {
  public:
    BandFilter() = default;
    /// The band must end below half the rate.
    BandFilter(const Band &band, double rate);

    /// The response as it is heard through the filter run backwards in time: the filter's own
    /// decay comes before each sound instead of behind it. As long as the input.
    std::vector<double> backwards(std::span<const double> samples) const;

    /// The energy of all that comes out, the filter's own decay included.
    double energy(std::span<const double> samples) const;

    struct Moments {
        double energy;
        double first; ///< energy times its place, samples from the first on
    };
    /// The same with its first moment, forwards and backwards halved, so that the filter's own
    /// delay falls out.
    Moments moments(std::span<const double> samples) const;

    /// As a factor.
    double gainAt(double frequency, double rate) const;

  private:
    struct Section {
        double gain, a1, a2;
    };
    std::vector<Section> sections;
    size_t ringing = 0; ///< samples until nothing is left

    template <typename Source, typename Sink>
    void run(size_t count, const Source &source, const Sink &sink) const;
};

} // namespace tonvale::workbench
