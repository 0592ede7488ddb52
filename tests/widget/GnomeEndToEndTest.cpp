// The real ostrelvan-desktop on GNOME Shell's Wayland session, where it runs through XWayland
// beside native Wayland windows, driven and looked at from the display the shell is nested in.
#include "GnomeShell.h"
#include "WidgetMetrics.h"

#include <gtest/gtest.h>

namespace ostrelvan {
namespace {

using namespace test;
using namespace std::chrono_literals;

struct ScreenRect {
    int x = 0, y = 0, width = 0, height = 0;

    bool contains(int px, int py) const {
        return px >= x && px < x + width && py >= y && py < y + height;
    }
};

// How many pixels of `area` (every second one each way) differ clearly between two pictures.
int changedPixels(const Screenshot& a, const Screenshot& b, const ScreenRect& area) {
    if (a.width != b.width || a.height != b.height || a.width < area.x + area.width ||
        a.height < area.y + area.height)
        return -1;
    int changed = 0;
    for (int y = area.y; y < area.y + area.height; y += 2)
        for (int x = area.x; x < area.x + area.width; x += 2) {
            const Rgb p = a.at(x, y), q = b.at(x, y);
            if (std::abs(p.r - q.r) + std::abs(p.g - q.g) + std::abs(p.b - q.b) > 40)
                ++changed;
        }
    return changed;
}

// The bounding box of what differs between two pictures outside `ignored`.
std::optional<ScreenRect> changedBox(const Screenshot& a, const Screenshot& b,
                                     const ScreenRect& ignored) {
    if (a.width != b.width || a.height != b.height || a.width == 0)
        return std::nullopt;
    int left = a.width, top = a.height, right = -1, bottom = -1;
    for (int y = 0; y < a.height; y += 2)
        for (int x = 0; x < a.width; x += 2) {
            if (ignored.contains(x, y))
                continue;
            const Rgb p = a.at(x, y), q = b.at(x, y);
            if (std::abs(p.r - q.r) + std::abs(p.g - q.g) + std::abs(p.b - q.b) <= 40)
                continue;
            left = std::min(left, x);
            top = std::min(top, y);
            right = std::max(right, x);
            bottom = std::max(bottom, y);
        }
    if (right < 0)
        return std::nullopt;
    return ScreenRect{left, top, right - left + 1, bottom - top + 1};
}

TEST(GnomeWayland, TheListOpensOnHoverAndClosesWhenThePointerMovesOntoANativeWindow) {
    if (!GnomeShell::available())
        GTEST_SKIP() << "gnome-shell is not installed";
    GnomeShell shell(GnomeShell::Mode::nestedWayland);
    TempDir root;
    const Path data = root / "data";
    const Path home = root / "home";
    std::filesystem::create_directories(home);

    // One working session, recorded by the real hook helper for a live agent.
    Process agent({"/bin/sleep", "600"});
    auto hook = [&](const std::string& event, const std::string& extra) {
        return run({OSTRELVAN_HOOK},
                   Variables{{"OSTRELVAN_DATA_DIR", data.string()},
                             {"PATH", "/usr/bin:/bin"},
                             {"CLAUDE_PID", std::to_string(agent.pid())},
                             {"CLAUDE_CODE_ENTRYPOINT", "cli"}},
                   payload(event, "gnome-wayland", extra))
            .code;
    };
    ASSERT_EQ(hook("SessionStart", R"(,"source":"startup")"), 0);
    ASSERT_EQ(hook("UserPromptSubmit", R"(,"prompt":"run the tests")"), 0);

    const WorkArea area = shell.workArea();
    ASSERT_GT(area.height, 0) << "no work area\n" << shell.log();
    const WidgetMetrics metrics({1}, area.height);
    const int canvasX = area.x + area.width - int(WidgetMetrics::canvasWidth);
    const ScreenRect canvas{canvasX, area.y, int(WidgetMetrics::canvasWidth), area.height};
    const LayoutRect column = metrics.columnRect();
    const int lampX = canvasX + int(column.x + column.width / 2);
    const int lampY = area.y + area.height - int(metrics.lampCentreY(0));
    // The left part of the open list, clear of any tool tip by the lamps.
    const LayoutRect panel = metrics.panelRect();
    const ScreenRect list{canvasX + int(panel.x), area.y + area.height - int(panel.maxY()),
                          int(panel.width * 0.4), int(panel.height)};

    // A native Wayland window, where a Wayland session's pointer often is; where the shell put
    // it shows in what changed on the screen.
    shell.movePointer(100, area.y + 100);
    const Screenshot bare = shell.screenshot();
    Process dialog({"zenity", "--info", "--title=Native", "--text=A native Wayland window"},
                   shell.waylandEnvironment(),
                   {"/dev/null", root / "zenity.log", root / "zenity.log"});
    std::optional<ScreenRect> native;
    ASSERT_TRUE(eventually(
        [&] {
            native = changedBox(bare, shell.screenshot(), {0, 0, area.width, area.y});
            return native && native->width > 100 && native->height > 50;
        },
        20s))
        << "no Wayland window appeared\n"
        << readText(root / "zenity.log");
    ASSERT_FALSE(native->contains(list.x, list.y) ||
                 native->contains(list.x + list.width, list.y + list.height))
        << "the Wayland window is where the list opens";

    const Path log = root / "desktop.log";
    Process app({OSTRELVAN_DESKTOP},
                shell.environment({{"HOME", home.string()},
                                   {"PATH", "/usr/bin:/bin"},
                                   {"XDG_CONFIG_HOME", (home / ".config").string()},
                                   {"OSTRELVAN_DATA_DIR", data.string()},
                                   {"CLAUDE_CONFIG_DIR", (root / "claude").string()}}),
                {"/dev/null", log, log});
    ASSERT_TRUE(
        eventually([&] { return readText(log).find("widget shown") != std::string::npos; }, 30s))
        << readText(log);
    // As in a real GNOME Wayland session: through XWayland.
    EXPECT_NE(readText(log).find("platform xcb"), std::string::npos) << readText(log);
    ASSERT_TRUE(eventually(
        [&] {
            const Screenshot shot = shell.screenshot();
            return changedPixels(bare, shot, canvas) > 50;
        },
        20s))
        << "the lamps did not appear\n"
        << readText(log);

    const Screenshot closed = shell.screenshot();
    auto listOpen = [&](bool open) {
        return eventually(
            [&] {
                const int changed = changedPixels(closed, shell.screenshot(), list);
                return open ? changed > 200 : changed >= 0 && changed < 20;
            },
            15s);
    };
    ASSERT_TRUE(listOpen(false));

    // Hover opens the list; moving onto the native window closes it.
    shell.movePointer(lampX, lampY);
    ASSERT_TRUE(listOpen(true)) << "the list did not open under the pointer\n" << readText(log);
    shell.movePointer(native->x + native->width / 2, native->y + native->height / 2);
    EXPECT_TRUE(listOpen(false)) << "the list stayed open over the Wayland window\n"
                                 << readText(log);

    // Back on the lamps it opens again; onto the bare desktop, it closes again.
    shell.movePointer(lampX, lampY);
    ASSERT_TRUE(listOpen(true)) << "the list did not open a second time";
    int desktopX = 100, desktopY = area.y + area.height - 60;
    if (native->contains(desktopX, desktopY))
        desktopY = area.y + 20;
    shell.movePointer(desktopX, desktopY);
    EXPECT_TRUE(listOpen(false)) << "the list stayed open over the desktop";
    EXPECT_EQ(::kill(app.pid(), 0), 0) << "ostrelvan-desktop died\n" << readText(log);
}

} // namespace
} // namespace ostrelvan
