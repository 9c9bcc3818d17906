// Requests to the recorder's interface, one after the other, on threads that the window does not wait for.
#pragma once

#include <QtCore/QJsonObject>
#include <deque>
#include <functional>
#include <memory>
#include <string>

#include "platform/worker.h"
#include "server/http/api_call.h"
#include "skin/window_base.h"

namespace kvmon {

struct ApiAnswer {
    int status = 0;       // 0: none came
    QJsonObject json;     // empty for what is none
    std::string picture;  // the body where it is none

    bool IsGood() const { return status >= 200 && status < 300; }
};

// User interface thread only. At its end what is under way is told to stop, and nothing more comes.
class ApiCaller final : public WindowBase {
public:
    using Done = std::function<void(const ApiAnswer&)>;

    explicit ApiCaller(ApiTarget target) : m_target(std::move(target)) {}
    ~ApiCaller() override;

    // `done` is called from the event loop. Of more than 16 that wait the last is answered with status 0.
    void Call(const char* method, const std::string& path, const QJsonObject& body, Done done);
    void Get(const std::string& path, Done done) { Call("GET", path, {}, std::move(done)); }

protected:
    LParam OnMessage(std::uint32_t message, WParam wParam, LParam lParam) override;

private:
    struct Request {
        std::string method;
        std::string path;
        std::string body;
        Done done;
    };
    struct State {
        FlagWord abort{0};
        ApiReply reply;  // of the thread until its message
    };
    void Next();

    const ApiTarget m_target;
    std::deque<Request> m_waiting;  // the first one is under way
    std::shared_ptr<State> m_state;
    Worker m_thread;
};

}  // namespace kvmon
