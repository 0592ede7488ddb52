#include "app/shell/SettingsView.h"
#include "app/shell/SettingsWindowController.h"
#include "app/store/MemoryKeyValueStore.h"

#include <QAbstractButton>
#include <QAccessible>
#include <QCheckBox>
#include <QComboBox>
#include <QLabel>
#include <QPushButton>
#include <QSlider>
#include <QTest>

namespace ostrelvan::test {

namespace {

template <class T> T* child(QWidget* root, const char* name) {
    T* found = root->findChild<T*>(QString::fromUtf8(name));
    if (!found) {
        qFatal("no %s", name);
    }
    return found;
}

QLabel* labelWithText(QWidget* root, const QString& text) {
    for (QLabel* label : root->findChildren<QLabel*>()) {
        if (label->text() == text) {
            return label;
        }
    }
    qFatal("no label %s", qPrintable(text));
}

} // namespace

class SettingsWindowTest : public QObject {
    Q_OBJECT
private slots:
    void valueLabelsAreFormattedAsWritten() {
        QCOMPARE(SettingsView::tintText(0.255), QStringLiteral("26 %"));
        QCOMPARE(SettingsView::tintText(0.6), QStringLiteral("60 %"));
        QCOMPARE(SettingsView::blurText(20), QStringLiteral("20 pt"));
        QCOMPARE(SettingsView::blurText(12.5), QStringLiteral("12 pt"));
        QCOMPARE(SettingsView::blurText(0), QStringLiteral("0 pt"));
    }

    void everyControlWritesThroughTheSettings() {
        MemoryKeyValueStore defaults;
        AppSettings settings(defaults);
        int fadeChanges = 0;
        SettingsView view(settings, [&] { ++fadeChanges; });
        view.show();

        auto* fade = child<QComboBox>(&view, "reviewFade");
        QStringList choices;
        for (int i = 0; i < fade->count(); ++i) {
            choices << fade->itemText(i);
        }
        QCOMPARE(choices, (QStringList{"After 5 minutes", "After 10 minutes", "After 30 minutes",
                                       "Never (until opened)"}));
        QCOMPARE(fade->currentText(), QStringLiteral("After 10 minutes"));
        fade->setCurrentIndex(3);
        emit fade->activated(3);
        QVERIFY(settings.reviewFade() == ReviewFade::never);
        QCOMPARE(defaults.value(QStringLiteral("review.fade")), QVariant(QStringLiteral("never")));
        QCOMPARE(fadeChanges, 1);

        QTest::mouseClick(child<QPushButton>(&view, "appearance.dark"), Qt::LeftButton);
        QCOMPARE(defaults.value(QStringLiteral("glass.appearance")),
                 QVariant(QStringLiteral("dark")));

        // Offscreen nothing blurs behind windows: the Blur control says so and does nothing,
        // and Tint is what sets how solid the glass is.
        QVERIFY(!view.blurAvailable());
        QVERIFY(!child<QSlider>(&view, "blur")->isEnabled());
        QCOMPARE(child<QLabel>(&view, "blurValue")->text(), QStringLiteral("Off"));
        QVERIFY(!child<QLabel>(&view, "blurNote")->isHidden());
        QVERIFY(child<QLabel>(&view, "blurNote")->text().contains(QStringLiteral("does not blur")));
        QVERIFY(child<QSlider>(&view, "tint")->isEnabled());
        // Where the desktop blurs, it is an ordinary slider again.
        view.setBlurAvailable(true);
        QVERIFY(child<QSlider>(&view, "blur")->isEnabled());
        QVERIFY(child<QLabel>(&view, "blurNote")->isHidden());
        child<QSlider>(&view, "blur")->setValue(12);
        QCOMPARE(defaults.value(QStringLiteral("glass.blurRadius")), QVariant(12.0));
        QCOMPARE(child<QLabel>(&view, "blurValue")->text(), QStringLiteral("12 pt"));

        child<QSlider>(&view, "tint")->setValue(40);
        QCOMPARE(defaults.value(QStringLiteral("glass.tintOpacity")), QVariant(0.4));
        QCOMPARE(child<QLabel>(&view, "tintValue")->text(), QStringLiteral("40 %"));

        // Answering permission requests: on by default, named for a screen reader.
        auto* answers = child<QCheckBox>(&view, "answersRequests");
        QVERIFY(answers->isChecked());
        QCOMPARE(answers->accessibleName(),
                 QStringLiteral("Answer permission requests from Ostrelvan"));
        answers->click();
        QVERIFY(!settings.answersRequests());
        QCOMPARE(defaults.value(QStringLiteral("permissions.answer")), QVariant(false));
        child<QCheckBox>(&view, "textContrast")->click();
        QCOMPARE(defaults.value(QStringLiteral("glass.textContrast")), QVariant(false));

        // A change made elsewhere shows, and showing it writes nothing back.
        settings.setGlassTint(0.255);
        const int writes = defaults.writes();
        QCOMPARE(child<QLabel>(&view, "tintValue")->text(), QStringLiteral("26 %"));
        QCOMPARE(defaults.writes(), writes);

        child<QPushButton>(&view, "resetGlass")->click();
        QCOMPARE(settings.glassBlur(), 8.0);
        QCOMPARE(settings.glassTint(), 0.25);
        QVERIFY(settings.glassAppearance() == GlassAppearance::system);
        QVERIFY(settings.textContrast());
        QVERIFY(settings.reviewFade() == ReviewFade::never);
        QCOMPARE(child<QLabel>(&view, "blurValue")->text(), QStringLiteral("8 pt"));
        QVERIFY(child<QPushButton>(&view, "appearance.system")->isChecked());
        QVERIFY(!child<QPushButton>(&view, "appearance.dark")->isChecked());
        QVERIFY(child<QCheckBox>(&view, "textContrast")->isChecked());
    }

