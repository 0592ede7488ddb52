#include "Log.h"

namespace ostrelvan {

Q_LOGGING_CATEGORY(appLog, "app")
Q_LOGGING_CATEGORY(uiLog, "ui")
Q_LOGGING_CATEGORY(hooksLog, "hooks")

} // namespace ostrelvan
