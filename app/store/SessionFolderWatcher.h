#pragma once

#include <QFileSystemWatcher>
#include <QObject>
#include <QString>
#include <QTimer>
#include <chrono>
#include <memory>

namespace ostrelvan {

// Tells the store that the sessions folder changed, once per burst: every event pushes the
// delivery back by `debounce`, so a stream of hook writes costs one reload.
class SessionFolderWatcher : public QObject {
    Q_OBJECT
public:
    static constexpr std::chrono::milliseconds debounce{100};

    // None when the folder cannot be watched (it does not exist, say).
    static std::unique_ptr<SessionFolderWatcher> create(const QString& directory);

signals:
    void changed();

private:
    SessionFolderWatcher();

    QFileSystemWatcher watcher_;
    QTimer pending_;
};

} // namespace ostrelvan
