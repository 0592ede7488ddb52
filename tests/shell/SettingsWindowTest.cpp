#include "app/shell/SettingsView.h"
#include "app/store/MemoryKeyValueStore.h"

#include <QCheckBox>
#include <QComboBox>
#include <QLabel>
#include <QPushButton>
#include <QSlider>
#include <QTest>

namespace ostrelvan::test {

namespace {

// The form shown over settings in memory; `fadeChanges` counts what the form told the store.
struct Form {
    MemoryKeyValueStore defaults;
    AppSettings settings{defaults};
    int fadeChanges = 0;
    SettingsView view{settings, [this] { ++fadeChanges; }};

    Form() { view.show(); }

    template <class T = QWidget> T* get(const char* name) {
        T* found = view.findChild<T*>(QString::fromUtf8(name));
        if (!found)
            qFatal("no %s", name);
        return found;
    }
    QString text(const char* label) { return get<QLabel>(label)->text(); }
    QLabel* labelWithText(const QString& text) {
        for (QLabel* label : view.findChildren<QLabel*>())
            if (label->text() == text)
                return label;
        qFatal("no label %s", qPrintable(text));
    }
};

} // namespace

// The keys and stored forms are the settings test's; here, what each control does to them.
class SettingsWindowTest : public QObject {
    Q_OBJECT
private slots:
    void everyControlWritesThroughTheSettings() {
        Form form;
        AppSettings& settings = form.settings;
        auto* fade = form.get<QComboBox>("reviewFade");
        fade->setCurrentIndex(3);
        emit fade->activated(3);
        QVERIFY(settings.reviewFade() == ReviewFade::never);
        QCOMPARE(form.fadeChanges, 1);

        QTest::mouseClick(form.get<QPushButton>("appearance.dark"), Qt::LeftButton);
        QVERIFY(settings.glassAppearance() == GlassAppearance::dark);

        // Offscreen nothing blurs behind windows: the Blur control says so and does nothing,
        // and Tint is what sets how solid the glass is.
        QVERIFY(!form.view.blurAvailable());
        QVERIFY(!form.get("blur")->isEnabled());
        QCOMPARE(form.text("blurValue"), QStringLiteral("Off"));
        QVERIFY(!form.get("blurNote")->isHidden());
        QVERIFY(form.text("blurNote").contains(QStringLiteral("does not blur")));
        QVERIFY(form.get("tint")->isEnabled());
        // Where the desktop blurs, it is an ordinary slider again.
        form.view.setBlurAvailable(true);
        QVERIFY(form.get("blur")->isEnabled());
        QVERIFY(form.get("blurNote")->isHidden());
        form.get<QSlider>("blur")->setValue(12);
        QCOMPARE(settings.glassBlur(), 12.0);
        QCOMPARE(form.text("blurValue"), QStringLiteral("12 pt"));
        form.get<QSlider>("tint")->setValue(40);
        QCOMPARE(settings.glassTint(), 0.4);
        QCOMPARE(form.text("tintValue"), QStringLiteral("40 %"));

        // Answering permission requests: on by default.
        auto* answers = form.get<QCheckBox>("answersRequests");
        QVERIFY(answers->isChecked());
        answers->click();
        QVERIFY(!settings.answersRequests());
        form.get<QCheckBox>("textContrast")->click();
        QVERIFY(!settings.textContrast());

        // A change made elsewhere shows, and showing it writes nothing back.
        settings.setGlassTint(0.255);
        const int writes = form.defaults.writes();
        QCOMPARE(form.text("tintValue"), QStringLiteral("26 %"));
        QCOMPARE(form.defaults.writes(), writes);

        // Which settings a reset touches is the settings test's; here that the form follows.
        form.get<QPushButton>("resetGlass")->click();
        QCOMPARE(settings.glassBlur(), 8.0);
        QCOMPARE(form.text("blurValue"), QStringLiteral("8 pt"));
        QVERIFY(form.get<QPushButton>("appearance.system")->isChecked());
        QVERIFY(!form.get<QPushButton>("appearance.dark")->isChecked());
        QVERIFY(form.get<QCheckBox>("textContrast")->isChecked());
    }

    // What a screen reader hears of the form is checked through AT-SPI in the desktop shell's
    // end-to-end test; here the look.
    void slidersLineUpBehindAFixedLabelColumn() {
        Form form;
        const QImage image = form.view.grab().toImage();
        QCOMPARE(image.width(), SettingsView::formWidth);
        QWidget* blur = form.get("blur");
        QWidget* tint = form.get("tint");
        for (const char* text : {"Blur", "Tint", "Appearance"})
            QCOMPARE(form.labelWithText(QString::fromUtf8(text))->width(),
                     SettingsView::labelColumnWidth);
        const QPoint blurAt = blur->mapTo(&form.view, QPoint(0, 0));
        QCOMPARE(blurAt.x(), tint->mapTo(&form.view, QPoint(0, 0)).x());
        QCOMPARE(blur->width(), tint->width());
        QVERIFY(blurAt.x() >= SettingsView::labelColumnWidth);
        // Something is drawn where the sliders are: not one flat colour across the groove.
        const QRect groove(blurAt, blur->size());
        QSet<QRgb> colours;
        for (int x = groove.left(); x <= groove.right(); ++x)
            colours.insert(image.pixel(x, groove.center().y()));
        QVERIFY(colours.size() > 1);
    }
};

} // namespace ostrelvan::test

QTEST_MAIN(ostrelvan::test::SettingsWindowTest)
#include "SettingsWindowTest.moc"
