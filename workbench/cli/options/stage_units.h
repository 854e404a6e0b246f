#pragma once

#include <string>

namespace tonvale::workbench {

/// What a value of a stage's text form counts, and so which units can stand behind its number.
enum class StageQuantity {
    text,
    count, ///< a whole number
    number,
    level,     ///< a factor, or dB
    time,      ///< ms, or s
    frequency, ///< a part of half the sample rate, or Hz, kHz
};

/// The units that can stand directly behind a number: "Hz or kHz"; "no unit" where none can.
std::string wantedUnits(StageQuantity quantity);

/// A number of a stage's text as a user gives it, with a unit or without.
class StageNumber {
  public:
    /// Reads all of `word`; `subject` begins what is said of a wrong one. Throws Problem for what
    /// is no number, for a count with a fraction and for a unit that `quantity` hasn't.
    StageNumber(const std::string &word, StageQuantity quantity, const std::string &subject);

    /// The number that the plug-in takes when it runs at `rate` Hz: a factor, milliseconds, a part
    /// of half the rate. Finite.
    double at(double rate) const;

  private:
    double value;
    bool isHertz = false;
};

/// `value` with as many digits as tell it from any other, and without an exponent.
std::string plainNumber(double value);

} // namespace tonvale::workbench
