#pragma once

#include <QFont>

namespace ostrelvan::WidgetFonts {

// Fixed sizes in points (pixels on the canvas), by family name, falling back quietly to the
// desktop's sans-serif when Inter or Manrope is missing.
QFont panelTitle();  // Manrope SemiBold 15
QFont countBadge();  // Inter SemiBold 11, tabular digits
QFont sessionName(); // Inter Medium 14
QFont project();     // Inter Regular 12 (also the window header)
QFont statusLine();  // Inter Regular 12
QFont elapsed();     // Inter Regular 13, tabular digits
QFont emptyTitle();  // Inter Medium 14
QFont emptyHint();   // Inter Regular 12
QFont button();      // Inter SemiBold 13

} // namespace ostrelvan::WidgetFonts
