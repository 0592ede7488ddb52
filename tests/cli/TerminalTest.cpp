#include "TestSupport.h"
#include "core/SessionFileStore.h"

#include <QTest>
#include <chrono>
#include <clocale>
#include <csignal>
#include <cwchar>
#include <regex>
#include <sstream>

namespace ostrelvan::test {

using namespace std::chrono_literals;

namespace {

// Columns as the terminal counts them, measured apart from the code under test.
std::size_t columns(const std::string& text) {
    std::mbstate_t state{};
    std::wstring wide(text.size() + 1, L'\0');
    const char* source = text.c_str();
    const auto count = std::mbsrtowcs(wide.data(), &source, wide.size(), &state);
    if (count == static_cast<std::size_t>(-1))
        return std::string::npos;
    const int width = ::wcswidth(wide.c_str(), count);
    return width < 0 ? std::string::npos : static_cast<std::size_t>(width);
}

std::vector<std::string> split(const std::string& text) {
    std::vector<std::string> lines;
    std::istringstream in(text);
    for (std::string line; std::getline(in, line);)
        lines.push_back(line);
    return lines;
}

// Whatever a terminal would act on that the front end did not mean to send: every escape
// sequence but the few it draws with, every other control character but CR and LF, and the C1
// controls as UTF-8 encodes them.
std::string strayControl(const std::string& raw) {
    static const std::regex own(R"(^\x1b(\[\?1049[hl]|\[\?25[hl]|\[H|\[2K|\[J|\[[0-9;]*m))");
    for (std::size_t i = 0; i < raw.size(); ++i) {
        const auto c = static_cast<unsigned char>(raw[i]);
        std::smatch match;
        const std::string rest = raw.substr(i, 16);
        if (c == 0x1b && std::regex_search(rest, match, own)) {
            i += static_cast<std::size_t>(match.length(0)) - 1;
            continue;
        }
        if ((c < 0x20 && c != '\r' && c != '\n') || c == 0x7F ||
            (c == 0xC2 && i + 1 < raw.size() && static_cast<unsigned char>(raw[i + 1]) < 0xA0))
            return raw.substr(i > 20 ? i - 20 : 0, 40);
    }
    return {};
}

} // namespace

// The real `ostrelvan` in tmux, on screens of three sizes, over a set of sessions made to break
// a terminal front end: a 70-column name, a CJK name, an emoji name, a title with an escape
// sequence and a newline, and 30 sessions in all.
class TerminalTest : public QObject {
    Q_OBJECT

    std::unique_ptr<TempDir> root_;
    int server_ = 0; // a server of its own for each screen
    Path socket() const { return *root_ / ("tmux-" + std::to_string(server_)); }

    Outcome tmux(std::vector<std::string> arguments) {
        arguments.insert(arguments.begin(),
                         {"tmux", "-S", socket().string(), "-f", (*root_ / "tmux.conf").string()});
        return run(arguments, Variables{{"PATH", "/usr/bin:/bin"}, {"LANG", "C.UTF-8"}});
    }

    std::string capture(bool history) {
        std::vector<std::string> arguments{"capture-pane", "-p", "-J", "-t", "t"};
        if (history)
            arguments.insert(arguments.end(), {"-S", "-"});
        return tmux(arguments).out;
    }

    // The command's environment and no more, as `env -i` in a shell command line.
    std::string environment() const {
        return "env -i HOME=" + (*root_ / "home").string() +
               " OSTRELVAN_DATA_DIR=" + (*root_ / "data").string() +
               " CLAUDE_CONFIG_DIR=" + (*root_ / "claude").string() +
               " XDG_CONFIG_HOME=" + (*root_ / "xdg").string() + " LANG=C.UTF-8 TERM=\"$TERM\"";
    }

