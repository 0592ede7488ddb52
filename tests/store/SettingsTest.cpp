#include "AcknowledgedStore.h"
#include "AppSettings.h"
#include "MemoryKeyValueStore.h"
#include "SettingsKeyValueStore.h"

#include <QFile>
#include <QFileInfo>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

namespace ostrelvan::test {

namespace {

QString writeIni(const QTemporaryDir& folder, const QByteArray& text) {
    const QString path = folder.filePath(QStringLiteral("Ostrelvan.conf"));
    QFile file(path);
    file.open(QIODevice::WriteOnly | QIODevice::Truncate);
    file.write(text);
    return path;
}

QByteArray contents(const QString& path) {
    QFile file(path);
    file.open(QIODevice::ReadOnly);
    return file.readAll();
}

template <class Enum> QString text(Enum value) {
    const auto raw = toString(value);
    return QString::fromUtf8(raw.data(), static_cast<qsizetype>(raw.size()));
}

struct Expected {
    bool sounds;
    bool hooks;
    double blur;
    double tint;
    GlassAppearance appearance;
    bool contrast;
    ReviewFade fade;
};

} // namespace

class SettingsTest : public QObject {
    Q_OBJECT
private slots:
    void readsStoredTextWithDefaultsAndRanges_data() {
        QTest::addColumn<QByteArray>("ini");
        QTest::addColumn<Expected>("expected");
        const auto row = [](const char* name, const char* ini, Expected expected) {
            QTest::newRow(name) << QByteArray(ini) << expected;
        };
        row("empty", "",
            {true, false, 8.0, 0.25, GlassAppearance::system, true, ReviewFade::tenMinutes});
        row("set",
            "[General]\nsounds.enabled=false\nhooks.connected=true\nglass.blurRadius=12.5\n"
            "glass.tintOpacity=0.4\nglass.appearance=dark\nglass.textContrast=false\n"
            "review.fade=never\n",
            {false, true, 12.5, 0.4, GlassAppearance::dark, false, ReviewFade::never});
        row("out of range", "[General]\nglass.blurRadius=-3\nglass.tintOpacity=0.9\n",
            {true, false, 0.0, 0.6, GlassAppearance::system, true, ReviewFade::tenMinutes});
        row("above the top", "[General]\nglass.blurRadius=35\nglass.tintOpacity=0\n",
            {true, false, 20.0, 0.0, GlassAppearance::system, true, ReviewFade::tenMinutes});
        row("wrong types",
            "[General]\nsounds.enabled=loud\nhooks.connected=1\nglass.blurRadius=true\n"
            "glass.tintOpacity=@Size(1 2)\nglass.textContrast=7\n",
            {true, false, 8.0, 0.25, GlassAppearance::system, true, ReviewFade::tenMinutes});
        row("unknown enumeration texts",
            "[General]\nglass.appearance=Dark\nreview.fade=fifteenMinutes\n",
            {true, false, 8.0, 0.25, GlassAppearance::system, true, ReviewFade::tenMinutes});
    }

    void readsStoredTextWithDefaultsAndRanges() {
        QFETCH(QByteArray, ini);
        QFETCH(Expected, expected);
        QTemporaryDir folder;
        const QString path = writeIni(folder, ini);
        const QFileInfo before(path);
        {
            SettingsKeyValueStore defaults(path);
            const AppSettings settings(defaults);
            QCOMPARE(settings.soundsEnabled(), expected.sounds);
            QCOMPARE(settings.hooksConnected(), expected.hooks);
            QCOMPARE(settings.glassBlur(), expected.blur);
            QCOMPARE(settings.glassTint(), expected.tint);
            QCOMPARE(text(settings.glassAppearance()), text(expected.appearance));
            QCOMPARE(settings.textContrast(), expected.contrast);
            QCOMPARE(text(settings.reviewFade()), text(expected.fade));
        }
        QCOMPARE(contents(path), ini); // nothing written back at start-up
    }

