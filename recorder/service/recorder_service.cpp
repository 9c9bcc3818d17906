#include "service/recorder_service.h"

#include <asio/executor_work_guard.hpp>
#include <asio/io_context.hpp>
#include <asio/ip/tcp.hpp>
#include <asio/post.hpp>
#include <asio/steady_timer.hpp>
#include <asio/strand.hpp>

#include <cstdio>
#include <thread>

#include "connections/camera_port.h"
#include "connections/connection.h"
#include "connections/listener.h"
#include "connections/search_port.h"
#include "service/control_commands.h"
#include "service/control_socket.h"

namespace kvrecorder {

using asio::ip::tcp;

namespace {

constexpr std::chrono::seconds kDiskPause{10};
constexpr std::chrono::milliseconds kTornPause{50};

}  // namespace

class RecorderService::Impl {
public:
    Impl(std::shared_ptr<RecorderModel> model, ServiceOptions options)
        : m_model(std::move(model)), m_options(std::move(options)) {}

    void Start() {
        m_listener.Open(m_options.address, m_options.port);
        if (m_options.api) {
            m_api = std::make_unique<RecorderApi>(*m_model, *m_options.api);
        }
        if (!m_options.cameraAddress.empty()) {
            m_cameras = std::make_unique<CameraPort>(
                m_io, *m_model,
                CameraConnection::Timing{m_options.headTime, m_options.stallTime, m_options.lingerTime});
            m_cameras->Open(m_options.cameraAddress, m_options.cameraPort);
            m_cameras->Begin();
        }
        if (!m_options.searchAddress.empty()) {
            OpenSearch();
        }
        if (!m_options.controlPath.empty()) {
            m_control =
                std::make_unique<ControlSocket>(m_io, m_options.controlPath, [this](std::string_view line) {
                    return RunControlCommand(*m_model, line, m_options.onStop);
                });
        }
        m_model->SetListener([this](Change change) {
            for (const auto& connection : m_set.All()) {
                connection->Changed(change);
            }
            if (m_cameras && change == Change::Configuration) {
                m_cameras->Changed();
            }
        });
        m_listener.Begin();
        WatchDisk();
        WatchRefusals();
        for (int i = 0; i < m_options.threads; ++i) {
            m_threads.emplace_back([this] { Work(); });
        }
    }

    void Stop() {
        if (m_stopped) {
            return;
        }
        m_stopped = true;
        try {
            SayFarewell();
        } catch (const std::exception&) {
            // Who could not be told finds the connection closed.
        }
        if (m_api) {
            m_api->Stop();
        }
        m_work.reset();
        m_io.stop();
        for (std::thread& thread : m_threads) {
            thread.join();
        }
        // One that came in at the last moment goes before what its socket stands on.
        for (const auto& connection : m_set.All()) {
            connection->Abandon();
            m_set.Remove(connection);
        }
        if (m_cameras) {
            m_cameras->Abandon();
        }
    }

    void Ask(std::function<void()> answer) { asio::post(m_io, std::move(answer)); }

    std::string Endpoint() const { return m_listener.Endpoint(); }
    std::string CameraEndpoint() const { return m_cameras ? m_cameras->Endpoint() : ""; }
    std::uint16_t Port() const { return m_listener.Port(); }
    std::uint16_t SearchedAt() const { return m_search ? m_search->Port() : 0; }
    std::string SearchProblem() const { return m_searchProblem; }

    ServiceCounters Counters() const {
        ServiceCounters counters;
        for (const auto& connection : m_set.All()) {
            ++counters.connections;
            counters.streams += connection->Streaming() ? 1 : 0;
            counters.queuedBytes += connection->Queued();
            counters.droppedRecords += connection->Dropped();
        }
        return counters;
    }

private:
    void OpenSearch() {
        m_search = std::make_unique<kvrecorder::SearchPort>(m_io, *m_model);
        try {
            m_search->Open(m_options.searchAddress, m_options.searchPort, m_listener.Port());
            m_search->Begin();
        } catch (const ConfigError& failure) {
            m_search.reset();
            m_searchProblem = failure.what();
        }
    }

    void SayFarewell() {
        m_model->SetListener(nullptr);
        asio::post(m_strand, [this] {
            m_stopping = true;
            m_disk.cancel();
            m_refusals.cancel();
        });
        m_listener.Close([this] {
            for (const auto& connection : m_set.All()) {
                connection->Shutdown();
            }
        });
        if (m_control) {
            m_control->Stop();
        }
        if (m_search) {
            m_search->Close();
        }
        if (m_cameras && !m_threads.empty()) {
            m_cameras->Stop(std::chrono::milliseconds(500));
        }
        if (!m_threads.empty() && !m_set.WaitEmpty(std::chrono::milliseconds(500))) {
            // Notification clients that have not closed their side yet.
            for (const auto& connection : m_set.All()) {
                connection->Close();
            }
            m_set.WaitEmpty(std::chrono::milliseconds(2000));
        }
    }

