#pragma once

#include <windows.h>

namespace tonvale {

// The window class "ImpDisp", which paints the response of the instance that the parent dialog has
// in its user data: the picture, a line of text with length, rate, channels and peak, and the place
// where the dry signal sets in. It only paints, and takes no input. A paint waits for the end of a
// rebuild.

/// Registers the class for a module; where it is registered already nothing happens.
void registerImpulseDisplay(HINSTANCE module);
/// Once the last such window is gone.
void unregisterImpulseDisplay(HINSTANCE module);

} // namespace tonvale
