#pragma once

namespace ostrelvan::FileManagerName {

// The menu text that reveals a folder in the desktop's file manager: the Finder on macOS, whatever
// file manager answers on Linux.
const char* revealText();

} // namespace ostrelvan::FileManagerName
