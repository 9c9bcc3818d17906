// The interface below /api/v1/: which cameras are served, and changes of them. docs/recorder_api.md tells it
// to those who use it.
#pragma once

#include <functional>
#include <memory>
#include <span>
#include <string>
#include <string_view>

#include "answers/http_request.h"
#include "answers/reply.h"
#include "api/camera_tools.h"
#include "api/config_changes.h"
#include "media/secret.h"
#include "state/recorder_model.h"

namespace kvrecorder {

struct ApiSetup {
    std::string version;                     // the program's
    std::shared_ptr<ConfigChanges> changes;  // null: there is no file to keep them in
    CameraTools tools;
};

struct ApiCall {
    HttpRequest request;  // of a user who may
    std::string user;
    Secret body;
};

// A path, with a name in braces for each number in it.
struct ApiPath {
    std::string_view method;
    std::string_view path;
};

class RecorderApi {
public:
    // The model outlives it.
    RecorderApi(RecorderModel& model, ApiSetup setup);
    ~RecorderApi();
    RecorderApi(const RecorderApi&) = delete;
    RecorderApi& operator=(const RecorderApi&) = delete;

    // Returns at once. `done` is called once, on a thread of its own as a rule; not after Stop().
    void Handle(std::shared_ptr<const ApiCall> call, std::function<void(Reply)> done);
    // Ends searches and tests, and waits for the change that is under way.
    void Stop();

    static std::span<const ApiPath> Paths();

private:
    class Impl;
    std::unique_ptr<Impl> m_impl;
};

}  // namespace kvrecorder
