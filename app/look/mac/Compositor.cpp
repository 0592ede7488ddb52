#include "app/look/Compositor.h"

namespace ostrelvan {

// The macOS window server always composites.
bool hasCompositor() {
    return true;
}

} // namespace ostrelvan
