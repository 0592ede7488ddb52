#include "app/look/DesktopPreferencesMonitor.h"

#include "app/platform/linux/GnomeSettings.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusVariant>
#include <QDir>
#include <QFile>
#include <QGuiApplication>
#include <QPalette>

namespace ostrelvan {

namespace {

const QString portalService = QStringLiteral("org.freedesktop.portal.Desktop");
const QString portalPath = QStringLiteral("/org/freedesktop/portal/desktop");
const QString portalSettings = QStringLiteral("org.freedesktop.portal.Settings");
const QString gnomeGroup = QStringLiteral("org.gnome.desktop.interface");
// A portal that is being started on demand answers within this; a missing one fails at once.
constexpr int portalTimeoutMs = 500;

// One value from the settings portal. Its Read method wraps the value in a second variant.
std::optional<QVariant> portalRead(const QString& group, const QString& key) {
    QDBusConnection bus = QDBusConnection::sessionBus();
    if (!bus.isConnected())
        return std::nullopt;
    QDBusMessage call =
        QDBusMessage::createMethodCall(portalService, portalPath, portalSettings, "Read");
    call << group << key;
    const QDBusMessage reply = bus.call(call, QDBus::Block, portalTimeoutMs);
    if (reply.type() != QDBusMessage::ReplyMessage || reply.arguments().isEmpty())
        return std::nullopt;
    QVariant value = reply.arguments().constFirst();
    while (value.canConvert<QDBusVariant>())
        value = qvariant_cast<QDBusVariant>(value).variant();
    return value;
}

// GNOME's own settings, for desktops whose portal does not pass its keys on, or have no portal.
const GnomeSettings& gnomeInterface() {
    static const GnomeSettings settings("org.gnome.desktop.interface");
    return settings;
}

std::optional<std::string> gnomeString(const QString& key) {
    if (const auto value = portalRead(gnomeGroup, key); value && value->canConvert<QString>())
        return value->toString().toStdString();
    return gnomeInterface().string(key.toUtf8().constData());
}

std::optional<bool> gnomeBool(const QString& key) {
    if (const auto value = portalRead(gnomeGroup, key); value && value->typeId() == QMetaType::Bool)
        return value->toBool();
    return gnomeInterface().boolean(key.toUtf8().constData());
}

std::optional<double> kdeFactor() {
    QString folder = qEnvironmentVariable("XDG_CONFIG_HOME");
    if (folder.isEmpty())
        folder = QDir::homePath() + QStringLiteral("/.config");
    QFile file(folder + QStringLiteral("/kdeglobals"));
    if (!file.open(QIODevice::ReadOnly))
        return std::nullopt;
    return DesktopPreferencesRules::kdeAnimationFactor(file.read(1 << 20).toStdString());
}

} // namespace

struct DesktopPreferencesMonitor::Native {};

DesktopPreferences DesktopPreferencesMonitor::read() {
    LinuxDesktopAnswers answers;
    if (const auto scheme = portalRead(QStringLiteral("org.freedesktop.appearance"),
                                       QStringLiteral("color-scheme"))) {
        bool ok = false;
        const unsigned value = scheme->toUInt(&ok);
        if (ok)
            answers.portalColorScheme = value;
    }
    if (answers.portalColorScheme.value_or(0) == 0) {
        answers.gnomeColorScheme = gnomeString(QStringLiteral("color-scheme"));
        answers.gtkTheme = gnomeString(QStringLiteral("gtk-theme"));
    }
    answers.gnomeAnimations = gnomeBool(QStringLiteral("enable-animations"));
    answers.kdeAnimationFactor = kdeFactor();
    if (qGuiApp)
        answers.paletteDark = QGuiApplication::palette().color(QPalette::Window).lightness() < 128;
    return DesktopPreferencesRules::decide(answers);
}

DesktopPreferencesMonitor::DesktopPreferencesMonitor(QObject* parent)
    : QObject(parent), current_(read()), native_(std::make_unique<Native>()) {
    // The slot takes none of the signal's (namespace, key, value) arguments: any change is
    // cheap to read again in full.
    QDBusConnection::sessionBus().connect(portalService, portalPath, portalSettings,
                                          QStringLiteral("SettingChanged"), this,
                                          SLOT(settingChanged()));
}

DesktopPreferencesMonitor::~DesktopPreferencesMonitor() = default;

} // namespace ostrelvan
