#include "text/drawn_text.h"

#include "text/wide_text.h"

namespace tonvale {

int drawText(HDC context, const std::string &text, RECT &place, UINT format) {
    const std::wstring wide = wideText(text);
    return DrawTextW(context, wide.data(), static_cast<int>(wide.size()), &place,
                     format | DT_NOPREFIX);
}

HFONT makeFont(int height, const std::string &face) {
    return CreateFontW(height, 0, 0, 0, FW_NORMAL, FALSE, FALSE, FALSE, DEFAULT_CHARSET,
                       OUT_DEFAULT_PRECIS, CLIP_DEFAULT_PRECIS, DEFAULT_QUALITY,
                       DEFAULT_PITCH | FF_DONTCARE, wideText(face).c_str());
}

} // namespace tonvale
