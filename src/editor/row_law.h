#pragma once

#include "chain/control_row.h"

#include <cstdint>
#include <span>

// Value laws of rows: between what is stored, where the fader stands and what the edit box says. No
// windows here.

namespace tonvale {

constexpr int32_t rowTextSize = 512; ///< with the terminator

/// How the values of one dialog's rows are stored and shown. `row` is an index that exists.
class RowLaw {
  public:
    /// Where the fader stands for a stored value. Can lie beyond its ends.
    virtual int32_t positionOf(int32_t row, double value) const = 0;
    virtual double valueOf(int32_t row, int32_t position) const = 0;
    /// Writes what the edit box shows of a stored value into `text`, which holds rowTextSize bytes.
    virtual void textOf(int32_t row, double value, char *text) const = 0;
    /// The value to store for a typed text, without the limits of the fader. Text that is no number
    /// reads as 0.
    virtual double valueOfText(int32_t row, const char *text) const = 0;
    /// The fader's default position.
    virtual int32_t defaultPosition(int32_t row) const = 0;

  protected:
    ~RowLaw() = default;
};

/// The law of the plug-in's parameters: the values are those that the host sees, who has them as
/// floats; a gain beyond these is the largest.
class ParameterLaw final : public RowLaw {
  public:
    int32_t positionOf(int32_t row, double value) const override;
    double valueOf(int32_t row, int32_t position) const override;
    void textOf(int32_t row, double value, char *text) const override;
    double valueOfText(int32_t row, const char *text) const override;
    int32_t defaultPosition(int32_t row) const override;
};

// What laws are made of.

/// The fader of a linear row with this skew, at `fraction` of its range; truncated.
int32_t positionOfFraction(double fraction, double skew);
double fractionOfPosition(int32_t position, double skew);
/// The default of a linear row: held at the fader's ends, and rounded.
int32_t defaultPositionOfFraction(double fraction, double skew);
/// A decibel row's fader, by the host's law, for a level in dB; truncated.
int32_t positionOfDecibels(double decibels);
/// The gain at that fader, in the precision that parameters have at the host.
double gainOfPosition(int32_t position);
/// The default position of every decibel row: the host knows where 0 dB is.
constexpr int32_t decibelDefaultPosition = -1;

} // namespace tonvale
