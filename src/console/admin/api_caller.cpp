#include "console/admin/api_caller.h"

#include <QtCore/QJsonDocument>

namespace kvmon {

namespace {

constexpr std::uint32_t kMsgAnswered = 1100;
constexpr std::size_t kMostWaiting = 16;
constexpr const char* kRoot = "/api/v1";

}  // namespace

ApiCaller::~ApiCaller() {
    if (m_state) {
        m_state->abort = 1;
    }
}

void ApiCaller::Call(const char* method, const std::string& path, const QJsonObject& body, Done done) {
    const std::string text =
        body.isEmpty() ? std::string() : QJsonDocument(body).toJson(QJsonDocument::Compact).toStdString();
    m_waiting.push_back({method, kRoot + path, text, std::move(done)});
    if (m_waiting.size() > kMostWaiting) {
        m_waiting.back().method.clear();
    }
    if (m_waiting.size() == 1) {
        Next();
    }
}

void ApiCaller::Next() {
    m_state = std::make_shared<State>();
    const Request& request = m_waiting.front();
    const auto ask = [state = m_state, target = m_target, method = request.method, path = request.path,
                      body = request.body, receiver = Handle()] {
        state->reply = CallRecorderApi(target, method, path, body, state->abort);
        receiver.Post(kMsgAnswered, 0, 0);
    };
    if (request.method.empty() || !m_thread.Start("kv-api", ask)) {
        PostMessage(kMsgAnswered, 0, 0);
    }
}

LParam ApiCaller::OnMessage(std::uint32_t message, WParam wParam, LParam lParam) {
    if (message != kMsgAnswered || m_waiting.empty()) {
        return WindowBase::OnMessage(message, wParam, lParam);
    }
    // It posts last of all.
    if (!m_thread.Wait(Milliseconds(100))) {
        m_thread.Abandon();
    }
    ApiAnswer answer;
    answer.status = m_state->reply.status;
    const QJsonDocument json = QJsonDocument::fromJson(QByteArray::fromStdString(m_state->reply.body));
    answer.json = json.object();
    if (json.isNull()) {
        answer.picture = std::move(m_state->reply.body);
    }
    const Done done = std::move(m_waiting.front().done);
    m_waiting.pop_front();
    m_state.reset();
    if (!m_waiting.empty()) {
        Next();
    }
    done(answer);  // which may be the end of this object
    return 0;
}

}  // namespace kvmon
