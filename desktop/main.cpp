// ostrelvan-desktop: the widget at the right edge of the screen, over this machine's sessions, over
// canned demo sessions (--design-preview), or rendered once to a picture (--screenshot).
#include "app/look/Compositor.h"
#include "app/look/DesktopPreferencesMonitor.h"
#include "app/look/DisplayServer.h"
#include "app/services/AppSettings.h"
#include "app/services/Log.h"
#include "app/services/QtProcessStarter.h"
#include "app/services/SessionOpening.h"
#include "app/shell/AppIcon.h"
#include "app/shell/DesktopApp.h"
#include "app/store/AcknowledgedStore.h"
#include "app/store/LiveSessionStore.h"
#include "app/store/SessionStore.h"
#include "app/store/SettingsKeyValueStore.h"
#include "app/store/UserFolders.h"
#include "app/widget/LiveWidget.h"
#include "app/widget/WidgetFeed.h"
#include "app/widget/WidgetModel.h"
#include "app/widget/WidgetPanelController.h"
#include "app/widget/WidgetRootView.h"
#include "base/Environment.h"
#include "desktop/DesignPreview.h"

#include <QApplication>
#include <QImage>
#include <QLoggingCategory>
#include <QPainter>
#include <algorithm>
#include <cctype>
#include <functional>
#include <iostream>
#include <memory>
#include <optional>
#include <string>
#include <vector>

using namespace ostrelvan;

namespace {

constexpr int usageError = 2;
// A screenshot's canvas unless OSTRELVAN_PREVIEW_HEIGHT says otherwise.
constexpr double screenshotHeight = 600;
// A preview's glass asks for the default blur.
constexpr double previewBlur = 8;

std::string usage() {
    std::string targets;
    for (const auto& target : DesignPreview::targets())
        targets += (targets.empty() ? "" : ", ") + target;
    return R"(usage: ostrelvan-desktop [options]

Shows every Claude Code session on this machine as a lamp at the right edge of the screen;
hover over the lamps for the list.

options:
  --design-preview TARGET   canned demo sessions with scripted changes instead of live data;
                            TARGET is one of )" +
           targets + R"(
  --screenshot FILE         render the widget to a PNG file and exit (live data unless
                            --design-preview is given; needs no display)
  --expanded                show the session panel open
  -h, --help                show this help
  --version                 show the version

environment:
  OSTRELVAN_DATA_DIR           where session files live (default ~/.local/share/Ostrelvan)
  CLAUDE_CONFIG_DIR            Claude Code's configuration folder (default ~/.claude)
  OSTRELVAN_PREVIEW_HEIGHT     canvas height in points for a preview or a screenshot
                               (default: the screen's available height; 600 for a screenshot)
  OSTRELVAN_PREVIEW_BACKDROP   what a screenshot shows behind the glass: a colour such as
                               #203040, or "wallpaper" (default: transparent)
  OSTRELVAN_PREVIEW_BLUR       0: a screenshot shows the glass as a desktop without blur
                               does, nearly opaque (default: as over a blur)
)";
}

struct Options {
    std::optional<std::string> previewTarget;
    std::optional<std::string> screenshot;
    bool expanded = false;
};

int usageFailure(const std::string& message) {
    std::cerr << "ostrelvan-desktop: " << message << "\n\n" << usage();
    return usageError;
}

// The options, or the exit status when there is nothing more to do.
std::optional<Options> parse(const std::vector<std::string>& arguments, int& exitStatus) {
    Options options;
    for (std::size_t i = 0; i < arguments.size(); ++i) {
        const std::string& argument = arguments[i];
        const bool hasValue = i + 1 < arguments.size();
        if (argument == "-h" || argument == "--help") {
            std::cout << usage();
            exitStatus = 0;
            return std::nullopt;
        }
        if (argument == "--version") {
            std::cout << "ostrelvan-desktop " << OSTRELVAN_VERSION << "\n";
            exitStatus = 0;
            return std::nullopt;
        }
        if (argument == "--design-preview" || argument == "--screenshot") {
            if (!hasValue) {
                exitStatus = usageFailure(argument + " needs " +
                                          (argument == "--screenshot" ? "a file" : "a target"));
                return std::nullopt;
            }
            std::string value = arguments[++i];
            if (argument == "--screenshot") {
                options.screenshot = value;
                continue;
            }
            std::transform(value.begin(), value.end(), value.begin(),
                           [](unsigned char c) { return char(std::tolower(c)); });
            if (!DesignPreview::isTarget(value)) {
                exitStatus = usageFailure("unknown design preview target '" + value + "'");
                return std::nullopt;
            }
            options.previewTarget = value;
        } else if (argument == "--expanded") {
            options.expanded = true;
        } else {
            exitStatus = usageFailure("unknown argument '" + argument + "'");
            return std::nullopt;
        }
    }
    return options;
}

