#include "answers/sign_in.h"

#include "media/utf8.h"

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
        // The same wrong password once more is no guess, and one that is shut out is not even asked.
        if (delay.count() > 0 || !limits.Count(from.IsLoopback())) {
            TellSignIn(model, EventLevel::Warning, "refused", peer, request.user);
        }
    }
    return refusal;
}

void TellSignIn(RecorderModel& model, EventLevel level, std::string_view outcome, std::string_view peer,
                std::string_view user) {
    const std::string name = PrintableUtf8(user, kMaxUserBytes);
    model.Events().Tell(level,
                        "sign-in " + std::string(outcome) + " from " + std::string(peer) + " of " + name,
                        {"sign-in-" + std::string(outcome), -1, name, std::string(peer)});
}

}  // namespace kvrecorder
