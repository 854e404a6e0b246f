#pragma once

#include <string>
#include <windows.h>

namespace tonvale {

/// Draws UTF-8 into `place` of a device context, or only measures it: `format` is of DT_..., and
/// DT_CALCRECT makes `place` as large as the text without drawing. Answers the height. An ampersand
/// stands for itself.
int drawText(HDC context, const std::string &text, RECT &place, UINT format);

/// A font of `height`, as CreateFont takes it, in ordinary weight; the caller's, null where it
/// couldn't be made.
HFONT makeFont(int height, const std::string &face);

} // namespace tonvale
