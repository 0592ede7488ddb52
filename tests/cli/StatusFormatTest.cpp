#include "cli/StatusFormat.h"

#include "cli/KeyDecoder.h"
#include "cli/LiveFrame.h"
#include "cli/StatusDocument.h"
#include "cli/TerminalText.h"

#include <QTest>
#include <chrono>

namespace ostrelvan::test {

using namespace std::chrono_literals;
using namespace cli;

static const TimePoint now = std::chrono::sys_days{std::chrono::November / 21 / 2026} + 9h;

static DisplayedSession shown(const std::string& id, const std::string& name, SessionStatus status,
                              TimePoint since) {
    auto state = SessionState::make(id, "/work/" + id, SessionHost::terminal, std::nullopt,
                                    std::nullopt, since);
    state.status = status;
    return {state, status, name};
}

// A byte a terminal would act on: C0 controls but the line feed between lines, DEL, and the C1
// controls as UTF-8 encodes them.
static bool hasControl(const std::string& text) {
    for (std::size_t i = 0; i < text.size(); ++i) {
        const auto c = static_cast<unsigned char>(text[i]);
        if ((c < 0x20 && c != '\n') || c == 0x7F ||
            (c == 0xC2 && i + 1 < text.size() && static_cast<unsigned char>(text[i + 1]) < 0xA0))
            return true;
    }
    return false;
}

class StatusFormatTest : public QObject {
    Q_OBJECT
private slots:
    void listsGroupsAsTheWidgetDoes() {
        const std::vector<SessionGroup> groups{
            {"window-7",
             "api",
             {shown("api", "api", SessionStatus::working, now - 30s),
              shown("web", "Fix the build", SessionStatus::needsApproval, now - 125s)}},
            {"session-docs",
             "docs",
             {shown("docs", "docs", SessionStatus::idle, now - 2h),
              shown("notes", "notes", SessionStatus::awaitingReview, now - 3min)}},
        };
        QCOMPARE(StatusFormat::human(groups, now, {false, 0}),
                 std::string("api (2 sessions)\n"
                             "  ● api                 Working…         now\n"
                             "  ▲ Fix the build  web  Needs approval    2m\n"
                             "docs (2 sessions)\n"
                             "  ○ docs                Idle              2h\n"
                             "  ◆ notes               Awaiting review   3m\n"));
        // The two orange lamps keep their own shapes in colour too; the selected row is marked.
        const auto coloured = StatusFormat::list(groups, now, {true, 80}, 1);
        QCOMPARE(coloured[2].text, std::string("> \033[38;5;208m▲\033[0m \033[7mFix the build  "
                                               "web  Needs approval    2m\033[0m"));
        QCOMPARE(coloured[2].session, std::optional<std::size_t>(1));
        QCOMPARE(coloured[0].session, std::nullopt);

        std::vector<DisplayedSession> all;
        for (const auto& group : groups)
            all.insert(all.end(), group.sessions.begin(), group.sessions.end());
        using StatusFormat::LineColour;
        QCOMPARE(StatusFormat::line(all, LineColour::none), "●1 ▲1 ◆1 ○1");
        QCOMPARE(StatusFormat::line(all, LineColour::tmux),
                 "#[fg=green]●#[fg=default]1 #[fg=colour208]▲#[fg=default]1 "
                 "#[fg=colour208]◆#[fg=default]1 #[fg=brightblack]○#[fg=default]1");
    }

    // Whatever the width, no row is wider than it, and every row ends with its status and age:
    // the project goes first, then what follows the status's separator, then names shorten.
    void rowsFitTheWidthAndKeepStatusAndAge() {
        auto asking = shown("ask", "数据库迁移工具的重构", SessionStatus::needsApproval, now - 2h);
        asking.state.detail = "npm test -- --watch=false";
        auto done = shown("done", "🚀 launch 🎉 party", SessionStatus::awaitingReview, now - 3min);
        done.state.backgroundTasks = 2;
        const std::vector<SessionGroup> groups{
            {"session-a",
             "a",
             {shown("a", std::string(70, 'N'), SessionStatus::working, now - 10s), asking, done,
              shown("i", "idle one", SessionStatus::idle, now - 50h)}}};
        const std::vector<std::string> statuses{"Working…", "Needs approval", "Awaiting review",
                                                "Idle"};
        const std::vector<std::string> ages{"now", "2h", "3m", "2d"};
        for (const std::size_t width : {130u, 80u, 40u, 30u}) {
            const auto lines = StatusFormat::list(groups, now, {false, width});
            for (std::size_t i = 1; i < lines.size(); ++i) {
                const auto& text = lines[i].text;
                QVERIFY2(TerminalText::columns(text) <= width, text.c_str());
                QVERIFY2(text.ends_with(ages[i - 1]), text.c_str());
                QVERIFY2(text.find(statuses[i - 1]) != std::string::npos, text.c_str());
            }
            const bool wide = width >= 130;
            QCOMPARE(lines[2].text.find("npm test -- --watch=false") != std::string::npos, wide);
            QCOMPARE(lines[1].text.find(std::string(StatusFormat::nameCap - 1, 'N') + "…") !=
                         std::string::npos,
                     width >= 80);
            QVERIFY(lines[1].text.find(std::string(StatusFormat::nameCap, 'N')) ==
                    std::string::npos);
        }
        QCOMPARE(StatusFormat::list(groups, now, {false, 40})[2].text,
                 std::string("  ▲ 数据库迁移工…   Needs approval    2h"));
    }

