#include "cli/StatusFormat.h"

#include "cli/KeyDecoder.h"
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

        std::vector<DisplayedSession> all;
        for (const auto& group : groups)
            all.insert(all.end(), group.sessions.begin(), group.sessions.end());
        using StatusFormat::LineColour;
        QCOMPARE(StatusFormat::line(all, LineColour::none), "●1 ▲1 ◆1 ○1");
        QCOMPARE(StatusFormat::line(all, LineColour::tmux),
                 "#[fg=green]●#[fg=default]1 #[fg=colour208]▲#[fg=default]1 "
                 "#[fg=colour208]◆#[fg=default]1 #[fg=brightblack]○#[fg=default]1");
    }

    void textIsMeasuredInColumnsAndMadeSafe() {
        using namespace TerminalText;
        QCOMPARE(columns("数据"), 4u);
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
