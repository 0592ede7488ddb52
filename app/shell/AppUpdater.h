#pragma once

#include "app/platform/BundleInfo.h"
#include "app/platform/UpdateService.h"

#include <QObject>
#include <functional>
#include <memory>
#include <optional>
#include <string>

namespace ostrelvan {

// Updates through the platform's updater, only when the information dictionary sets them up and
// the build has an updater at all. Elsewhere (Linux, previews, tests) it only knows the version.
class AppUpdater : public QObject {
    Q_OBJECT
public:
    using ServiceFactory =
        std::function<std::unique_ptr<UpdateService>(const std::optional<std::string>& feedURL)>;

    // `enabled` only in the normal launch mode; `makeService` is asked only when the dictionary
    // sets updates up.
    AppUpdater(const BundleInfo& info, bool enabled, const ServiceFactory& makeService,
               QObject* parent = nullptr);
    ~AppUpdater() override;

    bool isConfigured() const { return service_ != nullptr; }
    const std::string& versionLine() const { return versionLine_; }
    bool isStarted() const { return isStarted_; }
    bool canCheckNow() const { return canCheckNow_; }

    // Once, last in start-up.
    void start();
    void checkForUpdates();

signals:
    void changed();

private:
    std::string versionLine_;
    std::unique_ptr<UpdateService> service_;
    bool isStarted_ = false;
    bool canCheckNow_ = false;
};

} // namespace ostrelvan
