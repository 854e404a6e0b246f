#pragma once

#include <cstddef>
#include <cstdint>

// Numbers in texts that programs read: always with a point, whatever the user's locale.

namespace tonvale {

/// Skips blanks and tabs.
const char *skipBlanks(const char *text);
/// Skips to the next blank, tab or end.
const char *skipWord(const char *text);

/// The decimal number that `text` starts with, or "inf"; 0 where it starts with none. Too large
/// becomes infinity, too small 0.
double readNumber(const char *text);
/// The decimal integer that `text` starts with; 0 where it starts with none. Held at the ends of
/// its range.
int32_t readInteger(const char *text);

/// Writes into a buffer of fixed size, one piece after the other. The text always ends in a zero
/// byte, and what has no room is cut.
class TextWriter {
  public:
    /// `size` counts the terminator; nothing at all is written where it is below 1.
    TextWriter(char *buffer, int32_t size);

    void add(const char *text);
    void addInteger(int64_t value);
    /// As "%.*f".
    void addFixed(double value, int decimals);

  private:
    void append(const char *text, size_t length);

    char *place;
    size_t room;
};

/// Compares without regard to ASCII case: below 0, 0 or above 0, as strcmp.
int compareIgnoringCase(const char *a, const char *b);

} // namespace tonvale