    // Starts `ostrelvan <arguments>` in a fresh window of `width` × `height`, with everything it
    // writes to the terminal also copied, unrendered, to `raw`.
    void start(std::size_t width, std::size_t height, const std::string& arguments) {
        tmux({"kill-server"});
        ++server_;
        const Path go = *root_ / "go";
        std::filesystem::remove(go);
        std::filesystem::remove(*root_ / "raw");
        const std::string command = "while [ ! -e " + go.string() + " ]; do sleep 0.02; done; " +
                                    environment() + " " OSTRELVAN_EXECUTABLE " " + arguments +
                                    "; sleep 60";
        QCOMPARE(tmux({"new-session", "-d", "-s", "t", "-x", std::to_string(width), "-y",
                       std::to_string(height), command})
                     .code,
                 0);
        QCOMPARE(tmux({"pipe-pane", "-t", "t", "-o", "cat >> " + (*root_ / "raw").string()}).code,
                 0);
        writeText(go, "");
    }

    // What the front end sent that a terminal would act on, and it did not mean to send.
    std::string stray() { return strayControl(readText(*root_ / "raw")); }

    std::string tmuxFormat(const std::string& format) {
        const std::string out = tmux({"display-message", "-p", "-t", "t", format}).out;
        return out.substr(0, out.find('\n'));
    }

    // The screen once it shows `text`, or as it is after five seconds without it.
    std::string waitFor(const std::string& text, bool history = false) {
        std::string screen;
        [[maybe_unused]] const bool shown = QTest::qWaitFor(
            [&] { return (screen = capture(history)).find(text) != std::string::npos; }, 5000);
        return screen;
    }

    // Every line fits; every row on screen shows a lamp, a status that goes with it and an
    // age. The number of rows, or the first line that is wrong.
    struct Rows {
        std::size_t count = 0;
        std::string problem;
    };
    static Rows rows(const std::vector<std::string>& lines, std::size_t width) {
        static const std::regex row(
            R"(^[ >] (●|▲|◆|○) .*  (Working…|Running tests…|Needs approval|Awaiting review|Idle)( · .*)? +(now|[0-9]+[mhd])$)");
        static const std::map<std::string, std::string> lamp{{"Working…", "●"},
                                                             {"Running tests…", "●"},
                                                             {"Needs approval", "▲"},
                                                             {"Awaiting review", "◆"},
                                                             {"Idle", "○"}};
        std::size_t count = 0;
        for (const auto& line : lines) {
            if (columns(line) > width)
                return {count, "too wide: " + line};
            if ((!line.starts_with("  ") && !line.starts_with("> ")) || line.starts_with("  +"))
                continue;
            std::smatch match;
            if (!std::regex_match(line, match, row) || lamp.at(match[2]) != match[1])
                return {count, "not a whole row: " + line};
            ++count;
        }
        return {count, {}};
    }

private slots:
    void initTestCase() {
        std::setlocale(LC_CTYPE, "C.UTF-8");
        root_ = std::make_unique<TempDir>();
        writeText(*root_ / "tmux.conf", "set -g status off\n");
        // Where a session without a window to raise is shown: its folder, opened by the desktop.
        writeText(*root_ / "bin/xdg-open",
                  "#!/bin/sh\necho \"xdg-open $*\" >> " + (*root_ / "calls").string() + "\n");
        std::filesystem::permissions(*root_ / "bin/xdg-open", std::filesystem::perms::owner_all);
        std::filesystem::create_directories(*root_ / "data/sessions");
        std::filesystem::create_directories(*root_ / "home");
        const std::vector<std::string> titles{std::string(70, 'L'), "数据库迁移工具的重构",
                                              "🚀 launch 🎉 party",
                                              "Fix\033]2;pwned\007 the\nbuild\033[2J now"};
        const std::array statuses{SessionStatus::working, SessionStatus::needsApproval,
                                  SessionStatus::awaitingReview, SessionStatus::idle};
        const TimePoint now = wallClockNow();
        for (int i = 0; i < 30; ++i) {
            auto state = SessionState::make(
                std::string("s").append(std::to_string(100 + i)),
                std::string("/work/project-").append(std::to_string(i % 7)), SessionHost::terminal,
                std::nullopt, std::nullopt, now - 1h + 1s * i);
            state.status = statuses[static_cast<std::size_t>(i) % statuses.size()];
            state.activity = i % 3 ? SessionActivity::runningTests : SessionActivity::thinking;
            state.statusSince = state.lastEvent = now - 15s * i;
            state.backgroundTasks = i % 3;
            state.startedConversation = true;
            if (state.status == SessionStatus::needsApproval)
                state.detail = "npm test -- --watch=false";
            if (static_cast<std::size_t>(i) < titles.size())
                state.title = titles[static_cast<std::size_t>(i)];
            SessionFileStore::write(state, *root_ / "data/sessions" / (state.sessionId + ".json"));
        }
    }
    void cleanupTestCase() { tmux({"kill-server"}); }

