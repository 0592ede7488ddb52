#pragma once

// A private X server (Xvfb on a display it picks itself) with openbox on it, for driving the real
// desktop app and looking at the screen from outside, as a user would.
#include "TestSupport.h"

#include <chrono>
#include <cstdint>
#include <cstdlib>
#include <sstream>
#include <thread>

namespace ostrelvan::test {

// The first executable called `name` on PATH.
inline std::optional<Path> findProgram(std::string_view name) {
    const char* path = std::getenv("PATH");
    std::stringstream folders(path ? path : "/usr/bin:/bin");
    std::string folder;
    while (std::getline(folders, folder, ':')) {
        const Path candidate = Path(folder.empty() ? "." : folder) / name;
        if (::access(candidate.c_str(), X_OK) == 0)
            return candidate;
    }
    return std::nullopt;
}

// Polls `done` every `step` until it holds or `limit` has passed; true when it held.
template <class Done>
bool waitFor(Done done, std::chrono::milliseconds limit,
             std::chrono::milliseconds step = std::chrono::milliseconds(50)) {
    const auto end = std::chrono::steady_clock::now() + limit;
    while (!done()) {
        if (std::chrono::steady_clock::now() > end)
            return false;
        std::this_thread::sleep_for(step);
    }
    return true;
}

struct Rgb {
    int r = 0, g = 0, b = 0;
};

// A whole screen's pixels.
struct Screenshot {
    int width = 0;
    int height = 0;
    std::string pixels; // RGB, row by row

    Rgb at(int x, int y) const {
        const auto i = (std::size_t(y) * std::size_t(width) + std::size_t(x)) * 3;
        return {static_cast<unsigned char>(pixels[i]), static_cast<unsigned char>(pixels[i + 1]),
                static_cast<unsigned char>(pixels[i + 2])};
    }
};

// Reads a binary PPM (P6, 8 bits per channel); an empty screenshot when the file is not one.
inline Screenshot readPpm(const Path& file) {
    const std::string bytes = readText(file);
    std::istringstream in(bytes);
    std::string magic;
    int width = 0, height = 0, maximum = 0;
    in >> magic >> width >> height >> maximum;
    if (magic != "P6" || maximum != 255 || width <= 0 || height <= 0)
        return {};
    in.get(); // the one whitespace byte before the pixels
    const auto start = static_cast<std::size_t>(in.tellg());
    const auto size = std::size_t(width) * std::size_t(height) * 3;
    if (bytes.size() < start + size)
        return {};
    return {width, height, bytes.substr(start, size)};
}

class XSession {
public:
    XSession(int width, int height) : width_(width), height_(height) {
        const auto xvfb = findProgram("Xvfb");
        const auto openbox = findProgram("openbox");
        if (!xvfb || !openbox)
            return;
        // Xvfb writes the display number it chose to the given descriptor: here its output.
        xvfb_.emplace(
            std::vector<std::string>{xvfb->string(), "-displayfd", "1", "-screen", "0",
                                     std::to_string(width) + "x" + std::to_string(height) + "x24",
                                     "-nolisten", "tcp"},
            std::nullopt, Streams{"/dev/null", temp_ / "display", temp_ / "xvfb.log"});
        const bool announced =
            waitFor([&] { return readText(temp_ / "display").find('\n') != std::string::npos; },
                    std::chrono::seconds(20));
        if (!announced)
            return;
        display_ =
            ":" + readText(temp_ / "display").substr(0, readText(temp_ / "display").find('\n'));
        openbox_.emplace(std::vector<std::string>{openbox->string()}, environment(),
                         Streams{"/dev/null", "/dev/null", temp_ / "openbox.log"});
        // The window manager is up once it has announced itself on the root window.
        waitFor(
            [&] {
                return run({"xprop", "-root", "_NET_SUPPORTING_WM_CHECK"}, environment())
                           .out.find("window id") != std::string::npos;
            },
            std::chrono::seconds(20), std::chrono::milliseconds(100));
    }

    XSession(const XSession&) = delete;
    XSession& operator=(const XSession&) = delete;

    ~XSession() {
        // Terminated, not killed, so that the server removes its lock and socket.
        for (auto* process : {&openbox_, &xvfb_})
            if (*process) {
                ::kill((*process)->pid(), SIGTERM);
                (*process)->wait();
            }
    }

    bool isRunning() const { return !display_.empty(); }
    const std::string& display() const { return display_; }
    int width() const { return width_; }
    int height() const { return height_; }

    // What a program on this display needs, over a clean environment.
    Variables environment(const Variables& extra = {}) const {
        Variables variables{{"DISPLAY", display_}, {"PATH", "/usr/bin:/bin"}, {"LANG", "C.UTF-8"}};
        variables.insert(extra.begin(), extra.end());
        return variables;
    }

    // The whole screen as the X server holds it.
    Screenshot screenshot() const {
        const Path file = temp_ / "screen.ppm";
        std::filesystem::remove(file);
        run({"import", "-silent", "-window", "root", "-depth", "8", "ppm:" + file.string()},
            environment());
        return readPpm(file);
    }

    void movePointer(int x, int y) const {
        run({"xdotool", "mousemove", std::to_string(x), std::to_string(y)}, environment());
    }

private:
    int width_;
    int height_;
    TempDir temp_;
    std::string display_;
    std::optional<Process> xvfb_;
    std::optional<Process> openbox_;
};

} // namespace ostrelvan::test
