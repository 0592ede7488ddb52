#include "StatusFormat.h"

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

class StatusFormatTest : public QObject {
    Q_OBJECT
private slots:
    void listsGroupsAsTheWidgetDoes() {
        const std::vector<SessionGroup> groups{
            {"window-7",
             "api",
             {shown("api", "api", SessionStatus::working, now - 30s),
              shown("web", "Fix the build", SessionStatus::needsApproval, now - 125s)}},
            {"session-docs", "docs", {shown("docs", "docs", SessionStatus::idle, now - 2h)}},
        };
        QCOMPARE(StatusFormat::human(groups, now, {false, 0}),
                 std::string("api (2 sessions)\n"
                             "  ● api                 Working…        now\n"
                             "  ● Fix the build  web  Needs approval   2m\n"
                             "  ● docs                Idle             2h\n"));
        const auto coloured = StatusFormat::human(groups, now, {true, 26});
        QVERIFY(coloured.find("\033[38;5;208m●\033[0m Fix the build  web  N…\n") !=
                std::string::npos);
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