    void slidersLineUpBehindAFixedLabelColumn() {
        MemoryKeyValueStore defaults;
        AppSettings settings(defaults);
        SettingsView view(settings, {});
        view.show();
        const QImage image = view.grab().toImage();
        QCOMPARE(image.width(), SettingsView::formWidth);
        auto* blur = child<QSlider>(&view, "blur");
        auto* tint = child<QSlider>(&view, "tint");
        for (const char* text : {"Blur", "Tint", "Appearance"}) {
            QCOMPARE(labelWithText(&view, QString::fromUtf8(text))->width(),
                     SettingsView::labelColumnWidth);
        }
        const QPoint blurAt = blur->mapTo(&view, QPoint(0, 0));
        const QPoint tintAt = tint->mapTo(&view, QPoint(0, 0));
        QCOMPARE(blurAt.x(), tintAt.x());
        QCOMPARE(blur->width(), tint->width());
        QVERIFY(blurAt.x() >= SettingsView::labelColumnWidth);
        // Something is drawn where the sliders are: not one flat colour across the groove.
        const QRect groove(blurAt, blur->size());
        QSet<QRgb> colours;
        for (int x = groove.left(); x <= groove.right(); ++x) {
            colours.insert(image.pixel(x, groove.center().y()));
        }
        QVERIFY(colours.size() > 1);
        QVERIFY(labelWithText(&view,
                              QStringLiteral("The orange lamp after Claude finishes. Opening the "
                                             "session from the widget or writing in it always ends "
                                             "it.")));
        QVERIFY(labelWithText(
            &view, QStringLiteral("Dark glass reads best over dark pages, light glass "
                                  "over light ones. Text contrast adds a soft halo under "
                                  "the widget's text.")));
    }

    // What a screen reader hears and does: every control is named after its label, the sliders
    // take a value and the buttons an action.
    void everyControlIsNamedAndWorksThroughAccessibility() {
        MemoryKeyValueStore defaults;
        AppSettings settings(defaults);
        SettingsView view(settings, {});
        view.show();
        QStringList named;
        for (QWidget* control : view.findChildren<QWidget*>()) {
            if (!qobject_cast<QAbstractButton*>(control) && !qobject_cast<QSlider*>(control) &&
                !qobject_cast<QComboBox*>(control)) {
                continue;
            }
            const QString name =
                QAccessible::queryAccessibleInterface(control)->text(QAccessible::Name);
            QVERIFY2(!name.isEmpty(), qPrintable(control->objectName()));
            named << name;
        }
        named.sort();
        QCOMPARE(
            named,
            (QStringList{"After 10 minutes", "Answer permission requests from Ostrelvan", "Blur",
                         "Dark", "Light", "Reset to Defaults", "System", "Text contrast", "Tint"}));
        // A combo box is named by its choice; its label reaches a screen reader as a relation.
        for (const auto& [name, label] : {std::pair{"reviewFade", "Review lamp fades"},
                                          std::pair{"tint", "Tint"}, std::pair{"blur", "Blur"}}) {
            QStringList labels;
            for (const auto& [labelling, relation] :
                 QAccessible::queryAccessibleInterface(child<QWidget>(&view, name))
                     ->relations(QAccessible::Label)) {
                labels << labelling->text(QAccessible::Name);
            }
            QVERIFY2(labels.contains(QString::fromUtf8(label)), qPrintable(labels.join(", ")));
        }
        QCOMPARE(child<QSlider>(&view, "tint"), labelWithText(&view, "Tint")->buddy());

        QAccessibleInterface* tint =
            QAccessible::queryAccessibleInterface(child<QSlider>(&view, "tint"));
        QVERIFY(tint->valueInterface());
        tint->valueInterface()->setCurrentValue(45);
        QCOMPARE(settings.glassTint(), 0.45);
        QCOMPARE(child<QLabel>(&view, "tintValue")->text(), QStringLiteral("45 %"));

        const bool contrast = settings.textContrast();
        QAccessibleInterface* check =
            QAccessible::queryAccessibleInterface(child<QCheckBox>(&view, "textContrast"));
        check->actionInterface()->doAction(QAccessibleActionInterface::toggleAction());
        QCOMPARE(settings.textContrast(), !contrast);
        QAccessible::queryAccessibleInterface(child<QPushButton>(&view, "appearance.light"))
            ->actionInterface()
            ->doAction(QAccessibleActionInterface::pressAction());
        QTRY_VERIFY(settings.glassAppearance() == GlassAppearance::light); // an animated click
    }

    void oneWindowReportsWhenItShowsAndGoes() {
        MemoryKeyValueStore defaults;
        AppSettings settings(defaults);
        QList<bool> reports;
        SettingsWindowController controller(settings, {},
                                            [&](bool visible) { reports << visible; });
        QVERIFY(!controller.window());
        controller.show();
        QWidget* window = controller.window();
        QVERIFY(window->isVisible());
        controller.show();
        QCOMPARE(controller.window(), window);
        QCOMPARE(reports, QList<bool>{true});
        window->close();
        controller.show();
        QCOMPARE(reports, (QList<bool>{true, false, true}));
    }
};

} // namespace ostrelvan::test

QTEST_MAIN(ostrelvan::test::SettingsWindowTest)
#include "SettingsWindowTest.moc"
