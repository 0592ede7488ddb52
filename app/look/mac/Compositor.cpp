#include "app/look/Compositor.h"

#include <dlfcn.h>

namespace ostrelvan {

// The macOS window server always composites.
bool hasCompositor() {
    return true;
}

// The same private calls that WindowBlur makes.
bool blurAvailable() {
    return dlsym(RTLD_DEFAULT, "CGSDefaultConnectionForThread") &&
           dlsym(RTLD_DEFAULT, "CGSSetWindowBackgroundBlurRadius");
}

struct CompositorMonitor::Native {};

// Neither fact changes while the app runs.
CompositorMonitor::CompositorMonitor(QObject* parent)
    : QObject(parent), compositing_(hasCompositor()), blur_(blurAvailable()) {}

CompositorMonitor::~CompositorMonitor() = default;

void CompositorMonitor::refresh() {
    const bool blur = blurAvailable();
    if (blur == blur_)
        return;
    blur_ = blur;
    emit changed();
}

} // namespace ostrelvan
