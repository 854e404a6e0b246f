#include "text/number_text.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstring>

namespace tonvale {

namespace {

constexpr bool isBlank(char c) {
    return c == ' ' || c == '\t';
}

constexpr int lowerCase(char c) {
    const int code = static_cast<unsigned char>(c);
    return code >= 'A' && code <= 'Z' ? code + ('a' - 'A') : code;
}

/// Behind a sign that from_chars doesn't take.
const char *skipPlus(const char *text) {
    return text[0] == '+' && text[1] != '-' ? text + 1 : text;
}

/// Whether a number that no double holds is too small, and not too large: the place of its first
/// digit above 0 tells, moved by the exponent.
bool isTooSmall(const char *text, const char *end) {
    const char *exponent = std::find_if(text, end, [](char c) { return lowerCase(c) == 'e'; });
    const char *point = std::find(text, exponent, '.');
    const char *first = std::find_if(text, exponent, [](char c) { return c >= '1' && c <= '9'; });
    const int32_t moved = exponent < end ? readInteger(exponent + 1) : 0;
    return int64_t{point - first} + moved < 0;
}

} // namespace

const char *skipBlanks(const char *text) {
    while (isBlank(*text))
        ++text;
    return text;
}

const char *skipWord(const char *text) {
    while (*text && !isBlank(*text))
        ++text;
    return text;
}

double readNumber(const char *text) {
    text = skipPlus(text);
    double value = 0.0;
    const auto [end, error] = std::from_chars(text, text + std::strlen(text), value);
    if (error == std::errc::invalid_argument)
        return 0.0;
    if (error == std::errc::result_out_of_range) {
        if (isTooSmall(text, end))
            return 0.0;
        return *text == '-' ? -HUGE_VAL : HUGE_VAL;
    }
    return std::isnan(value) ? 0.0 : value;
}

int32_t readInteger(const char *text) {
    text = skipPlus(text);
    int32_t value = 0;
    const auto [end, error] = std::from_chars(text, text + std::strlen(text), value);
    if (error == std::errc::result_out_of_range)
        return *text == '-' ? INT32_MIN : INT32_MAX;
    return error == std::errc{} ? value : 0;
}

TextWriter::TextWriter(char *buffer, int32_t size)
    : place(buffer)
    , room(size > 0 ? static_cast<size_t>(size) : 0) {
    if (room > 0)
        *place = 0;
}

void TextWriter::append(const char *text, size_t length) {
    if (room < 1)
        return;
    const size_t taken = std::min(length, room - 1);
    std::memcpy(place, text, taken);
    place += taken;
    room -= taken;
    *place = 0;
}

void TextWriter::add(const char *text) {
    append(text, std::strlen(text));
}

void TextWriter::addInteger(int64_t value) {
    char digits[24];
    const auto [end, error] = std::to_chars(digits, digits + sizeof digits, value);
    append(digits, static_cast<size_t>(end - digits));
}

void TextWriter::addFixed(double value, int decimals) {
    // The largest double has 309 digits in front of the point.
    char digits[340];
    const auto [end, error] =
        std::to_chars(digits, digits + sizeof digits, value, std::chars_format::fixed, decimals);
    append(digits, error == std::errc{} ? static_cast<size_t>(end - digits) : 0);
}

int compareIgnoringCase(const char *a, const char *b) {
    while (*a && lowerCase(*a) == lowerCase(*b)) {
        ++a;
        ++b;
    }
    return lowerCase(*a) - lowerCase(*b);
}

} // namespace tonvale
