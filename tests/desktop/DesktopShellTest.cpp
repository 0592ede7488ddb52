// The real ostrelvan-desktop looked at as the desktop around it sees it: a StatusNotifierItem
// host's view of its tray menu (kded5's StatusNotifierWatcher on a private session bus), the
// window manager's view of its settings window (xprop) and a screen reader's view of it (AT-SPI).
#include "DesktopBed.h"

namespace ostrelvan {
namespace {

using namespace test;

std::vector<std::string> lines(const std::string& text) {
    std::vector<std::string> result;
    std::istringstream in(text);
    for (std::string line; std::getline(in, line);)
        result.push_back(line);
    return result;
}

// The menu of a fresh user, not connected yet, as every place that shows it must list it.
const std::string freshMenu = "Connect to Claude Code\n-\n[x] Sounds\n[ ] Launch at Login\n-\n"
                              "Settings…\n-\nTip: the first click asks VS Code to allow the "
                              "Claude link once. Tick \"Do not ask me again\". (off)\n-\n"
                              "Restart Ostrelvan\nQuit Ostrelvan\n";
// The same menu as a screen reader hears it: Qt does not say that an unticked entry can be ticked.
const std::string heardMenu = std::string(freshMenu).erase(freshMenu.find("[ ] "), 4);

// The probe's answer, a line an entry; empty when it failed, and then `error` says why.
std::string probe(const XSession& x, std::vector<std::string> arguments, std::string& error) {
    arguments.insert(arguments.begin(), {"/usr/bin/python3", OSTRELVAN_PROBE});
    const Outcome out = run(arguments, x.environment());
    error = out.code == 0 ? "" : out.err + "(exit " + std::to_string(out.code) + ")";
    return out.code == 0 ? out.out : "";
}

// Whether a popup window (a menu) of process `pid` is on screen.
bool popupShown(const XSession& x, pid_t pid) {
    const Outcome found =
        run({"xdotool", "search", "--onlyvisible", "--pid", std::to_string(pid)}, x.environment());
    for (const auto& window : lines(found.out))
        if (contains(run({"xwininfo", "-id", window}, x.environment()).out,
                     "Override Redirect State: yes"))
            return true;
    return false;
}

TEST(DesktopShell, OneMenuEverywhereAndASettingsWindowForEveryone) {
    SKIP_WITHOUT(Shell::openbox, "kded5 gdbus /usr/libexec/at-spi-bus-launcher /usr/bin/python3");
    if (run({"/usr/bin/python3", "-c", "import gi, pyatspi"}, Variables{}).code != 0)
        GTEST_SKIP() << "python3-gi or python3-pyatspi is not installed";
    DesktopBed bed;
    bed.x.startTrayHost();
    ASSERT_TRUE(bed.startWorking("shell-e2e"));
    ASSERT_TRUE(
        bed.startApp({{"QT_ACCESSIBILITY", "1"}, {"QT_LINUX_ACCESSIBILITY_ALWAYS_ON", "1"}}));
    const XSession& x = bed.x;
    const std::string pid = std::to_string(bed.app->pid());
    std::string error;

    // The host's view: one item, whose exported menu lists every entry in order, with no
    // shortcut texts.
    std::string registered;
    ASSERT_TRUE(eventually([&] { return !(registered = probe(x, {"items"}, error)).empty(); }, 20s))
        << "no StatusNotifierItem registered\n"
        << error << bed.appLog();
    const std::vector<std::string> items = lines(registered);
    ASSERT_EQ(items.size(), 1u) << registered;
    std::string entries, settingsId;
    for (const auto& line : lines(probe(x, {"layout", items[0]}, error))) {
        entries += line.substr(line.find('\t') + 1) + "\n";
        if (line.substr(line.find('\t') + 1) == "Settings…")
            settingsId = line.substr(0, line.find('\t'));
    }
    EXPECT_EQ(entries, freshMenu) << error;

    // A left click on the item, and a right click on the widget's lamp, show that very menu.
    const auto menuShows = [&](const std::function<void()>& open) {
        open();
        EXPECT_TRUE(eventually([&] { return popupShown(x, bed.app->pid()); }, 15s)) << "no menu";
        EXPECT_EQ(probe(x, {"menu", pid}, error), heardMenu) << error;
        run({"xdotool", "key", "Escape"}, x.outerEnvironment());
        bed.pointAway();
        EXPECT_TRUE(eventually([&] { return !popupShown(x, bed.app->pid()); }))
            << "the menu stayed open";
    };
    menuShows([&] {
        probe(x, {"activate", items[0]}, error);
        EXPECT_EQ(error, "");
    });
    menuShows([&] { click(x, bed.lamp().first, bed.lamp().second, 3); });

    // "Settings…" chosen in the host's menu opens a window that carries the app's icon and
    // names the desktop entry it belongs to.
    ASSERT_FALSE(settingsId.empty());
    probe(x, {"click", items[0], settingsId}, error);
    const auto settings = bed.appWindow("Ostrelvan Settings");
    ASSERT_TRUE(settings) << "no settings window\n" << error << bed.appLog();
    const std::string icon = bed.xprop(*settings, "_NET_WM_ICON");
    for (const char* size : {"16 x 16", "32 x 32", "48 x 48"})
        EXPECT_TRUE(contains(icon, std::string("Icon (") + size + ")")) << icon.substr(0, 200);
    std::string wmClass;
    for (const auto& line : lines(readText(OSTRELVAN_DESKTOP_ENTRY)))
        if (line.rfind("StartupWMClass=", 0) == 0)
            wmClass = line.substr(15);
    EXPECT_EQ(bed.xprop(*settings, "WM_CLASS"),
              "WM_CLASS(STRING) = \"ostrelvan-desktop\", \"" + wmClass + "\"\n");

    // A screen reader's view: every control has a name and a label where the eye sees one (a
    // combo box is named by its choice), and the sliders and switches work.
    std::string controls;
    ASSERT_TRUE(eventually(
        [&] {
            controls = "\n" + probe(x, {"controls", pid, "Ostrelvan Settings"}, error);
            return controls.size() > 1;
        },
        15s))
        << error;
    EXPECT_FALSE(contains(controls, "\t\t")) << "a control without a name:" << controls;
    // The label a control's line ends with is its own (a slider's) or its group's.
    for (const char* control :
         {"slider\tTint\tTint", "slider\tBlur\tBlur",
          "combo box\tAfter 10 minutes\tReview lamp fades", "check box\tText contrast\tGlass",
          "push button\tReset to Defaults\tGlass", "check box\tDark\t"})
        EXPECT_TRUE(contains(controls, "\n" + std::string(control) + "\n"))
            << control << " is missing from" << controls;

    const Path file = bed.home / ".config/Ostrelvan/Ostrelvan.conf";
    EXPECT_EQ(probe(x, {"set-value", pid, "Tint", "45"}, error), "45\n") << error;
    EXPECT_TRUE(eventually([&] { return contains(readText(file), "tintOpacity=0.45"); }))
        << readText(file);
    // On by default.
    EXPECT_FALSE(contains(readText(file), "textContrast=false"));
    probe(x, {"act", pid, "Text contrast"}, error);
    EXPECT_TRUE(eventually([&] { return contains(readText(file), "textContrast=false"); }))
        << error << readText(file);
    EXPECT_TRUE(bed.appAlive()) << bed.appLog();
}

} // namespace
} // namespace ostrelvan