    void settersWriteThroughClampedValues() {
        QTemporaryDir folder;
        const QString path = writeIni(folder, "");
        {
            SettingsKeyValueStore defaults(path);
            AppSettings settings(defaults);
            QSignalSpy changed(&settings, &AppSettings::changed);
            settings.setGlassTint(1.0);
            QCOMPARE(settings.glassTint(), 0.6);
            settings.setGlassBlur(-1);
            settings.setGlassAppearance(GlassAppearance::light);
            settings.setReviewFade(ReviewFade::never);
            settings.setSoundsEnabled(false);
            settings.setHooksConnected(true);
            settings.setTextContrast(false);
            QCOMPARE(changed.count(), 7);
            settings.setHooksConnected(true);
            QCOMPARE(changed.count(), 7);
        }
        QSettings fresh(path, QSettings::IniFormat);
        QCOMPARE(fresh.value("glass.tintOpacity").toString(), QStringLiteral("0.6"));
        QCOMPARE(fresh.value("glass.blurRadius").toString(), QStringLiteral("0"));
        QCOMPARE(fresh.value("glass.appearance").toString(), QStringLiteral("light"));
        QCOMPARE(fresh.value("review.fade").toString(), QStringLiteral("never"));

        SettingsKeyValueStore defaults(path);
        AppSettings settings(defaults);
        QCOMPARE(settings.soundsEnabled(), false);
        QCOMPARE(settings.hooksConnected(), true);
        QCOMPARE(settings.textContrast(), false);
        QCOMPARE(seconds(settings.reviewFade()), std::optional<double>());
        settings.setGlassBlur(3);
        settings.resetGlass();
        QCOMPARE(settings.glassBlur(), 8.0);
        QCOMPARE(settings.glassTint(), 0.25);
        QCOMPARE(text(settings.glassAppearance()), QStringLiteral("system"));
        QCOMPARE(settings.textContrast(), true);
        QCOMPARE(text(settings.reviewFade()), QStringLiteral("never"));
        QCOMPARE(settings.soundsEnabled(), false);
    }

    void acknowledgementsSurviveARestart() {
        QTemporaryDir folder;
        const QString path = writeIni(folder, "");
        const TimePoint seen = std::chrono::sys_days{std::chrono::November / 21 / 2026} +
                               std::chrono::milliseconds(36'000'123);
        {
            SettingsKeyValueStore defaults(path);
            AcknowledgedStore acknowledged(defaults);
            acknowledged.set(seen, "a");
            acknowledged.set(seen, "b");
        }
        SettingsKeyValueStore defaults(path);
        AcknowledgedStore acknowledged(defaults);
        QCOMPARE(acknowledged.acknowledgedAt("a"), std::optional(seen));
        QCOMPARE(acknowledged.values().at("a"), AcknowledgedStore::referenceSeconds(seen));
        QCOMPARE(AcknowledgedStore::referenceSeconds(
                     std::chrono::sys_days{std::chrono::January / 1 / 2001} +
                     std::chrono::milliseconds(1500)),
                 1.5);
    }

    void malformedAcknowledgementsReadAsNone_data() {
        QTest::addColumn<QVariant>("stored");
        QTest::newRow("text") << QVariant(QStringLiteral("a=1"));
        QTest::newRow("not a number") << QVariant(QVariantMap{{"a", 1.0}, {"b", "soon"}});
        QTest::newRow("a list") << QVariant(QVariantList{1.0, 2.0});
    }

    void malformedAcknowledgementsReadAsNone() {
        QFETCH(QVariant, stored);
        MemoryKeyValueStore defaults({{AcknowledgedStore::key, stored}});
        AcknowledgedStore acknowledged(defaults);
        QVERIFY(acknowledged.values().empty());
        acknowledged.prune({});
        QCOMPARE(defaults.writes(), 0);
    }

    void numbersStoredAsTextAreRead() {
        MemoryKeyValueStore defaults({{AcknowledgedStore::key, QVariantMap{{"a", "7.25"}}}});
        AcknowledgedStore acknowledged(defaults);
        QCOMPARE(acknowledged.values().at("a"), 7.25);
    }
};

} // namespace ostrelvan::test

Q_DECLARE_METATYPE(ostrelvan::test::Expected)

QTEST_GUILESS_MAIN(ostrelvan::test::SettingsTest)
#include "SettingsTest.moc"