    void liveViewFitsEveryScreen_data() {
        QTest::addColumn<int>("width");
        QTest::addColumn<int>("height");
        QTest::newRow("40x10") << 40 << 10;
        QTest::newRow("130x40") << 130 << 40;
    }
    void liveViewFitsEveryScreen() {
        QFETCH(int, width);
        QFETCH(int, height);
        start(std::size_t(width), std::size_t(height), "");
        std::string screen = waitFor("? keys · q quit");
        QVERIFY2(split(screen).front() == "Ostrelvan · 30 Claude Code sessions", screen.c_str());
        // Every row fits and all 30 are accounted for, the rows out of sight counted, with the
        // selection at the top, at the bottom and back at the top: it is always in sight.
        const auto accounted = [&](const std::string& key, bool top) {
            if (!key.empty())
                tmux({"send-keys", "-t", "t", "-N", "29", key});
            const auto lines = split(screen = capture(false));
            const auto shown = rows(lines, std::size_t(width));
            std::size_t hidden = 0;
            bool above = false, selected = false;
            for (const auto& line : lines) {
                hidden += line.starts_with("  +") ? std::stoul(line.substr(3)) : 0;
                above = above || line.ends_with(" more above");
                selected = selected || line.starts_with("> ");
            }
            return lines.size() <= std::size_t(height) && shown.problem.empty() &&
                   shown.count >= 4 && shown.count + hidden == 30 &&
                   (hidden > 0) == (height < 40) && selected && above == (!top && height < 40);
        };
        QTRY_VERIFY2_WITH_TIMEOUT(accounted("", true), screen.c_str(), 15000);
        QTRY_VERIFY2_WITH_TIMEOUT(accounted("Down", false), screen.c_str(), 15000);
        QTRY_VERIFY2_WITH_TIMEOUT(accounted("Up", true), screen.c_str(), 15000);
        // The special names are there, shortened where they must be, and made harmless; a step's
        // detail only where there is room for it.
        QVERIFY2(screen.find("数据") != std::string::npos, screen.c_str());
        QVERIFY2(screen.find("🚀 launch") != std::string::npos, screen.c_str());
        QVERIFY2(screen.find("Fix\uFFFD]2;pwned\uFFFD") != std::string::npos, screen.c_str());
        QVERIFY(screen.find(std::string(32, 'L')) == std::string::npos);
        QCOMPARE(screen.find("npm test -- --watch=false") != std::string::npos, width >= 130);
        QVERIFY(tmux({"display-message", "-p", "-t", "t", "#{pane_title}"}).out != "pwned\n");
        QVERIFY(screen.find("Not connected to Claude Code") != std::string::npos);

        tmux({"send-keys", "-t", "t", "q"});
        QTRY_COMPARE_WITH_TIMEOUT(tmuxFormat("#{alternate_on}"), std::string("0"), 15000);
        QVERIFY2(stray().empty(), stray().c_str());
    }

