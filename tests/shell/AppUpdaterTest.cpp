#include "app/shell/AppUpdater.h"

#include "app/shell/AppUpdaterConfiguration.h"

#include <gtest/gtest.h>

namespace ostrelvan {
namespace {

using namespace AppUpdaterConfiguration;

const BundleInfo configured{{"SUFeedURL", "https://updates.example.com/appcast.xml"},
                            {"SUPublicEDKey", "pWOhxxxM5o1B0n1Dh7rYdrC0a5nt+zr0Mw3K0Bhk0DE="},
                            {"CFBundleVersion", "37"},
                            {"CFBundleShortVersionString", "1.4"}};

BundleInfo with(BundleInfo info, const std::string& key, const std::string& value) {
    info[key] = value;
    return info;
}

BundleInfo without(BundleInfo info, const std::string& key) {
    info.erase(key);
    return info;
}

TEST(AppUpdaterConfiguration, NeedsAWebFeedARealKeyAndAVersionedBuild) {
    const Environment none;
    EXPECT_TRUE(isConfigured(configured, none));
    for (const auto& [feed, accepted] : {std::pair{"  https://x.example/feed.xml \t", true},
                                         {"HTTP://x.example", true},
                                         {"ftp://x.example/feed.xml", false},
                                         {"https://", false},
                                         {"x.example/feed.xml", false},
                                         {"", false}})
        EXPECT_EQ(isConfigured(with(configured, "SUFeedURL", feed), none), accepted) << feed;
    for (const auto& [key, value] : {std::pair{"CFBundleVersion", "1"},
                                     {"CFBundleVersion", "1.2"},
                                     {"SUPublicEDKey", "REPLACE_ME"},
                                     {"SUPublicEDKey", "$(SPARKLE_KEY)"},
                                     {"SUPublicEDKey", " \n"}})
        EXPECT_FALSE(isConfigured(with(configured, key, value), none)) << key << "=" << value;
    EXPECT_TRUE(isConfigured(with(configured, "CFBundleVersion", "2"), none));
    EXPECT_FALSE(isConfigured(without(configured, "CFBundleVersion"), none));
    EXPECT_EQ(publicKey(with(configured, "SUPublicEDKey", "\n abc= \n")), "abc=");
    EXPECT_EQ(buildNumber(with(configured, "CFBundleVersion", " 42 ")), 42);
    // What Linux has: a version and nothing else.
    EXPECT_FALSE(isConfigured({{"CFBundleShortVersionString", "0.1.0"}}, none));
}

TEST(AppUpdaterConfiguration, WritesTheVersionLine) {
    EXPECT_EQ(versionLine(configured), "Version 1.4 (37)");
    EXPECT_EQ(versionLine(without(configured, "CFBundleVersion")), "Version 1.4");
    EXPECT_EQ(versionLine({}), "Version ?");
    EXPECT_EQ(versionLine({{"CFBundleShortVersionString", ""}, {"CFBundleVersion", "5"}}),
              "Version ? (5)");
}

// Records what the updater asked of the platform.
struct FakeService : UpdateService {
    std::function<void(bool)> canCheck;
    int checks = 0;
    void start(std::function<void(bool)> listener) override { canCheck = std::move(listener); }
    void checkForUpdates() override { ++checks; }
};

TEST(AppUpdater, MakesAnUpdaterOnlyWhenEnabledAndConfigured) {
    std::vector<std::optional<std::string>> feeds;
    FakeService* made = nullptr;
    const AppUpdater::ServiceFactory factory = [&](const std::optional<std::string>& feed) {
        feeds.push_back(feed);
        auto service = std::make_unique<FakeService>();
        made = service.get();
        return service;
    };
    EXPECT_FALSE(AppUpdater(configured, false, factory).isConfigured());
    EXPECT_FALSE(AppUpdater(without(configured, "SUPublicEDKey"), true, factory).isConfigured());
    EXPECT_TRUE(feeds.empty());
    // Told the feed only when the raw value had to be cleaned.
    const AppUpdater cleaned(with(configured, "SUFeedURL", " https://u.example/a.xml"), true,
                             factory);
    EXPECT_EQ(feeds.back(), "https://u.example/a.xml");

    AppUpdater updater(configured, true, factory);
    EXPECT_EQ(feeds.back(), std::nullopt);
    ASSERT_TRUE(updater.isConfigured());
    updater.checkForUpdates(); // cannot check before the updater says so
    updater.start();
    EXPECT_TRUE(updater.isStarted());
    made->canCheck(true);
    EXPECT_TRUE(updater.canCheckNow());
    updater.checkForUpdates();
    EXPECT_EQ(made->checks, 1);
}

} // namespace
} // namespace ostrelvan
