#include "core/SessionActivity.h"

namespace ostrelvan {

std::string_view toString(SessionActivity activity) {
    switch (activity) {
    case SessionActivity::thinking:
        return "thinking";
    case SessionActivity::runningTests:
        return "runningTests";
    case SessionActivity::runningCommands:
        return "runningCommands";
    case SessionActivity::coding:
        return "coding";
    case SessionActivity::readingCode:
        return "readingCode";
    case SessionActivity::researching:
        return "researching";
    case SessionActivity::runningAgents:
        return "runningAgents";
    case SessionActivity::usingTools:
        return "usingTools";
    case SessionActivity::compacting:
        return "compacting";
    case SessionActivity::working:
        return "working";
    }
    return "working";
}

} // namespace ostrelvan
