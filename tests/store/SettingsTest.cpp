#include "TestSupport.h"
#include "app/services/AppSettings.h"
#include "app/store/AcknowledgedStore.h"
#include "app/store/MemoryKeyValueStore.h"
#include "app/store/SettingsKeyValueStore.h"

#include <QTemporaryDir>
#include <QTest>

namespace ostrelvan::test {

namespace {

// Every setting in one line, so a table row states them all.
QString describe(const AppSettings& s) {
    return QStringLiteral("%1 %2 %3 %4 %5 %6 %7 %8")
        .arg(s.soundsEnabled())
        .arg(s.hooksConnected())
        .arg(s.glassBlur())
        .arg(s.glassTint())
        .arg(QString::fromUtf8(toString(s.glassAppearance()).data()))
        .arg(s.textContrast())
        .arg(QString::fromUtf8(toString(s.reviewFade()).data()))
        .arg(s.answersRequests());
}

} // namespace

class SettingsTest : public QObject {
    Q_OBJECT
private slots:
    // QSettings' INI files give every value back as text, whatever was stored.
    void readsStoredTextWithDefaultsAndRanges_data() {
        QTest::addColumn<QByteArray>("ini");
        QTest::addColumn<QString>("expected");
        QTest::newRow("empty") << QByteArray() << "1 0 8 0.25 system 1 tenMinutes 1";
        QTest::newRow("set") << QByteArray("[General]\nsounds.enabled=false\nhooks.connected=true\n"
                                           "glass.blurRadius=12.5\nglass.tintOpacity=0.4\n"
                                           "glass.appearance=dark\nglass.textContrast=false\n"
                                           "review.fade=never\npermissions.answer=false\n")
                             << "0 1 12.5 0.4 dark 0 never 0";
        QTest::newRow("out of range")
            << QByteArray("[General]\nglass.blurRadius=-3\nglass.tintOpacity=0.9\n")
            << "1 0 0 0.6 system 1 tenMinutes 1";
        QTest::newRow("above the top")
            << QByteArray("[General]\nglass.blurRadius=35\nglass.tintOpacity=0\n")
            << "1 0 20 0 system 1 tenMinutes 1";
        QTest::newRow("wrong types")
            << QByteArray(
                   "[General]\nsounds.enabled=loud\nhooks.connected=1\nglass.blurRadius=true\n"
                   "glass.tintOpacity=@Size(1 2)\nglass.textContrast=7\n")
            << "1 0 8 0.25 system 1 tenMinutes 1";
        QTest::newRow("unknown enumeration texts")
            << QByteArray("[General]\nglass.appearance=Dark\nreview.fade=fifteenMinutes\n")
            << "1 0 8 0.25 system 1 tenMinutes 1";
    }

    void readsStoredTextWithDefaultsAndRanges() {
        QFETCH(QByteArray, ini);
        QFETCH(QString, expected);
        TempDir folder;
        const QString path = QString::fromStdString(folder / "Ostrelvan.conf");
        writeText(folder / "Ostrelvan.conf", ini.toStdString());
        {
            SettingsKeyValueStore defaults(path);
            QCOMPARE(describe(AppSettings(defaults)), expected);
        }
        QCOMPARE(readText(folder / "Ostrelvan.conf"), ini.toStdString()); // nothing written back
    }

    void settersWriteThroughClampedValues() {
        QTemporaryDir folder;
        const QString path = folder.filePath(QStringLiteral("Ostrelvan.conf"));
        {
            SettingsKeyValueStore defaults(path);
            AppSettings settings(defaults);
            settings.setGlassTint(1.0);
            settings.setGlassBlur(-1);
            settings.setGlassAppearance(GlassAppearance::light);
            settings.setReviewFade(ReviewFade::never);
            settings.setSoundsEnabled(false);
            settings.setHooksConnected(true);
            settings.setAnswersRequests(false);
        }
        SettingsKeyValueStore defaults(path);
        AppSettings settings(defaults);
        QCOMPARE(describe(settings), QStringLiteral("0 1 0 0.6 light 1 never 0"));
        settings.setTextContrast(false);
        settings.resetGlass(); // leaves the sounds, the review fade and the answers alone
        QCOMPARE(describe(settings), QStringLiteral("0 1 8 0.25 system 1 never 0"));
    }

    // Acknowledgements read from a real INI file show in the front-end test.
    void malformedAcknowledgementsReadAsNone() {
        // Numbers as text are read; plain text, a value that is no number and a list are not.
        for (const auto& [stored, entries] : {std::pair{QVariant(QVariantMap{{"a", "7.25"}}), 1},
                                              {QVariant(QStringLiteral("a=1")), 0},
                                              {QVariant(QVariantMap{{"a", 1.0}, {"b", "soon"}}), 0},
                                              {QVariant(QVariantList{1.0, 2.0}), 0}}) {
            MemoryKeyValueStore defaults({{AcknowledgedStore::key, stored}});
            AcknowledgedStore acknowledged(defaults);
            QCOMPARE(int(acknowledged.values().size()), entries);
            acknowledged.prune({"a"}); // drops nothing, so writes nothing
            QCOMPARE(defaults.writes(), 0);
        }
    }
};

} // namespace ostrelvan::test

QTEST_GUILESS_MAIN(ostrelvan::test::SettingsTest)
#include "SettingsTest.moc"
