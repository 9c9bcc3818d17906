#include "api/recorder_api.h"

#include <array>
#include <condition_variable>
#include <deque>
#include <mutex>
#include <thread>

#include "api/api_reply.h"
#include "api/camera_changes.h"
#include "api/camera_documents.h"
#include "api/camera_jobs.h"
#include "state/text.h"

namespace kvrecorder {
namespace {

constexpr std::size_t kMostWaiting = 32;

}  // namespace

class RecorderApi::Impl {
public:
    Impl(RecorderModel& model, ApiSetup setup)
        : m_model(model),
          m_setup(std::move(setup)),
          m_jobs(m_setup.tools),
          m_changes(model, m_setup.changes.get()),
          m_thread([this] { Run(); }) {}
    ~Impl() { Stop(); }
    Impl(const Impl&) = delete;
    Impl& operator=(const Impl&) = delete;

    void Handle(std::shared_ptr<const ApiCall> call, std::function<void(Reply)> done) {
        {
            const std::lock_guard lock(m_mutex);
            if (m_stop) {
                return;
            }
            if (m_waiting.size() < kMostWaiting) {
                m_waiting.emplace_back(std::move(call), std::move(done));
                m_wake.notify_one();
                return;
            }
        }
        done(MakeError({503, FaultCode::Busy}));
    }

    void Stop() {
        {
            const std::lock_guard lock(m_mutex);
            if (std::exchange(m_stop, true)) {
                return;
            }
        }
        m_wake.notify_all();
        m_thread.join();
        m_jobs.Stop();
    }

private:
    struct Input {
        const ApiCall& call;
        int number;  // of the path; -1 without one
    };
    struct Route {
        ApiPath path;
        Reply (Impl::*handle)(const Input& input);
    };
    friend class RecorderApi;
    static const std::array<Route, 13> kRoutes;

    using Call = std::pair<std::shared_ptr<const ApiCall>, std::function<void(Reply)>>;

    void Run() {
        while (true) {
            Call next;
            {
                std::unique_lock lock(m_mutex);
                m_wake.wait(lock, [this] { return m_stop || !m_waiting.empty(); });
                if (m_stop) {
                    return;
                }
                next = std::move(m_waiting.front());
                m_waiting.pop_front();
            }
            try {
                next.second(Answer(*next.first));
            } catch (const ApiError& error) {
                next.second(MakeError(error));
            } catch (const std::exception&) {
                // Mostly for want of memory.
                next.second(MakeError({503, FaultCode::Failed}));
            }
        }
    }

    Reply Answer(const ApiCall& call) {
        std::string allowed;
        for (const Route& route : kRoutes) {
            int number = -1;
            if (!Matches(route.path.path, call.request.path, number)) {
                continue;
            }
            if (route.path.method == call.request.method) {
                return (this->*route.handle)({call, number});
            }
            allowed += (allowed.empty() ? "" : ", ") + std::string(route.path.method);
        }
        if (allowed.empty()) {
            throw ApiError(404, FaultCode::PathMissing);
        }
        Reply reply = MakeError({405, {FaultCode::MethodWrong, {{"allowed", allowed}}}});
        reply.allow = allowed;
        return reply;
    }

    static bool Matches(std::string_view pattern, std::string_view path, int& number) {
        const std::size_t open = pattern.find('{');
        if (open == std::string_view::npos) {
            return pattern == path;
        }
        const std::string_view behind = pattern.substr(pattern.find('}') + 1);
        if (path.size() <= open + behind.size() || !path.starts_with(pattern.substr(0, open)) ||
            !path.ends_with(behind)) {
            return false;
        }
        path.remove_prefix(open);
        path.remove_suffix(behind.size());
        const auto value = ParseNumber<int>(path, 0, INT32_MAX);
        number = value.value_or(-1);
        return value.has_value();
    }

    // --- cameras

    SnapshotPtr CheckChannel(int channel) const {
        SnapshotPtr state = m_model.Current();
        if (channel >= static_cast<int>(state->channels.size())) {
            throw ApiError(404, FaultCode::ChannelMissing);
        }
        return state;
    }
    void CheckCamera(int channel) const {
        if (!CheckChannel(channel)->Configured(channel)) {
            throw ApiError(404, FaultCode::CameraMissing);
        }
    }
    Reply Shown(int status, int channel, const std::string& trouble) {
        const SnapshotPtr state = CheckChannel(channel);
        Json body = {{"revision", RevisionOf(*state)},
                     {"camera", DescribeCamera(*state, m_model.Hub(), channel)}};
        if (!trouble.empty()) {
            Tell(body, "warning", {FaultCode::NotServed, {{"reason", std::string(Trim(trouble))}}});
        }
        return MakeJson(status, body);
    }
    void Note(const Input& input, const std::string& what, int channel) {
        m_model.Events().Add(EventLevel::Information, input.call.user + what + std::to_string(channel));
    }

