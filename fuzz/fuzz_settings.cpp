// Reading, installing and removing over arbitrary settings files and helper paths: nothing
// crashes, installing is idempotent and detected, and removing an installation gives back what
// removing alone gives, less the empty or malformed slots that the installation filled.
#include "TestSupport.h"
#include "app/integration/HookInstaller.h"

#include <cstdint>
#include <cstdlib>
#include <string>

namespace {

using ostrelvan::HookInstaller::Settings;
namespace HookInstaller = ostrelvan::HookInstaller;

void check(bool condition) {
    if (!condition)
        std::abort();
}

std::string text(const Settings& settings) {
    return HookInstaller::serialise(settings);
}

// What removing(installing(x)) must equal, given r = removing(x): installing turns a missing or
// malformed "hooks" into an object and every absent, empty or malformed event slot into an array
// holding only our entry, which removing then deletes.
Settings withoutFilledSlots(Settings settings) {
    const auto found = settings.find("hooks");
    if (found == settings.end())
        return settings;
    if (!found->is_object()) {
        settings.erase("hooks");
        return settings;
    }
    Settings& hooks = *found;
    for (const auto& event : HookInstaller::events) {
        const std::string name(event.name);
        const auto slot = hooks.find(name);
        if (slot != hooks.end() && (!slot->is_array() || slot->empty()))
            hooks.erase(slot);
    }
    if (hooks.empty())
        settings.erase("hooks");
    return settings;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    std::string input(reinterpret_cast<const char*>(data), size);
    // A first line starting with '@' names the helper, so odd paths (quotes, bad UTF-8) are tried.
    std::string helper = "/home/u/.local/share/Ostrelvan/bin/ostrelvan-hook";
    if (!input.empty() && input[0] == '@') {
        const auto end = input.find('\n');
        helper = input.substr(1, end == std::string::npos ? std::string::npos : end - 1);
        input = end == std::string::npos ? std::string() : input.substr(end + 1);
    }

    Settings settings;
    try {
        settings = HookInstaller::parseSettings(input, "settings.json");
    } catch (const ostrelvan::HookInstallerError&) {
        return 0;
    }
    check(settings.is_object());

    const Settings removed = HookInstaller::removing(settings, helper);
    const Settings installed = HookInstaller::installing(settings, helper);
    check(text(HookInstaller::removing(removed, helper)) == text(removed));
    check(HookInstaller::isInstalled(installed, helper));
    check(!HookInstaller::isInstalled(removed, helper));
    check(text(HookInstaller::removing(installed, helper)) == text(withoutFilledSlots(removed)));
    check(text(HookInstaller::installing(installed, helper)) == text(installed));

    // What is written reads back as the same document.
    const std::string written = text(installed);
    check(text(HookInstaller::parseSettings(written, "settings.json")) == written);

    // And once in a while through real files, the path the app takes.
    if (size % 16 == 0) {
        static const ostrelvan::test::TempDir scratch; // removed when the fuzzer exits
        const auto file = scratch / ".claude/settings.json";
        HookInstaller::writeSettings(installed, file);
        check(text(HookInstaller::readSettings(file)) == written);
    }
    return 0;
}
