#include "app/platform/linux/KWinScript.h"

#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusInterface>
#include <QDBusReply>
#include <QDir>
#include <QStringList>
#include <QTemporaryFile>

namespace ostrelvan::KWinScript {

namespace {

const QString service = QStringLiteral("org.kde.KWin");
const QString pluginName = QStringLiteral("ostrelvan-activate");
// KWin answers at once; a compositor that does not must not hold the caller up for long.
constexpr int timeoutMs = 1000;

// KWin 6 names windows "windows", KWin 5 "clients".
QString script(const std::vector<std::int32_t>& chain) {
    QStringList pids;
    for (const std::int32_t pid : chain)
        pids.push_back(QString::number(pid));
    return QStringLiteral(R"((function () {
    var pids = [%1];
    var windows = workspace.windowList ? workspace.windowList() : workspace.clientList();
    for (var i = 0; i < pids.length; ++i) {
        var found = null;
        for (var j = 0; j < windows.length; ++j) {
            if (windows[j].pid === pids[i] && windows[j].normalWindow)
                found = windows[j];
        }
        if (found) {
            if (workspace.windowList)
                workspace.activeWindow = found;
            else
                workspace.activeClient = found;
            return;
        }
    }
})();
)")
        .arg(pids.join(QStringLiteral(", ")));
}

} // namespace

WindowActivation::Outcome activate(const std::vector<std::int32_t>& chain) {
    QDBusConnection bus = QDBusConnection::sessionBus();
    if (!bus.isConnected() || !bus.interface()->isServiceRegistered(service))
        return WindowActivation::Outcome::unavailable;
    QTemporaryFile file(QStringLiteral("%1/ostrelvan-XXXXXX.js").arg(QDir::tempPath()));
    if (!file.open() || file.write(script(chain).toUtf8()) < 0 || !file.flush())
        return WindowActivation::Outcome::unavailable;

    QDBusInterface scripting(service, QStringLiteral("/Scripting"),
                             QStringLiteral("org.kde.kwin.Scripting"), bus);
    scripting.setTimeout(timeoutMs);
    // A copy left loaded by an earlier run would make loading fail.
    scripting.call(QStringLiteral("unloadScript"), pluginName);
    const QDBusReply<int> id =
        scripting.call(QStringLiteral("loadScript"), file.fileName(), pluginName);
    if (!id.isValid() || id.value() < 0)
        return WindowActivation::Outcome::unavailable;
    // start() runs every script loaded and not yet running, ours among them, before it answers.
    const QDBusReply<void> started = scripting.call(QStringLiteral("start"));
    scripting.call(QStringLiteral("unloadScript"), pluginName);
    return started.isValid() ? WindowActivation::Outcome::activated
                             : WindowActivation::Outcome::unavailable;
}

} // namespace ostrelvan::KWinScript
