#pragma once

#include "base/Environment.h"

#include <QLocalServer>
#include <QObject>
#include <QString>
#include <chrono>

namespace ostrelvan {

// One running app per user and data folder. The first start listens on a local socket in the
// user's runtime folder; a later start finds it there, asks it to show its panel, and leaves.
class SingleInstance : public QObject {
    Q_OBJECT
public:
    // <runtime folder>/ostrelvan-<uid>-<hash of the data folder>.socket; the runtime folder is
    // $XDG_RUNTIME_DIR, else the system's temporary folder.
    static QString socketPath(const Environment& environment);

    explicit SingleInstance(QString socketPath, QObject* parent = nullptr);

    // True when this process is now the one instance. False when another one answered: it has
    // been asked to show its panel, and this process should exit.
    bool claim(std::chrono::milliseconds timeout = std::chrono::milliseconds(2000));

    bool isListening() const { return server_.isListening(); }

signals:
    void presentRequested();

private:
    bool askRunningInstance(std::chrono::milliseconds timeout);
    void answer();

    QString path_;
    QLocalServer server_;
};

} // namespace ostrelvan
