#include "app/look/DesktopPreferencesMonitor.h"

namespace ostrelvan {

void DesktopPreferencesMonitor::refresh() {
    const DesktopPreferences now = read();
    if (now == current_)
        return;
    current_ = now;
    emit changed();
}

} // namespace ostrelvan
