#include "TestSupport.h"
#include "WidgetViewHarness.h"
#include "app/services/PermissionRequests.h"
#include "app/widget/AnswerButton.h"
#include "app/widget/GlassColor.h"
#include "app/widget/SessionPanelView.h"
#include "app/widget/SessionRow.h"

#include <QAccessible>
#include <QLocalSocket>

namespace ostrelvan::test {

namespace {

const nlohmann::ordered_json rule = nlohmann::ordered_json::parse(
    R"([{"type":"addRules","rules":[{"toolName":"Bash","ruleContent":"npm test *"}],)"
    R"("behavior":"allow","destination":"localSettings"}])");

// The groups of oneTwoOne(), the waiting session asking to run `npm test`.
std::vector<SessionGroup> asking() {
    auto groups = oneTwoOne();
    DisplayedSession& waiting = groups[1].sessions[0];
    waiting.state.tool = "Bash";
    waiting.state.detail = "npm test";
    return groups;
}

QStringList accessibleButtons(QWidget* row) {
    QStringList names;
    QAccessibleInterface* face = QAccessible::queryAccessibleInterface(row);
    for (int i = 0; i < face->childCount(); ++i) {
        QAccessibleInterface* child = face->child(i);
        if (child->role() == QAccessible::Button && !child->state().invisible)
            names << child->text(QAccessible::Name);
    }
    return names;
}

} // namespace

// The open list over a real request broker, a helper at the other end of its socket.
class AnswerButtonsTest : public QObject {
    Q_OBJECT
private slots:
    void theRowAnswersItsRequest() {
        TempDir root;
        PermissionRequests requests(root / "permission.sock");
        requests.setEnabled(true);
        WidgetActions actions;
        actions.answer = [&requests](const std::string& id, PermissionChoice choice) {
            requests.answer(id, choice);
        };
        ViewHarness h(asking(), 600, true, actions);
        connect(&requests, &PermissionRequests::pendingChanged, &h.feed,
                [&] { h.feed.setRequests(requests.pending()); });
        h.model.setExpanded(true);
        SessionPanelView* panel = h.view->panel();
        SessionRow* row = panel->rows()[1];
        const QImage before = h.render();

        QLocalSocket helper;
        helper.connectToServer(QString::fromStdString(requests.socketPath().string()));
        QVERIFY(helper.waitForConnected(5000));
        const std::string id(32, '7');
        helper.write(QByteArray::fromStdString(
            PermissionMessage::request(id, "b", std::nullopt, "/src/web", "Bash", "npm test", rule)
                .encode()));
        helper.flush();
        QTRY_VERIFY(helper.canReadLine());
        helper.readLine();

        // Shown without hovering the row, as the status line says what is asked.
        QCOMPARE(h.model.hoveredIndex(), std::optional<int>());
        QCOMPARE(accessibleButtons(row), (QStringList{"Allow", "Always Allow", "Deny"}));
        QCOMPARE(row->accessibleName(),
                 QStringLiteral("Fix the login form, web, Needs approval \u00b7 npm test"));
        for (SessionRow* other : {panel->rows()[0], panel->rows()[2], panel->rows()[3]})
            QVERIFY(other->answerButtons().empty());

        // In the row's trailing part, side by side, clear of the text.
        const auto buttons = row->answerButtons();
        for (AnswerButton* button : buttons) {
            QVERIFY(row->rect().contains(button->geometry()));
            QCOMPARE(button->geometry().center().y(), row->rect().center().y());
        }
        QVERIFY(buttons[0]->geometry().right() < buttons[1]->geometry().left());
        QVERIFY(buttons[1]->geometry().right() < buttons[2]->geometry().left());

        const QImage image = h.render();
        const QPoint origin = row->mapTo(h.view.get(), QPoint(0, 0));
        // How far from the allow button's green a spot on its disc, above the check, is.
        const QPoint onDisc = origin + buttons[0]->geometry().center() + QPoint(0, -8);
        const auto offGreen = [&](const QImage& i) {
            return distance(patch(i, onDisc), GlassColor::success());
        };
        // The allow button is a green disc with a white check; the cross is drawn on its disc.
        QVERIFY(offGreen(image) < 60);
        QVERIFY(nearest(image, buttons[0]->geometry().translated(origin), Qt::white) < 40);
        QVERIFY(offGreen(before) > 100);
        const QRect deny = buttons[2]->geometry().translated(origin).adjusted(6, 6, -6, -6);
        QVERIFY(differing(image, deny, before.pixelColor(deny.topLeft()), 60) > 20);

        QTest::mouseClick(buttons[0], Qt::LeftButton);
        QTRY_VERIFY(helper.canReadLine());
        const PermissionMessage decision =
            PermissionMessage::decode(helper.readLine().toStdString());
        QCOMPARE(int(decision.type), int(PermissionMessage::Type::decision));
        QCOMPARE(decision.requestId, id);
        QCOMPARE(int(decision.behavior), int(PermissionMessage::Behavior::allow));

        // Answered: the buttons go and the elapsed time is back.
        QVERIFY(accessibleButtons(row).isEmpty());
        const QRect whole = row->rect().translated(origin);
        QCOMPARE(h.render().copy(whole), before.copy(whole));
    }
};

} // namespace ostrelvan::test

QTEST_MAIN(ostrelvan::test::AnswerButtonsTest)
#include "AnswerButtonsTest.moc"