std::optional<double> previewHeight() {
    bool ok = false;
    const double height = qEnvironmentVariable("OSTRELVAN_PREVIEW_HEIGHT").toDouble(&ok);
    if (ok && height >= 100 && height <= 10000)
        return height;
    return std::nullopt;
}

// The actions the application shell will own; until then they are only logged.
WidgetActions loggingActions() {
    WidgetActions actions;
    actions.open = [](const DisplayedSession& session, std::optional<std::uint32_t>) {
        qCInfo(appLog) << "open" << QString::fromStdString(session.id());
    };
    actions.showInFinder = [](const DisplayedSession& session) {
        qCInfo(appLog) << "show in file manager" << QString::fromStdString(session.state.folder());
    };
    actions.connect = [] { qCInfo(appLog) << "connect"; };
    actions.restart = [] { qCInfo(appLog) << "restart"; };
    actions.openSettings = [] { qCInfo(appLog) << "open settings"; };
    actions.quit = [] { QCoreApplication::quit(); };
    return actions;
}

// This machine's sessions feeding the widget of a screenshot, and the hooks' connection from the
// settings.
class LiveFeed {
public:
    LiveFeed(const UserFolders& folders, WidgetFeed& feed)
        : settings_(defaults_), acknowledged_(defaults_),
          store_(LiveSessionStore::make(folders, acknowledged_, folders.liveSystem(),
                                        [this] { return seconds(settings_.reviewFade()); })) {
        QObject::connect(&store_, &SessionStore::groupsChanged, &feed,
                         [this, &feed] { feed.setGroups(store_.groups()); });
        QObject::connect(&settings_, &AppSettings::changed, &feed,
                         [this, &feed] { feed.setConnected(settings_.hooksConnected()); });
        feed.setConnected(settings_.hooksConnected());
        store_.start();
        feed.setGroups(store_.groups());
    }

    AppSettings& settings() { return settings_; }

private:
    SettingsKeyValueStore defaults_;
    AppSettings settings_;
    AcknowledgedStore acknowledged_;
    SessionStore store_;
};

// Paints what a screenshot shows behind the translucent glass.
void paintBackdrop(QImage& image, const QString& backdrop) {
    if (backdrop.isEmpty())
        return;
    QImage composed(image.size(), QImage::Format_ARGB32_Premultiplied);
    composed.setDevicePixelRatio(image.devicePixelRatio());
    QPainter painter(&composed);
    const QRectF area(QPointF(0, 0), image.deviceIndependentSize());
    if (backdrop == QLatin1String("wallpaper")) {
        QLinearGradient sky(area.topLeft(), area.bottomRight());
        sky.setColorAt(0, QColor(44, 83, 100));
        sky.setColorAt(0.55, QColor(32, 58, 67));
        sky.setColorAt(1, QColor(15, 32, 39));
        painter.fillRect(area, sky);
        QRadialGradient glow(QPointF(area.width() * 0.3, area.height() * 0.35), area.width() * 0.6);
        glow.setColorAt(0, QColor(255, 170, 110, 90));
        glow.setColorAt(1, QColor(255, 170, 110, 0));
        painter.fillRect(area, glow);
    } else {
        painter.fillRect(area, QColor(backdrop));
    }
    painter.drawImage(area, image);
    painter.end();
    image = composed;
}

int screenshot(WidgetPanelController& controller, const std::string& file, bool expanded) {
    controller.show(expanded, false, previewHeight().value_or(screenshotHeight));
    QCoreApplication::processEvents();
    auto& canvas = controller.rootView();
    canvas.finishTransitions();
    QImage image = canvas.grab().toImage();
    paintBackdrop(image, qEnvironmentVariable("OSTRELVAN_PREVIEW_BACKDROP"));
    if (!image.save(QString::fromStdString(file), "PNG")) {
        std::cerr << "ostrelvan-desktop: could not write " << file << "\n";
        return 1;
    }
    return 0;
}

