#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>

namespace ostrelvan {

// The platform's updater (Sparkle on macOS). Linux has none: the package manager updates the app.
class UpdateService {
public:
    virtual ~UpdateService() = default;
    // Starts checking on the updater's own schedule; `canCheck` hears whether a check can be
    // asked for now, once at once and then on every change, always on the main thread.
    virtual void start(std::function<void(bool canCheck)> canCheck) = 0;
    virtual void checkForUpdates() = 0;
};

namespace UpdateServices {

// None where this build has no updater. `feedURL`, when given, is the feed to use instead of
// the raw "SUFeedURL" value of the bundle.
std::unique_ptr<UpdateService> make(const std::optional<std::string>& feedURL);

} // namespace UpdateServices

} // namespace ostrelvan
