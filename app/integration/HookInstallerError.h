#pragma once

#include <stdexcept>

namespace ostrelvan {

// The one failure of the hook installer that it names itself; file-system errors pass through
// as the std::filesystem::filesystem_error or std::system_error they are.
class HookInstallerError : public std::runtime_error {
public:
    enum class Kind { invalidJSON };

    static HookInstallerError invalidJSON();

    Kind kind() const { return kind_; }

private:
    HookInstallerError(Kind kind, const char* text);
    Kind kind_;
};

} // namespace ostrelvan
