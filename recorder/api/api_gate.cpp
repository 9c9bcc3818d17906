#include "api/api_gate.h"

#include "answers/sign_in.h"
#include "api/api_reply.h"
#include "state/text.h"

namespace kvrecorder {
namespace {

std::size_t BodyBytes(const HttpRequest& request) {
    if (request.contentLength.empty()) {
        return 0;
    }
    const auto bytes = ParseNumber<std::uint64_t>(request.contentLength, 0, UINT64_MAX);
    if (!bytes) {
        throw ApiError(400, FaultCode::LengthWrong);
    }
    if (*bytes > kMaxBodyBytes) {
        throw ApiError(413, {FaultCode::BodyTooLarge, {{"limit", kMaxBodyBytes}}});
    }
    return static_cast<std::size_t>(*bytes);
}

}  // namespace

Admission Admit(const HttpRequest& request, const Snapshot& state, RecorderModel& model,
                std::string_view peer) {
    Admission admission;
    const User* user = nullptr;
    admission.refusal = RefuseLogin(model, state.server.logins, request, peer, [&] {
        user = state.Authorize(request.user, request.password.View());
        return user != nullptr;
    });
    if (admission.refusal) {
        return admission;
    }
    admission.user = user->name;
    try {
        if (!user->admin) {
            throw ApiError(403, FaultCode::NotAdministrator);
        }
        admission.bodyBytes = BodyBytes(request);
        const bool carries = request.method == "POST" || request.method == "PATCH";
        if ((carries || admission.bodyBytes > 0) && request.contentType != "application/json") {
            throw ApiError(415, FaultCode::TypeWrong);
        }
    } catch (const ApiError& error) {
        admission.refusal = MakeError(error);
        admission.refusal->user = user->name;
    }
    return admission;
}

}  // namespace kvrecorder