    // A handler that throws, mostly since memory is short, ends there; whoever listens or watches is begun
    // anew.
    void Work() {
        bool torn = false;
        while (!m_io.stopped()) {
            try {
                if (torn) {
                    m_listener.Resume();
                    if (m_control) {
                        m_control->Resume();
                    }
                    if (m_cameras) {
                        m_cameras->Begin();
                    }
                    if (m_search) {
                        m_search->Begin();
                    }
                    asio::post(m_strand, [this] {
                        WatchDisk();
                        WatchRefusals();
                    });
                    torn = false;
                }
                m_io.run();
            } catch (const std::exception&) {
                torn = true;
                std::this_thread::sleep_for(kTornPause);
            }
        }
    }

    void Admit(tcp::socket socket) {
        std::error_code ignored;
        const SourceAddress from(socket.remote_endpoint(ignored).address().to_string());
        const Timing timing{m_options.headTime, m_options.stallTime, m_options.lingerTime, m_options.talkTime,
                            m_options.notifyPause};
        const auto connection = std::make_shared<Connection>(
            std::move(socket), ConnectionHost{*m_model, m_set, *m_sounds, m_talks, m_api.get(), timing});
        if (m_set.Admit(Places(m_model->Current()->server), from, connection)) {
            connection->Start();
        }
    }

    // On m_strand; one that waits already begins to wait anew.
    void WatchDisk() {
        if (m_stopping) {
            return;
        }
        m_disk.expires_after(kDiskPause);
        m_disk.async_wait([this](const std::error_code& ended) {
            if (ended || m_stopping) {
                return;
            }
            m_model->CheckDisk();
            WatchDisk();
        });
    }

    void WatchRefusals() {
        if (m_stopping) {
            return;
        }
        m_refusals.expires_after(m_options.refusalPause);
        m_refusals.async_wait([this](const std::error_code& ended) {
            if (ended || m_stopping) {
                return;
            }
            for (const std::string& line : m_model->TellRefusals()) {
                if (m_options.onRefusals) {
                    m_options.onRefusals(line);
                }
            }
            WatchRefusals();
        });
    }

    const std::shared_ptr<RecorderModel> m_model;
    const ServiceOptions m_options;
    TalkBook m_talks;
    const std::unique_ptr<SoundHub> m_sounds = CreateSoundHub(m_options.mediaClock);
    std::unique_ptr<RecorderApi> m_api;
    ConnectionSet m_set;
    asio::io_context m_io;
    asio::executor_work_guard<asio::io_context::executor_type> m_work{m_io.get_executor()};
    Listener m_listener{m_io, [this](tcp::socket socket) { Admit(std::move(socket)); }};
    std::unique_ptr<CameraPort> m_cameras;
    std::unique_ptr<kvrecorder::SearchPort> m_search;
    std::string m_searchProblem;
    asio::strand<asio::io_context::executor_type> m_strand{m_io.get_executor()};
    asio::steady_timer m_disk{m_strand};
    asio::steady_timer m_refusals{m_strand};
    bool m_stopping = false;  // on m_strand
    bool m_stopped = false;   // by the owner's thread
    std::unique_ptr<ControlSocket> m_control;
    std::vector<std::thread> m_threads;
};

RecorderService::RecorderService(std::shared_ptr<RecorderModel> model, ServiceOptions options)
    : m_impl(std::make_unique<Impl>(std::move(model), std::move(options))) {}

RecorderService::~RecorderService() {
    m_impl->Stop();
}

void RecorderService::Start() {
    m_impl->Start();
}

void RecorderService::Ask(std::function<void()> answer) {
    m_impl->Ask(std::move(answer));
}

std::string RecorderService::Endpoint() const {
    return m_impl->Endpoint();
}

std::string RecorderService::CameraEndpoint() const {
    return m_impl->CameraEndpoint();
}

std::uint16_t RecorderService::SearchPort() const {
    return m_impl->SearchedAt();
}

std::string RecorderService::SearchProblem() const {
    return m_impl->SearchProblem();
}

std::uint16_t RecorderService::Port() const {
    return m_impl->Port();
}

ServiceCounters RecorderService::Counters() const {
    return m_impl->Counters();
}

void RecorderService::Stop() {
    m_impl->Stop();
}

}  // namespace kvrecorder
