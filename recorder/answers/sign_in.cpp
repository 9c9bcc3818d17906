#include "answers/sign_in.h"

namespace kvrecorder {

std::optional<Reply> RefuseLogin(RecorderModel& model, const LoginLimits& limits, const HttpRequest& request,
                                 std::string_view peer, const std::function<bool()>& right) {
    if (!request.hasAuthorization) {
        return Refuse(401);  // nothing was guessed
    }
    const SourceAddress from(peer);
    const bool shut = model.Logins().Refused(limits, from, request.user).count() > 0;
    if (!shut && right()) {
        return std::nullopt;
    }
    model.CountRefusal(from, request.user);
    Reply refusal = Refuse(shut ? 503 : 401);
    if (!shut) {
        const auto delay = model.Logins().Failed(limits, from, request.user, request.password.View());
        refusal.delayMs = static_cast<int>(delay.count());
    }
    return refusal;
}

}  // namespace kvrecorder