    Reply Info(const Input& input) {
        JsonFields(input.call.body.View()).Finish();
        const SnapshotPtr state = m_model.Current();
        const Fault obstacle = m_changes.Obstacle();
        Json body = {{"api", 1},
                     {"program", "kvrecorder"},
                     {"version", m_setup.version},
                     {"name", state->server.name},
                     {"user", input.call.user},
                     {"channels", state->channels.size()},
                     {"most_channels", kMaxChannels},
                     {"can_change", obstacle.Empty()},
                     {"can_discover", m_jobs.CanSearch()},
                     {"can_test", m_jobs.CanTest()}};
        Tell(body, "why_not", obstacle);
        return MakeJson(200, body);
    }
    Reply List(const Input&) { return MakeJson(200, DescribeCameras(*m_model.Current(), m_model.Hub())); }
    Reply Show(const Input& input) { return Shown(200, input.number, {}); }
    Reply Add(const Input& input) {
        JsonFields body(input.call.body.View());
        int added = 0;
        const std::string trouble = m_changes.Add(body, added);
        Note(input, " added the camera of channel ", added);
        return Shown(201, added, trouble);
    }
    Reply Change(const Input& input) {
        CheckCamera(input.number);
        JsonFields body(input.call.body.View());
        const std::string trouble = m_changes.Change(input.number, body);
        Note(input, " changed the camera of channel ", input.number);
        return Shown(200, input.number, trouble);
    }
    Reply Move(const Input& input) {
        CheckChannel(input.number);
        JsonFields body(input.call.body.View());
        int to = 0;
        const std::string trouble = m_changes.Move(input.number, body, to);
        Note(input, " moved a camera to channel ", to);
        return Shown(200, to, trouble);
    }
    Reply Remove(const Input& input) {
        CheckCamera(input.number);
        JsonFields(input.call.body.View()).Finish();
        m_changes.Remove(input.number, input.call.request.Text("revision"));
        Note(input, " removed the camera of channel ", input.number);
        return MakeJson(200, {{"revision", RevisionOf(*m_model.Current())}});
    }

    // --- searches and tests

    Reply Search(const Input& input) {
        JsonFields(input.call.body.View()).Finish();
        m_jobs.Search();
        return MakeJson(202, DescribeSearch(m_jobs.Found()));
    }
    Reply Found(const Input&) { return MakeJson(200, DescribeSearch(m_jobs.Found())); }
    Reply BeginTest(const Input& input) {
        JsonFields body(input.call.body.View());
        const int number = m_jobs.Test(m_changes.ForTest(body));
        return MakeJson(202, DescribeTest(number, {}));
    }
    TestOutcome Outcome(int number) const {
        auto outcome = m_jobs.Tested(number);
        if (!outcome) {
            throw ApiError(404, FaultCode::TestMissing);
        }
        return *std::move(outcome);
    }
    Reply Tested(const Input& input) {
        return MakeJson(200, DescribeTest(input.number, Outcome(input.number)));
    }
    Reply Picture(const Input& input) {
        const TestOutcome outcome = Outcome(input.number);
        if (outcome.camera.picture.empty()) {
            throw ApiError(404, FaultCode::PictureMissing);
        }
        Reply reply;
        reply.type = "image/jpeg";
        reply.body.assign(outcome.camera.picture.begin(), outcome.camera.picture.end());
        return reply;
    }
    Reply DropTest(const Input& input) {
        if (!m_jobs.Drop(input.number)) {
            throw ApiError(404, FaultCode::TestMissing);
        }
        return MakeJson(200, Json::object());
    }

    RecorderModel& m_model;
    const ApiSetup m_setup;
    CameraJobs m_jobs;
    const CameraChanges m_changes;
    std::mutex m_mutex;
    std::condition_variable m_wake;
    std::deque<Call> m_waiting;
    bool m_stop = false;
    std::thread m_thread;  // last
};

const std::array<RecorderApi::Impl::Route, 13> RecorderApi::Impl::kRoutes = {{
    {{"GET", "/api/v1/info"}, &Impl::Info},
    {{"GET", "/api/v1/cameras"}, &Impl::List},
    {{"POST", "/api/v1/cameras"}, &Impl::Add},
    {{"GET", "/api/v1/cameras/{channel}"}, &Impl::Show},
    {{"PATCH", "/api/v1/cameras/{channel}"}, &Impl::Change},
    {{"DELETE", "/api/v1/cameras/{channel}"}, &Impl::Remove},
    {{"POST", "/api/v1/cameras/{channel}/move"}, &Impl::Move},
    {{"GET", "/api/v1/discovery"}, &Impl::Found},
    {{"POST", "/api/v1/discovery"}, &Impl::Search},
    {{"POST", "/api/v1/tests"}, &Impl::BeginTest},
    {{"GET", "/api/v1/tests/{test}"}, &Impl::Tested},
    {{"DELETE", "/api/v1/tests/{test}"}, &Impl::DropTest},
    {{"GET", "/api/v1/tests/{test}/picture"}, &Impl::Picture},
}};

RecorderApi::RecorderApi(RecorderModel& model, ApiSetup setup)
    : m_impl(std::make_unique<Impl>(model, std::move(setup))) {}

RecorderApi::~RecorderApi() = default;

void RecorderApi::Handle(std::shared_ptr<const ApiCall> call, std::function<void(Reply)> done) {
    m_impl->Handle(std::move(call), std::move(done));
}

void RecorderApi::Stop() {
    m_impl->Stop();
}

std::span<const ApiPath> RecorderApi::Paths() {
    static const auto paths = [] {
        std::array<ApiPath, Impl::kRoutes.size()> all;
        for (std::size_t i = 0; i < all.size(); ++i) {
            all[i] = Impl::kRoutes[i].path;
        }
        return all;
    }();
    return paths;
}

}  // namespace kvrecorder
