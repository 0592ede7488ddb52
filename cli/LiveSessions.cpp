#include "LiveSessions.h"

#include "ClaudeRegistry.h"
#include "DataPaths.h"
#include "ProcessTable.h"

namespace ostrelvan::cli {

LiveSessions::LiveSessions(const CommandContext& context, KeyValueStore& defaults)
    : acknowledged_(defaults),
      store_(SessionFileStore(DataPaths::sessions(context.environment)), acknowledged_,
             ProcessTable::isAlive, wallClockNow,
             ClaudeRegistry::configDirectory(context.home, context.environment),
             ClaudeSystem::live(context.home, context.environment),
             [&settings = context.settings] { return seconds(settings.reviewFade()); }) {}

} // namespace ostrelvan::cli
