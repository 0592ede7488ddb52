#include "app/services/SettingsFileCheck.h"

#include "app/services/Log.h"
#include "base/FileSystem.h"

#include <QDateTime>
#include <QFile>
#include <memory>

namespace ostrelvan::SettingsFileCheck {

namespace {

std::string lineText(std::size_t number, const char* what) {
    return "line " + std::to_string(number) + " " + what;
}

bool isIniFile(const QString& fileName) {
    return fileName.endsWith(QLatin1String(".conf")) || fileName.endsWith(QLatin1String(".ini"));
}

} // namespace

std::optional<std::string> damage(std::string_view content) {
    if (content.find('\0') != std::string_view::npos) {
        return "it holds NUL bytes";
    }
    std::size_t number = 0;
    while (!content.empty()) {
        ++number;
        const std::size_t end = content.find('\n');
        // QSettings ends every line it writes, the last one included.
        if (end == std::string_view::npos) {
            return lineText(number, "is cut short");
        }
        std::string_view line = content.substr(0, end);
        content.remove_prefix(end + 1);
        if (line.ends_with('\r')) {
            line.remove_suffix(1);
        }
        const auto first = line.find_first_not_of(" \t");
        if (first == std::string_view::npos || line[first] == ';' || line[first] == '#') {
            continue;
        }
        if (line[first] == '[') {
            if (line.find(']') == std::string_view::npos) {
                return lineText(number, "opens a section it never closes");
            }
        } else if (line.find('=') == std::string_view::npos) {
            return lineText(number, "is not a setting");
        }
    }
    return std::nullopt;
}

std::optional<QString> inspect(SettingsKeyValueStore& defaults) {
    const QSettings& file = defaults.settings();
    const QString fileName = file.fileName();
    if (file.status() == QSettings::AccessError) {
        qCWarning(appLog, "cannot read the settings file %s; the defaults are used",
                  qPrintable(fileName));
        return std::nullopt;
    }
    if (!isIniFile(fileName)) {
        return std::nullopt;
    }
    const auto content = FileSystem::readRegularFile(fileName.toStdString());
    if (!content) {
        return std::nullopt;
    }
    std::optional<std::string> problem = damage(*content);
    if (!problem && file.status() == QSettings::FormatError) {
        problem = "Qt cannot parse it";
    }
    if (!problem) {
        return std::nullopt;
    }
    const QString copy =
        fileName + QStringLiteral(".damaged-") +
        QDateTime::currentDateTime().toString(QStringLiteral("yyyyMMdd-HHmmss-zzz"));
    if (!QFile::copy(fileName, copy)) {
        qCWarning(appLog, "the settings file %s is damaged (%s) and no copy could be kept",
                  qPrintable(fileName), problem->c_str());
        return std::nullopt;
    }
    qCWarning(appLog,
              "the settings file %s is damaged (%s); what could be read is used, and the file as "
              "it was is kept at %s",
              qPrintable(fileName), problem->c_str(), qPrintable(copy));
    return copy;
}

void watchWrites(SettingsKeyValueStore& defaults, AppSettings& settings) {
    QSettings& file = defaults.settings();
    auto reported = std::make_shared<bool>(false);
    QObject::connect(&settings, &AppSettings::changed, &settings, [&file, reported] {
        if (file.status() == QSettings::AccessError && !*reported) {
            *reported = true;
            qCWarning(appLog,
                      "cannot write the settings file %s; changes last until Ostrelvan quits",
                      qPrintable(file.fileName()));
        }
    });
}

} // namespace ostrelvan::SettingsFileCheck