// The application: the tray, the settings window, sounds and start-up around the widget, with
// the opener that takes a click to the session's window.
int runLive(QApplication& app, const UserFolders& folders) {
    QtProcessStarter starter;
    SessionOpening opening(
        starter, SessionOpening::Machine::live(folders.claudeConfig(), folders.environment()));
    DesktopParts parts;
    parts.makeWidget = [](const WidgetContext& context) {
        return std::make_unique<LiveWidget>(context);
    };
    parts.openSession = [&opening](const DisplayedSession& session,
                                   std::optional<std::uint32_t> userTime) {
        opening.open(session, userTime);
    };
    parts.showInFinder = [&opening](const DisplayedSession& session) {
        opening.showInFileManager(session);
    };
    return runDesktopApp(app, folders, std::move(parts));
}

} // namespace

int main(int argc, char* argv[]) {
    int exitStatus = 0;
    const auto options = parse({argv + 1, argv + argc}, exitStatus);
    if (!options)
        return exitStatus;

    // Live data is read only from folders that do not depend on where this was started.
    Environment environment = processEnvironment();
    if (!options->previewTarget) {
        if (const auto refusal = UserFolders::settle(environment)) {
            std::cerr << "ostrelvan-desktop: " << *refusal << "\n";
            return usageError;
        }
    }
    const UserFolders folders(environment);

    // A screenshot needs no display.
    if (options->screenshot && qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    DisplayServer::preferXcbOnWayland();

    QApplication app(argc, argv);
    QCoreApplication::setOrganizationName(QStringLiteral("Ostrelvan"));
    QCoreApplication::setApplicationName(QStringLiteral("Ostrelvan"));
    QCoreApplication::setApplicationVersion(QStringLiteral(OSTRELVAN_VERSION));
    AppIcon::applyToApplication();
    // The widget and, later, the tray keep running with no window open.
    QApplication::setQuitOnLastWindowClosed(false);
    qCInfo(appLog).noquote() << "platform" << QGuiApplication::platformName();
    if (!options->previewTarget && !options->screenshot)
        return runLive(app, folders);

    WidgetFeed feed;
    WidgetModel model;
    WidgetPanelController controller(feed, loggingActions(), model);

    // The desktop's appearance and motion settings, and what the window server does with
    // translucency. A screenshot composes its own backdrop, as a window server that blurs would,
    // unless OSTRELVAN_PREVIEW_BLUR is 0.
    DesktopPreferencesMonitor desktop;
    CompositorMonitor compositor;
    const auto server = [&] {
        if (options->screenshot)
            return WindowServerGlass{true, qEnvironmentVariable("OSTRELVAN_PREVIEW_BLUR") !=
                                               QLatin1String("0")};
        return WindowServerGlass{compositor.compositing(), compositor.blur()};
    };
    std::unique_ptr<DesignPreview> preview;
    std::unique_ptr<LiveFeed> live;
    std::function<void()> applyLook;
    if (options->previewTarget) {
        preview = std::make_unique<DesignPreview>(*options->previewTarget, feed);
        // A preview is dark unless its target says otherwise, so that its pictures do not
        // depend on the desktop they were taken on.
        applyLook = [&] {
            controller.setLook(
                preview->look(widgetLook(desktop.current(), GlassAppearance::dark,
                                         WidgetLook{}.tint, true, server(), previewBlur)),
                previewBlur);
        };
    } else {
        live = std::make_unique<LiveFeed>(folders, feed);
        AppSettings* settings = &live->settings();
        applyLook = [&, settings] {
            controller.setLook(widgetLook(desktop.current(), *settings, server()),
                               settings->glassBlur());
        };
        QObject::connect(settings, &AppSettings::changed, &controller, applyLook);
    }
    QObject::connect(&desktop, &DesktopPreferencesMonitor::changed, &controller, applyLook);
    QObject::connect(&compositor, &CompositorMonitor::changed, &controller, applyLook);
    applyLook();
    if (!compositor.compositing())
        qCInfo(appLog) << "no compositing manager: the glass is drawn opaque";

    if (options->screenshot)
        return screenshot(controller, *options->screenshot, options->expanded);

    const bool expanded = options->expanded || (preview && preview->opensExpanded());
    controller.show(expanded, true, previewHeight());
    if (preview)
        preview->play();
    return QApplication::exec();
}