    void textIsMeasuredInColumnsAndMadeSafe() {
        using namespace TerminalText;
        QCOMPARE(columns("abc"), 3u);
        QCOMPARE(columns("数据"), 4u);
        QCOMPARE(columns("🚀"), 2u);
        QCOMPARE(columns("e\u0301"), 1u); // a combining accent takes no column
        QCOMPARE(truncated("数据库迁移", 6), "数据…");
        QCOMPARE(truncated("数据库迁移", 5), "数据…");
        QCOMPARE(truncated("abc", 3), "abc");
        QCOMPARE(wrapped("see /a/very/long/path/hook.log now", 12),
                 (std::vector<std::string>{"see", "/a/very/long", "/path/hook.l", "og now"}));

        const std::string hostile = "Fix\033]2;pwned\007 the\nbuild\033[2J\r\tnow\x7f"
                                    "\xC2\x9B"
                                    "1m\u202Eevil\xFF";
        const std::string safe = sanitized(hostile);
        QVERIFY2(!hasControl(safe), safe.c_str());
        QCOMPARE(safe, "Fix\uFFFD]2;pwned\uFFFD the build\uFFFD[2J  now\uFFFD\uFFFD"
                       "1m\uFFFDevil\uFFFD");
        QCOMPARE(sanitized("数据 🚀 e\u0301"), "数据 🚀 e\u0301");

        // Names, projects, status details and group names reach the terminal only sanitized;
        // the JSON document keeps the text as it is.
        auto session = shown("x", hostile, SessionStatus::needsApproval, now);
        session.state.cwd = "/work/a\nb";
        session.state.detail = "rm -rf \033[2J";
        const std::vector<SessionGroup> groups{{"g", "a\nb", {session, session}}};
        for (const std::size_t width : {0u, 80u})
            QVERIFY(!hasControl(StatusFormat::human(groups, now, {false, width})));
        const auto document = StatusDocument::document(groups, {}, {});
        QVERIFY(document.find(R"(Fix\u001b]2;pwned\u0007 the\nbuild)") != std::string::npos);
    }

    // The live view's screen: never more lines than the terminal has, the selected row always in
    // sight, and the rows out of sight counted.
    void liveFrameScrollsToTheSelectionAndCountsTheRest() {
        std::vector<DisplayedSession> sessions;
        sessions.reserve(30);
        for (int i = 0; i < 30; ++i)
            sessions.push_back(shown("s" + std::to_string(i), "name " + std::to_string(i),
                                     SessionStatus::idle, now - 1min * i));
        LiveFrame::Input input;
        input.groups = {{"g1", "one", {sessions.begin(), sessions.begin() + 5}},
                        {"g2", "two", {sessions.begin() + 5, sessions.end()}}};
        input.now = now;
        input.notices.notice = "Not connected to Claude Code (run `ostrelvan connect`).";
        input.readsKeys = true;
        input.width = 40;
        input.height = 10;
        for (const std::size_t selected : {0u, 6u, 17u, 29u, 3u}) {
            input.selected = selected;
            const LiveFrame frame = LiveFrame::compose(input);
            input.top = frame.top;
            const auto& lines = frame.lines;
            QVERIFY(lines.size() <= 10);
            std::size_t rows = 0, above = 0, below = 0;
            bool found = false;
            for (const auto& line : lines) {
                QVERIFY2(TerminalText::columns(line) <= 40, line.c_str());
                rows += line.starts_with("  ○") || line.starts_with("> ○");
                found = found || line.starts_with("> ○ name " + std::to_string(selected) + " ");
                if (line.ends_with(" more above"))
                    above = std::stoul(line.substr(3));
                else if (line.starts_with("  +"))
                    below = std::stoul(line.substr(3));
            }
            QVERIFY2(found, std::to_string(selected).c_str());
            QCOMPARE(rows + above + below, 30u);
            QVERIFY(below > 0 || above > 0);
            QCOMPARE(lines[lines.size() - 3], "Not connected to Claude Code (run");
            QCOMPARE(lines.back(), "? keys · q quit");
        }
        // With nothing to list: who is waiting for a prompt, and where the hook's errors are.
        input.groups.clear();
        input.notices = {true, std::nullopt, "/data/hook.log", 2};
        QCOMPARE(
            LiveFrame::compose(input).lines,
            (std::vector<std::string>{
                "Ostrelvan", "No sessions yet", "2 Claude Code sessions are running; they",
                "show up here after their first prompt.", "ostrelvan-hook logged errors after the",
                "last session update; see /data/hook.log.", "", "? keys · q quit"}));
    }

    void keysArriveWholeEvenWhenSplit() {
        KeyDecoder decoder;
        QCOMPARE(decoder.feed("\033[B\033"), std::vector<Key>{Key::down});
        QCOMPARE(decoder.feed("[A\033[6"), std::vector<Key>{Key::up});
        QCOMPARE(decoder.feed("~\r?jq\033OB\033[C"),
                 (std::vector<Key>{Key::pageDown, Key::enter, Key::help, Key::down, Key::quit,
                                   Key::down, Key::other}));
    }

    // The live view redraws exactly when an age label turns over: now, minutes, the last
    // minute, hours, days, and a time in the future.
    void nextAgeChangeIsTheNearestLabelTurn() {
        for (auto [age, wait] :
             {std::pair{10, 50}, {125, 55}, {3599, 1}, {7300, 3500}, {90000, 82800}, {-5, 65}}) {
            const auto session = shown("a", "a", SessionStatus::working, now - 1s * age);
            QVERIFY2(StatusFormat::nextAgeChange({session}, now) == std::optional(now + 1s * wait),
                     qPrintable(QString::number(age)));
        }
    }
};

} // namespace ostrelvan::test

QTEST_GUILESS_MAIN(ostrelvan::test::StatusFormatTest)
#include "StatusFormatTest.moc"
