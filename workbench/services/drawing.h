#pragma once

#include "host/host_objects.h"

namespace tonvale::workbench {

// Drawing on the pixels of a bitmap. Everything is clipped to it, and ends may lie anywhere within
// 30 bits. Colours are 0xRRGGBB; drawn pixels become opaque. `alpha` from 0 to 1 mixes the colour
// with what is there. Modes and antialiasing aren't told apart. A null bitmap is left alone.

/// GLYX_FillRect. A negative width or height is an empty rectangle.
void fillRect(HostBitmap *bitmap, int x, int y, int w, int h, uint32_t colour, float alpha,
              int mode);

/// GLYX_LineInt: from end to end, both included, one pixel for each step of the longer direction.
/// What is visible of a line doesn't depend on where it is clipped.
void drawLine(HostBitmap *bitmap, int x1, int y1, int x2, int y2, uint32_t colour, float alpha,
              int mode, bool antialias);

} // namespace tonvale::workbench
