#include "service/recorder_service.h"

#include <asio/executor_work_guard.hpp>
#include <asio/io_context.hpp>
#include <asio/ip/tcp.hpp>
#include <asio/steady_timer.hpp>
#include <asio/strand.hpp>

#include <cstdio>
#include <thread>

#include "connections/camera_port.h"
#include "connections/connection.h"
#include "connections/listener.h"
#include "service/control_commands.h"
#include "service/control_socket.h"

namespace kvrecorder {

using asio::ip::tcp;

namespace {

constexpr std::chrono::seconds kDiskPause{10};

}  // namespace

class RecorderService::Impl {
public:
    Impl(std::shared_ptr<RecorderModel> model, ServiceOptions options)
        : model_(std::move(model)), options_(std::move(options)) {}

    void Start() {
        listener_.Open(options_.address, options_.port);
        if (!options_.cameraAddress.empty()) {
            cameras_ = std::make_unique<CameraPort>(
                io_, *model_, CameraConnection::Timing{options_.headTime, options_.stallTime});
            cameras_->Open(options_.cameraAddress, options_.cameraPort);
            cameras_->Begin();
        }
        if (!options_.controlPath.empty()) {
            control_ = std::make_unique<ControlSocket>(
                io_, options_.controlPath,
                [this](std::string_view line) { return RunControlCommand(*model_, line, options_.onStop); });
        }
        model_->SetListener([this](Change change) {
            for (const auto& connection : set_.All()) {
                connection->Changed(change);
            }
            if (cameras_ && change == Change::Configuration) {
                cameras_->Changed();
            }
        });
        listener_.Begin();
        WatchDisk();
        for (int i = 0; i < options_.threads; ++i) {
            threads_.emplace_back([this] { io_.run(); });
        }
    }

    void Stop() {
        if (stopped_) {
            return;
        }
        stopped_ = true;
        model_->SetListener(nullptr);
        asio::post(strand_, [this] {
            stopping_ = true;
            disk_.cancel();
        });
        listener_.Close([this] {
            for (const auto& connection : set_.All()) {
                connection->Shutdown();
            }
        });
        if (control_) {
            control_->Stop();
        }
        if (cameras_ && !threads_.empty()) {
            cameras_->Stop(std::chrono::milliseconds(500));
        }
        if (!threads_.empty() && !set_.WaitEmpty(std::chrono::milliseconds(500))) {
            // Notification clients that have not closed their side yet.
            for (const auto& connection : set_.All()) {
                connection->Close();
            }
            set_.WaitEmpty(std::chrono::milliseconds(2000));
        }
        work_.reset();
        io_.stop();
        for (std::thread& thread : threads_) {
            thread.join();
        }
        for (const auto& connection : set_.All()) {
            connection->Abandon();
        }
        if (cameras_) {
            cameras_->Abandon();
        }
    }

    std::string Endpoint() const { return listener_.Endpoint(); }
    std::string CameraEndpoint() const { return cameras_ ? cameras_->Endpoint() : ""; }
    std::uint16_t Port() const { return listener_.Port(); }

    ServiceCounters Counters() const {
        ServiceCounters counters;
        for (const auto& connection : set_.All()) {
            ++counters.connections;
            counters.streams += connection->Streaming() ? 1 : 0;
            counters.queuedBytes += connection->Queued();
            counters.droppedRecords += connection->Dropped();
        }
        return counters;
    }

private:
    // At the limit the oldest connection that has not sent its request yet makes room for the new one; with
    // none such the new one is refused.
    void Admit(tcp::socket socket) {
        const auto limit = static_cast<std::size_t>(model_->Current()->server.maxConnections);
        if (set_.Size() >= limit && !DropOldestHead()) {
            return;
        }
        const Timing timing{options_.headTime, options_.stallTime, options_.lingerTime, options_.talkTime,
                            options_.notifyPause};
        const auto connection = std::make_shared<Connection>(
            std::move(socket), ConnectionHost{*model_, set_, *sounds_, talks_, timing});
        set_.Add(connection);
        connection->Start();
    }

    void WatchDisk() {
        disk_.expires_after(kDiskPause);
        disk_.async_wait([this](const std::error_code& ended) {
            if (ended || stopping_) {
                return;
            }
            model_->CheckDisk();
            WatchDisk();
        });
    }

    bool DropOldestHead() {
        std::shared_ptr<Connection> oldest;
        for (const auto& connection : set_.All()) {
            if (connection->InHead() && (!oldest || connection->Began() < oldest->Began())) {
                oldest = connection;
            }
        }
        if (oldest) {
            // Counted out at once, so that a burst does not drop more than it needs.
            set_.Remove(oldest);
            oldest->Close();
        }
        return oldest != nullptr;
    }

    const std::shared_ptr<RecorderModel> model_;
    const ServiceOptions options_;
    TalkBook talks_;
    const std::unique_ptr<SoundHub> sounds_ = CreateSoundHub(options_.mediaClock);
    ConnectionSet set_;
    asio::io_context io_;
    asio::executor_work_guard<asio::io_context::executor_type> work_{io_.get_executor()};
    Listener listener_{io_, [this](tcp::socket socket) { Admit(std::move(socket)); }};
    std::unique_ptr<CameraPort> cameras_;
    asio::strand<asio::io_context::executor_type> strand_{io_.get_executor()};
    asio::steady_timer disk_{strand_};
    bool stopping_ = false;  // on strand_
    bool stopped_ = false;   // by the owner's thread
    std::unique_ptr<ControlSocket> control_;
    std::vector<std::thread> threads_;
};

RecorderService::RecorderService(std::shared_ptr<RecorderModel> model, ServiceOptions options)
    : impl_(std::make_unique<Impl>(std::move(model), std::move(options))) {}

RecorderService::~RecorderService() {
    impl_->Stop();
}

void RecorderService::Start() {
    impl_->Start();
}

std::string RecorderService::Endpoint() const {
    return impl_->Endpoint();
}

std::string RecorderService::CameraEndpoint() const {
    return impl_->CameraEndpoint();
}

std::uint16_t RecorderService::Port() const {
    return impl_->Port();
}

ServiceCounters RecorderService::Counters() const {
    return impl_->Counters();
}

void RecorderService::Stop() {
    impl_->Stop();
}

}  // namespace kvrecorder
