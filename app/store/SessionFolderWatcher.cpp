#include "SessionFolderWatcher.h"

#include <QFileInfo>

namespace ostrelvan {

SessionFolderWatcher::SessionFolderWatcher() {
    pending_.setSingleShot(true);
    pending_.setInterval(debounce);
    // The write path replaces files by rename, which a watch on the folder sees (one on a file
    // would stop after the first replace).
    connect(&watcher_, &QFileSystemWatcher::directoryChanged, &pending_,
            qOverload<>(&QTimer::start));
    connect(&pending_, &QTimer::timeout, this, &SessionFolderWatcher::changed);
}

std::unique_ptr<SessionFolderWatcher> SessionFolderWatcher::create(const QString& directory) {
    if (!QFileInfo(directory).isDir()) {
        return nullptr;
    }
    std::unique_ptr<SessionFolderWatcher> watcher(new SessionFolderWatcher);
    if (!watcher->watcher_.addPath(directory)) {
        return nullptr;
    }
    return watcher;
}

} // namespace ostrelvan
