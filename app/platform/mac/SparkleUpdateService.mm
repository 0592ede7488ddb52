#include "app/platform/UpdateService.h"

#import <Foundation/Foundation.h>
#import <Sparkle/Sparkle.h>

// Answers Sparkle's question for the feed: the validated address when it differs from the raw
// "SUFeedURL" value, otherwise nil, which makes Sparkle read the key itself.
@interface OstrelvanFeedDelegate : NSObject <SPUUpdaterDelegate>
@property(nonatomic, copy, nullable) NSString* feedURLString;
@end

@implementation OstrelvanFeedDelegate
- (nullable NSString*)feedURLStringForUpdater:(SPUUpdater*)updater {
    return self.feedURLString;
}
@end

// Hears the updater's canCheckForUpdates and hands it to the main thread.
@interface OstrelvanCanCheckObserver : NSObject
@property(nonatomic, copy) void (^onChange)(BOOL);
@end

@implementation OstrelvanCanCheckObserver
- (void)observeValueForKeyPath:(NSString*)keyPath
                      ofObject:(id)object
                        change:(NSDictionary<NSKeyValueChangeKey, id>*)change
                       context:(void*)context {
    const BOOL canCheck = [change[NSKeyValueChangeNewKey] boolValue];
    void (^onChange)(BOOL) = self.onChange;
    dispatch_async(dispatch_get_main_queue(), ^{
      onChange(canCheck);
    });
}
@end

namespace ostrelvan {

namespace {

class SparkleUpdateService : public UpdateService {
public:
    explicit SparkleUpdateService(const std::optional<std::string>& feedURL) {
        delegate_ = [[OstrelvanFeedDelegate alloc] init];
        if (feedURL) {
            delegate_.feedURLString = [NSString stringWithUTF8String:feedURL->c_str()];
        }
        controller_ = [[SPUStandardUpdaterController alloc] initWithStartingUpdater:NO
                                                                    updaterDelegate:delegate_
                                                                 userDriverDelegate:nil];
        observer_ = [[OstrelvanCanCheckObserver alloc] init];
    }

    ~SparkleUpdateService() override {
        if (observing_) {
            [controller_.updater removeObserver:observer_ forKeyPath:@"canCheckForUpdates"];
        }
    }

    void start(std::function<void(bool)> canCheck) override {
        [controller_ startUpdater];
        observer_.onChange = ^(BOOL value) {
          canCheck(value);
        };
        [controller_.updater
            addObserver:observer_
             forKeyPath:@"canCheckForUpdates"
                options:NSKeyValueObservingOptionInitial | NSKeyValueObservingOptionNew
                context:nil];
        observing_ = true;
    }

    void checkForUpdates() override { [controller_ checkForUpdates:nil]; }

private:
    OstrelvanFeedDelegate* delegate_ = nil;
    SPUStandardUpdaterController* controller_ = nil;
    OstrelvanCanCheckObserver* observer_ = nil;
    bool observing_ = false;
};

} // namespace

namespace UpdateServices {

std::unique_ptr<UpdateService> make(const std::optional<std::string>& feedURL) {
    return std::make_unique<SparkleUpdateService>(feedURL);
}

} // namespace UpdateServices

} // namespace ostrelvan
