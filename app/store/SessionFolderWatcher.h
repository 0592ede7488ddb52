#pragma once

#include <QElapsedTimer>
#include <QFileSystemWatcher>
#include <QObject>
#include <QString>
#include <QTimer>
#include <chrono>
#include <memory>

namespace ostrelvan {

// Tells the store that the sessions folder changed. The first change after a quiet spell is
// told after `settle`, just long enough for the helper to finish the write it began (a
// temporary file, then the rename over the session's file), so a lone hook event reaches the
// lamps without waiting out a debounce. The changes that follow within `debounce` are coalesced
// into one more delivery, pushed back by each new one but never beyond `longestDelay`, so a
// stream of hook writes costs a few reloads and still shows.
//
// The folder may be deleted and made again (by the hook helper) while the app runs. A watch
// dies with its folder, so the nearest existing parent is watched too, and the folder's own
// watch is armed again as soon as it reappears.
class SessionFolderWatcher : public QObject {
    Q_OBJECT
public:
    static constexpr std::chrono::milliseconds settle{15};
    static constexpr std::chrono::milliseconds debounce{100};
    static constexpr std::chrono::milliseconds longestDelay{500};

    explicit SessionFolderWatcher(const QString& directory, QObject* parent = nullptr);

    // Whether the folder itself is watched right now (it exists and the watch was taken).
    bool watchesFolder() const;

signals:
    void changed();

private:
    void somethingChanged(const QString& path);
    void arm();
    void deliver();

    QString directory_;
    QString watchedParent_;
    QFileSystemWatcher watcher_;
    QTimer pending_;
    QElapsedTimer since_;
    // Waiting out `settle` before the first delivery; otherwise the timer coalesces a burst.
    bool settling_ = false;
    bool dirty_ = false;
};

} // namespace ostrelvan