    // As a user meets it: `ostrelvan watch` started from an interactive shell (dash, which leaves
    // the terminal's settings alone), the window resized, Ctrl-Z and `fg`, then terminated. The
    // view follows the new size, gives the shell its screen, cursor and settings back while it is
    // stopped, takes them again when continued, and leaves the terminal as it found it.
    void liveViewResizedSuspendedResumedAndTerminated() {
        tmux({"kill-server"});
        ++server_;
        const std::string shell = environment() + " PATH=" + (*root_ / "bin").string() +
                                  ":/usr/bin:/bin PS1='ready$ ' dash -i";
        QCOMPARE(tmux({"new-session", "-d", "-s", "t", "-x", "80", "-y", "24", shell}).code, 0);
        QVERIFY(waitFor("ready$").find("ready$") != std::string::npos);
        const Variables path{{"PATH", "/usr/bin:/bin"}};
        const std::string tty = tmuxFormat("#{pane_tty}");
        const auto settings = [&] { return run({"stty", "-g", "-F", tty}, path).out; };
        const std::string cooked = settings();
        QVERIFY(!cooked.empty());

        tmux({"send-keys", "-t", "t", OSTRELVAN_EXECUTABLE " watch", "Enter"});
        QVERIFY(waitFor("? keys · q quit").find("q quit") != std::string::npos);
        const std::string child =
            run({"pgrep", "-P", tmuxFormat("#{pane_pid}"), "-x", "ostrelvan"}, path).out;
        const pid_t view = std::atoi(child.c_str());
        QVERIFY2(view > 0, child.c_str());
        QCOMPARE(tmuxFormat("#{alternate_on}"), std::string("1"));
        QVERIFY(settings() != cooked);
        // Down, Down, Enter: the third session, the rocket's, is opened.
        tmux({"send-keys", "-t", "t", "Down", "Down", "Enter"});
        QTRY_COMPARE_WITH_TIMEOUT(readText(*root_ / "calls"),
                                  std::string("xdg-open /work/project-2\n"), 15000);

        // A narrower, shorter window: every line fits it again.
        QCOMPARE(tmux({"resize-window", "-t", "t", "-x", "44", "-y", "12"}).code, 0);
        const auto fits = [&] {
            const auto lines = split(capture(false));
            const auto shown = rows(lines, 44);
            return !lines.empty() && lines.size() <= 12 && lines.front().starts_with("Ostrelvan") &&
                   shown.problem.empty() && shown.count >= 3 &&
                   lines.back().find("q quit") != std::string::npos;
        };
        QTRY_VERIFY2_WITH_TIMEOUT(fits(), capture(false).c_str(), 15000);

        // Ctrl-Z: stopped, and the shell has the screen, a visible cursor and its own settings.
        tmux({"send-keys", "-t", "t", "C-z"});
        const auto stopped = [&] {
            return readText("/proc/" + std::to_string(view) + "/stat").find(") T ") !=
                   std::string::npos;
        };
        QTRY_VERIFY_WITH_TIMEOUT(stopped(), 15000);
        QTRY_VERIFY2_WITH_TIMEOUT(tmuxFormat("#{alternate_on}") == "0" &&
                                      tmuxFormat("#{cursor_flag}") == "1" && settings() == cooked,
                                  (tmuxFormat("#{alternate_on}") + " " + settings()).c_str(),
                                  15000);

        // `fg`: its own screen again, drawn anew at the new size.
        tmux({"send-keys", "-t", "t", "fg", "Enter"});
        QTRY_VERIFY_WITH_TIMEOUT(tmuxFormat("#{alternate_on}") == "1" && settings() != cooked,
                                 15000);
        QTRY_VERIFY2_WITH_TIMEOUT(fits(), capture(false).c_str(), 15000);
        QVERIFY(!stopped());

        // Terminated: gone, and the terminal as it was.
        QCOMPARE(::kill(view, SIGTERM), 0);
        QTRY_VERIFY_WITH_TIMEOUT(::kill(view, 0) != 0, 15000);
        QTRY_VERIFY_WITH_TIMEOUT(tmuxFormat("#{alternate_on}") == "0" &&
                                     capture(false).find("ready$") != std::string::npos,
                                 15000);
        QCOMPARE(tmuxFormat("#{cursor_flag}"), std::string("1"));
        QCOMPARE(settings(), cooked);
    }

    // `status` on a terminal fits its rows to the width instead of letting them wrap.
    void statusFitsTheWidth() {
        start(40, 50, "status");
        const auto shown = rows(split(waitFor("Not connected to Claude Code", true)), 40);
        QVERIFY2(shown.problem.empty(), shown.problem.c_str());
        QCOMPARE(shown.count, std::size_t(30));
        QVERIFY2(stray().empty(), stray().c_str());
    }
};

} // namespace ostrelvan::test

QTEST_GUILESS_MAIN(ostrelvan::test::TerminalTest)
#include "TerminalTest.moc"
