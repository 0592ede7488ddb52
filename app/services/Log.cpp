#include "app/services/Log.h"

namespace ostrelvan {

Q_LOGGING_CATEGORY(appLog, "app")
Q_LOGGING_CATEGORY(uiLog, "ui")
Q_LOGGING_CATEGORY(hooksLog, "hooks")
Q_LOGGING_CATEGORY(permissionsLog, "permissions")

} // namespace ostrelvan
