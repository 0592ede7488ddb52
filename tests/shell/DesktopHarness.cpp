// The live desktop shell with a stand-in for the widget, which logs what it is asked to do: end-to-
// end checks of the tray, the single instance and the sound cues run it as they will run
// ostrelvan-desktop.
#include "app/services/Log.h"
#include "app/shell/DesktopApp.h"

#include <QApplication>

namespace {

class LoggingWidget : public ostrelvan::WidgetHost {
public:
    void show() override { qCInfo(ostrelvan::uiLog, "widget shown"); }
    void setPinnedOpen(bool pinned) override {
        qCInfo(ostrelvan::uiLog, "widget pinned open: %s", pinned ? "yes" : "no");
    }
    void present() override { qCInfo(ostrelvan::uiLog, "widget presented"); }
    void collapse() override { qCInfo(ostrelvan::uiLog, "widget collapsed"); }
};

} // namespace

int main(int argc, char* argv[]) {
    QApplication application(argc, argv);
    QApplication::setApplicationName(QStringLiteral("Ostrelvan"));
    QApplication::setOrganizationName(QStringLiteral("Ostrelvan"));
    ostrelvan::Environment environment = ostrelvan::processEnvironment();
    if (const auto refusal = ostrelvan::UserFolders::settle(environment)) {
        qCritical("%s", refusal->c_str());
        return 2;
    }
    ostrelvan::DesktopParts parts;
    parts.makeWidget = [](const ostrelvan::WidgetContext&) {
        return std::make_unique<LoggingWidget>();
    };
    return ostrelvan::runDesktopApp(application, ostrelvan::UserFolders(environment),
                                    std::move(parts));
}
