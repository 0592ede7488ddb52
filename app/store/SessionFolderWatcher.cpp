#include "app/store/SessionFolderWatcher.h"

#include <QDir>
#include <QFileInfo>

namespace ostrelvan {

namespace {

QString nearestExistingParent(const QString& directory) {
    QString at = QFileInfo(directory).absolutePath();
    while (!QFileInfo(at).isDir()) {
        const QString up = QFileInfo(at).absolutePath();
        if (up == at)
            return {};
        at = up;
    }
    return at;
}

} // namespace

SessionFolderWatcher::SessionFolderWatcher(const QString& directory, QObject* parent)
    : QObject(parent), directory_(QDir::cleanPath(directory)) {
    pending_.setSingleShot(true);
    pending_.setTimerType(Qt::PreciseTimer);
    // The write path replaces files by rename, which a watch on the folder sees (one on a file
    // would stop after the first replace).
    connect(&watcher_, &QFileSystemWatcher::directoryChanged, this,
            &SessionFolderWatcher::somethingChanged);
    connect(&pending_, &QTimer::timeout, this, &SessionFolderWatcher::deliver);
    arm();
}

bool SessionFolderWatcher::watchesFolder() const {
    return watcher_.directories().contains(directory_);
}

void SessionFolderWatcher::arm() {
    const bool had = watchesFolder();
    if (!had && QFileInfo(directory_).isDir())
        watcher_.addPath(directory_);
    const QString parent = nearestExistingParent(directory_);
    if (parent != watchedParent_) {
        if (!watchedParent_.isEmpty())
            watcher_.removePath(watchedParent_);
        watchedParent_ = parent;
        if (!parent.isEmpty())
            watcher_.addPath(parent);
    }
}

void SessionFolderWatcher::somethingChanged(const QString& path) {
    const bool had = watchesFolder();
    arm();
    // The parent changes for reasons of its own (the helper's log, say); only the folder coming
    // or going there is news.
    if (path != directory_ && had == watchesFolder())
        return;
    if (!pending_.isActive()) {
        settling_ = true;
        pending_.start(settle);
        return;
    }
    if (settling_)
        return; // the coming delivery reads it
    if (!dirty_)
        since_.start();
    dirty_ = true;
    const auto waited = std::chrono::milliseconds(since_.elapsed());
    pending_.start(
        std::max(std::chrono::milliseconds(0), std::min(debounce, longestDelay - waited)));
}

void SessionFolderWatcher::deliver() {
    if (!settling_ && !dirty_)
        return;
    settling_ = false;
    dirty_ = false;
    // The burst may go on: what arrives now is coalesced with the next delivery, not told alone.
    since_.start();
    pending_.start(debounce);
    emit changed();
}

} // namespace ostrelvan
