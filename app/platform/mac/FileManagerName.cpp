#include "FileManagerName.h"

namespace ostrelvan::FileManagerName {

const char* revealText() {
    return "Show in Finder";
}

} // namespace ostrelvan::FileManagerName
