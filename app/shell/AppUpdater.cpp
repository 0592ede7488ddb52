#include "app/shell/AppUpdater.h"

#include "app/services/Log.h"
#include "app/shell/AppUpdaterConfiguration.h"

#include <QPointer>

namespace ostrelvan {

AppUpdater::AppUpdater(const BundleInfo& info, bool enabled, const ServiceFactory& makeService,
                       QObject* parent)
    : QObject(parent), versionLine_(AppUpdaterConfiguration::versionLine(info)) {
    if (!enabled || !makeService || !AppUpdaterConfiguration::isConfigured(info, {})) {
        return;
    }
    // The updater reads "SUFeedURL" itself unless told otherwise: it is told only when the
    // validated address differs from the raw value (spaces around it, say).
    const std::string raw = info.find("SUFeedURL")->second;
    std::optional<std::string> feed = AppUpdaterConfiguration::webURL(raw);
    if (feed == raw) {
        feed.reset();
    }
    service_ = makeService(feed);
}

AppUpdater::~AppUpdater() = default;

void AppUpdater::start() {
    if (!service_ || isStarted_) {
        return;
    }
    isStarted_ = true;
    qCInfo(appLog, "updater started");
    QPointer<AppUpdater> self(this);
    service_->start([self](bool canCheck) {
        if (self && self->canCheckNow_ != canCheck) {
            self->canCheckNow_ = canCheck;
            emit self->changed();
        }
    });
    emit changed();
}

void AppUpdater::checkForUpdates() {
    if (service_ && canCheckNow_) {
        service_->checkForUpdates();
    }
}

} // namespace ostrelvan
