#include "app/platform/PermissionNotifications.h"

#import <Foundation/Foundation.h>
#include <QCoreApplication>
#include <QMetaObject>
#include <QPointer>
#import <UserNotifications/UserNotifications.h>

@interface OstrelvanPermissionDelegate : NSObject <UNUserNotificationCenterDelegate>
@property(nonatomic, copy) void (^answer)(NSString* key, NSString* action);
@end

@implementation OstrelvanPermissionDelegate
- (void)userNotificationCenter:(UNUserNotificationCenter*)center
    didReceiveNotificationResponse:(UNNotificationResponse*)response
             withCompletionHandler:(void (^)(void))completionHandler {
    NSString* action = response.actionIdentifier;
    if ([action isEqualToString:@"allow"] || [action isEqualToString:@"deny"])
        self.answer(response.notification.request.identifier, action);
    completionHandler();
}

- (void)userNotificationCenter:(UNUserNotificationCenter*)center
       willPresentNotification:(UNNotification*)notification
         withCompletionHandler:(void (^)(UNNotificationPresentationOptions))completionHandler {
    completionHandler(UNNotificationPresentationOptionBanner);
}
@end

namespace ostrelvan {

namespace {
NSString* const categoryName = @"ostrelvan.permission";
}

struct PermissionNotifications::Native {
    OstrelvanPermissionDelegate* delegate = nil;
};

PermissionNotifications::PermissionNotifications(ActionHandler onAction, QObject* parent)
    : QObject(parent), native_(std::make_unique<Native>()), onAction_(std::move(onAction)) {
    UNUserNotificationCenter* center = [UNUserNotificationCenter currentNotificationCenter];
    UNNotificationAction* allow = [UNNotificationAction actionWithIdentifier:@"allow"
                                                                       title:@"Allow"
                                                                     options:0];
    UNNotificationAction* deny = [UNNotificationAction actionWithIdentifier:@"deny"
                                                                      title:@"Deny"
                                                                    options:0];
    UNNotificationCategory* category =
        [UNNotificationCategory categoryWithIdentifier:categoryName
                                               actions:@[ allow, deny ]
                                     intentIdentifiers:@[]
                                               options:0];
    [center setNotificationCategories:[NSSet setWithObject:category]];
    native_->delegate = [[OstrelvanPermissionDelegate alloc] init];
    QPointer<PermissionNotifications> owner(this);
    native_->delegate.answer = ^(NSString* key, NSString* action) {
      const std::string keyText = key.UTF8String;
      const std::string actionText = action.UTF8String;
      // The center calls on its own queue; answers belong on the main thread.
      QMetaObject::invokeMethod(qApp, [owner, keyText, actionText] {
          if (owner && owner->onAction_)
              owner->onAction_(keyText, actionText);
      });
    };
    center.delegate = native_->delegate;
    [center requestAuthorizationWithOptions:UNAuthorizationOptionAlert
                          completionHandler:^(BOOL, NSError*){
                          }];
}

PermissionNotifications::~PermissionNotifications() {
    [UNUserNotificationCenter currentNotificationCenter].delegate = nil;
}

void PermissionNotifications::show(const std::string& key, const QString& summary,
                                   const QString& body) {
    UNMutableNotificationContent* content = [[UNMutableNotificationContent alloc] init];
    content.title = summary.toNSString();
    content.body = body.toNSString();
    content.categoryIdentifier = categoryName;
    UNNotificationRequest* request =
        [UNNotificationRequest requestWithIdentifier:[NSString stringWithUTF8String:key.c_str()]
                                             content:content
                                             trigger:nil];
    [[UNUserNotificationCenter currentNotificationCenter] addNotificationRequest:request
                                                           withCompletionHandler:nil];
}

void PermissionNotifications::withdraw(const std::string& key) {
    NSArray* identifiers = @[ [NSString stringWithUTF8String:key.c_str()] ];
    UNUserNotificationCenter* center = [UNUserNotificationCenter currentNotificationCenter];
    [center removePendingNotificationRequestsWithIdentifiers:identifiers];
    [center removeDeliveredNotificationsWithIdentifiers:identifiers];
}

void PermissionNotifications::actionInvoked(uint, const QString&) {}

void PermissionNotifications::notificationClosed(uint, uint) {}

} // namespace ostrelvan
