#include "app/services/SettingsFileCheck.h"

#include "ShellTestSupport.h"

#include <QTest>

namespace ostrelvan::test {

class SettingsFileCheckTest : public QObject {
    Q_OBJECT
private slots:
    void findsWhereAWriteWasCutShort_data() {
        QTest::addColumn<QByteArray>("content");
        QTest::addColumn<QString>("damage");
        QTest::newRow("whole") << QByteArray("[General]\nsounds.enabled=false\n\n; note\n") << "";
        QTest::newRow("empty") << QByteArray() << "";
        QTest::newRow("windows lines") << QByteArray("[General]\r\na=1\r\n") << "";
        QTest::newRow("cut in a value")
            << QByteArray("[General]\nglass.blurRadius=1") << "line 2 is cut short";
        QTest::newRow("cut in a key")
            << QByteArray("[General]\nglass.blu\n") << "line 2 is not a setting";
        QTest::newRow("cut in a section")
            << QByteArray("[Gene\n") << "line 1 opens a section it never closes";
        QTest::newRow("zeros") << QByteArray("[General]\na=1\n\0\0\0\0", 17)
                               << "it holds NUL bytes";
    }

    void findsWhereAWriteWasCutShort() {
        QFETCH(QByteArray, content);
        QFETCH(QString, damage);
        QCOMPARE(
            QString::fromStdString(SettingsFileCheck::damage(content.toStdString()).value_or("")),
            damage);
    }

    void keepsADamagedFileAsItWasAndRunsOnWhatItRead() {
        TempDir folder;
        const Path file = folder / "Ostrelvan.conf";
        const std::string damaged = "[General]\nsounds.enabled=false\nglass.blurRad";
        writeText(file, damaged);
        const QString path = QString::fromStdString(file.string());
        LogRecorder log;
        SettingsKeyValueStore defaults(path);
        const auto copy = SettingsFileCheck::inspect(defaults);
        QVERIFY(copy);
        QCOMPARE(readText(copy->toStdString()), damaged);
        QCOMPARE(log.lines().size(), 1); // naming the file
        QVERIFY(log.lines().front().contains(path));
        AppSettings settings(defaults);
        QVERIFY(!settings.soundsEnabled());
        QCOMPARE(settings.glassBlur(), 8.0);

        writeText(file, "[General]\nsounds.enabled=false\n");
        SettingsKeyValueStore whole(path);
        QVERIFY(!SettingsFileCheck::inspect(whole));
        QCOMPARE(QString::fromStdString(listing(folder.path())).count(QStringLiteral(".damaged-")),
                 1);
    }

    void saysOnceWhenTheFileCannotBeReadOrWritten() {
        TempDir folder;
        // A folder cannot be read as a file even by root, whom file modes do not stop.
        std::filesystem::create_directories(folder / "unreadable.conf");
        {
            SettingsKeyValueStore defaults(
                QString::fromStdString((folder / "unreadable.conf").string()));
            QTest::ignoreMessage(
                QtWarningMsg,
                QRegularExpression(
                    "^cannot read the settings file .*unreadable.conf; the defaults are used$"));
            SettingsFileCheck::inspect(defaults);
        }
        writeText(folder / "config", "a file where the folder should be");
        SettingsKeyValueStore defaults(
            QString::fromStdString((folder / "config/Ostrelvan.conf").string()));
        AppSettings settings(defaults);
        SettingsFileCheck::watchWrites(defaults, settings);
        LogRecorder log;
        settings.setSoundsEnabled(false);
        settings.setGlassBlur(3);
        QCOMPARE(log.lines().size(), 1); // once, naming the file
        QVERIFY(
            log.lines().front().contains(QString::fromStdString(folder / "config/Ostrelvan.conf")));
        QVERIFY(!settings.soundsEnabled()); // kept for this run
    }
};

} // namespace ostrelvan::test

QTEST_GUILESS_MAIN(ostrelvan::test::SettingsFileCheckTest)
#include "SettingsFileCheckTest.moc"
