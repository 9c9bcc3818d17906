#include "connections/stream_role.h"

#include <iostream>
#include <stdexcept>

#include "answers/handlers.h"

namespace kvrecorder {
namespace {

// Bounds what the system holds for one slow watcher, and how old its pictures are when they arrive.
constexpr int kStreamSendBuffer = 256 * 1024;

}  // namespace

StreamRole::StreamRole(Link& link, RecorderModel& model, SoundHub& sounds, std::shared_ptr<RecordQueue> queue,
                       Start start)
    : link_(link), model_(model), sounds_(sounds), queue_(std::move(queue)), start_(std::move(start)) {}

void StreamRole::Begin() {
    link_.SetSendBuffer(kStreamSendBuffer);
    const SnapshotPtr state = model_.Current();
    if (const Channel* channel = state->Configured(start_.channel)) {
        Subscribe(*channel);
    }
    if (!subscription_) {
        const Reply refusal = Refuse(404);
        link_.EndWith(MakeReplyHead(refusal) + refusal.body);
        return;
    }
    SubscribeSound();
    link_.Send(start_.head);
    CheckRight();  // the state may have changed since the request was judged
}

void StreamRole::OnWoken() {
    if (!link_.Sending()) {
        NextRecord();
    }
}

void StreamRole::OnChanged(Change change) {
    if (change == Change::Configuration && CheckRight()) {
        FollowSource();
    }
}

// Waits for a picture that is on its way to the queue, and never for this connection.
void StreamRole::Release() {
    subscription_.reset();
    sound_.reset();
}

void StreamRole::Subscribe(const Channel& channel) {
    sourceNumber_ = channel.sourceNumber;
    subscription_ = model_.Hub().Subscribe(start_.channel, start_.stream, MakeSink());
}

// For those who may hear it. A channel whose sound cannot be made is a silent one.
void StreamRole::SubscribeSound() {
    const SnapshotPtr state = model_.Current();
    const Channel* channel = state->Configured(start_.channel);
    std::optional<SoundConfig> wanted;
    if (channel && channel->config.audio && start_.login.Has(*state, Right::Audio, start_.channel)) {
        wanted = channel->config.sound;
    }
    if (wanted == heard_) {
        return;
    }
    sound_.reset();
    heard_ = wanted;
    try {
        sound_ = wanted ? sounds_.Subscribe(start_.channel, *wanted, MakeSink()) : nullptr;
    } catch (const std::runtime_error& failure) {
        std::cerr << "kvrecorder: channel " << start_.channel << " is silent: " << failure.what()
                  << std::endl;
    }
}

std::function<void(const PacketPtr&)> StreamRole::MakeSink() {
    return [queue = queue_, wake = link_.Waker()](const PacketPtr& packet) {
        if (queue->Push(packet)) {
            wake();
        }
    };
}

bool StreamRole::CheckRight() {
    if (!start_.login.Has(*model_.Current(), Right::Monitor, start_.channel)) {
        link_.End();
        return false;
    }
    SubscribeSound();
    return true;
}

// A channel's new source goes on in the same connection.
void StreamRole::FollowSource() {
    const SnapshotPtr state = model_.Current();
    const Channel* channel = state->Configured(start_.channel);
    if (!channel || channel->sourceNumber == sourceNumber_) {
        return;
    }
    subscription_.reset();
    queue_->Restart();
    Subscribe(*channel);
    if (!subscription_) {
        link_.End();
    }
}

void StreamRole::NextRecord() {
    PacketPtr packet = queue_->Pop();
    if (!packet) {
        return;
    }
    const auto head = MakeRecordHead(*packet, recordNumber_++);
    recordText_.assign(head.begin(), head.end());
    if (packet->IsSound()) {
        const auto block = MakeSoundBlock(*packet);
        recordText_.append(block.begin(), block.end());
    }
    link_.Send(recordText_, std::move(packet));
}

}  // namespace kvrecorder
