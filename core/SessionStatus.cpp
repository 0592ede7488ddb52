#include "core/SessionStatus.h"

namespace ostrelvan {

std::string_view toString(SessionStatus status) {
    switch (status) {
    case SessionStatus::working:
        return "working";
    case SessionStatus::needsApproval:
        return "needsApproval";
    case SessionStatus::awaitingReview:
        return "awaitingReview";
    case SessionStatus::idle:
        return "idle";
    }
    return "idle";
}

} // namespace ostrelvan
