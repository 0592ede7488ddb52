#include "app/services/QtProcessStarter.h"

#include "app/services/Log.h"

#include <QLoggingCategory>
#include <QProcess>
#include <QTimer>
#include <memory>

namespace ostrelvan {

namespace {

// A program missing from the machine is an ordinary event here (no file manager, no tmux): it is
// logged and the caller falls back.
void prepare(QProcess& process, const Command& command) {
    process.setProgram(QString::fromStdString(command.front()));
    QStringList arguments;
    for (auto word = command.begin() + 1; word != command.end(); ++word)
        arguments.push_back(QString::fromStdString(*word));
    process.setArguments(arguments);
    process.setStandardInputFile(QProcess::nullDevice());
}

} // namespace

bool QtProcessStarter::startDetached(const Command& command, Output output, std::string& error) {
    if (command.empty()) {
        error = "no program given";
        return false;
    }
    QProcess process;
    prepare(process, command);
    if (output == Output::discarded) {
        process.setStandardOutputFile(QProcess::nullDevice());
        process.setStandardErrorFile(QProcess::nullDevice());
    }
    if (!process.startDetached()) {
        error = process.errorString().toStdString();
        return false;
    }
    return true;
}

bool QtProcessStarter::start(const Command& command) {
    std::string error;
    if (!startDetached(command, Output::discarded, error)) {
        if (!command.empty())
            qCWarning(uiLog, "cannot start %s", command.front().c_str());
        return false;
    }
    return true;
}

void QtProcessStarter::run(const Command& command, Finished finished) {
    if (command.empty()) {
        finished({});
        return;
    }
    auto* process = new QProcess(this);
    prepare(*process, command);
    process->setStandardErrorFile(QProcess::nullDevice());
    // Whichever comes first, the exit or the failure to start, reports; the other is ignored.
    auto report = std::make_shared<Finished>(std::move(finished));
    const auto once = [report](const Result& result) {
        if (auto callback = std::exchange(*report, nullptr))
            callback(result);
    };
    connect(process, &QProcess::errorOccurred, process,
            [process, once, program = command.front()](QProcess::ProcessError error) {
                if (error != QProcess::FailedToStart)
                    return;
                qCWarning(uiLog, "cannot start %s", program.c_str());
                once({});
                process->deleteLater();
            });
    connect(
        process, &QProcess::finished, process,
        [process, once](int exitCode, QProcess::ExitStatus status) {
            const bool exited = status == QProcess::NormalExit;
            once({true, exited ? exitCode : -1, process->readAllStandardOutput().toStdString()});
            process->deleteLater();
        });
    QTimer::singleShot(runLimit, process, [process] { process->kill(); });
    process->start();
}

void QtProcessStarter::after(std::chrono::milliseconds delay, std::function<void()> task) {
    QTimer::singleShot(delay, this, std::move(task));
}

} // namespace ostrelvan
