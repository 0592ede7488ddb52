#include "FileManagerName.h"

namespace ostrelvan::FileManagerName {

const char* revealText() {
    return "Show in File Manager";
}

} // namespace ostrelvan::FileManagerName
