#pragma once

// The numbers of the module's resources. The resource compiler reads this file too, and knows no
// other constants than these.

#define DIALOG_MAIN 101
