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
    : m_link(link), m_model(model), m_sounds(sounds), m_queue(std::move(queue)), m_start(std::move(start)) {}

void StreamRole::Begin() {
    m_link.SetSendBuffer(kStreamSendBuffer);
    m_queue->TakerIsAtWork();  // until the head is out
    m_recordText.reserve(wire::kFrameHeaderSize + wire::kAudioReserved);
    const SnapshotPtr state = m_model.Current();
    if (const Channel* channel = state->Configured(m_start.channel)) {
        Subscribe(*channel);
    }
    if (!m_subscription) {
        const Reply refusal = Refuse(404);
        m_link.EndWith(MakeReplyHead(refusal) + refusal.body);
        return;
    }
    SubscribeSound();
    m_link.Send(m_start.head);
    CheckRight();  // the state may have changed since the request was judged
}

void StreamRole::OnWoken() {
    if (m_link.Sending()) {
        return;
    }
    if (m_begun) {
        m_link.SendRest(m_recordText, std::move(m_begun), m_sent);
    } else {
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
    m_subscription.reset();
    m_sound.reset();
}

void StreamRole::Subscribe(const Channel& channel) {
    m_sourceNumber = channel.sourceNumber;
    m_subscription = m_model.Hub().Subscribe(m_start.channel, m_start.stream, MakeSink());
}

// For those who may hear it. A channel whose sound cannot be made is a silent one.
void StreamRole::SubscribeSound() {
    const SnapshotPtr state = m_model.Current();
    const Channel* channel = state->Configured(m_start.channel);
    std::optional<SoundConfig> wanted;
    if (channel && channel->MayHaveSound() && m_start.login.Has(*state, Right::Audio, m_start.channel)) {
        wanted = channel->config.sound;
    }
    if (wanted == m_heard) {
        return;
    }
    m_sound.reset();
    m_heard = wanted;
    try {
        const bool camera = wanted && !channel->config.source.network.url.empty();
        m_sound = camera   ? m_model.Hub().SubscribeSound(m_start.channel, MakeSink())
                  : wanted ? m_sounds.Subscribe(m_start.channel, *wanted, MakeSink())
                           : nullptr;
    } catch (const std::runtime_error& failure) {
        std::cerr << "kvrecorder: channel " << m_start.channel << " is silent: " << failure.what()
                  << std::endl;
    }
}

// Whoever brings a packet while nothing is being sent sends it: a watcher that keeps up needs no other
// thread.
std::function<void(const PacketPtr&)> StreamRole::MakeSink() {
    return [this, queue = m_queue, wake = m_link.Waker()](const PacketPtr& packet) {
        if (!queue->Push(packet)) {
            return;
        }
        try {
            if (!SendWaiting()) {
                wake();
            }
        } catch (const std::exception&) {
            queue->NotWoken();
        }
    };
}

bool StreamRole::CheckRight() {
    if (!m_start.login.Has(*m_model.Current(), Right::Monitor, m_start.channel)) {
        m_link.End();
        return false;
    }
    SubscribeSound();
    return true;
}

// A channel's new source goes on in the same connection.
void StreamRole::FollowSource() {
    const SnapshotPtr state = m_model.Current();
    const Channel* channel = state->Configured(m_start.channel);
    if (!channel || channel->sourceNumber == m_sourceNumber) {
        return;
    }
    m_subscription.reset();
    m_queue->Restart();
    Subscribe(*channel);
    if (!m_subscription) {
        m_link.End();
        return;
    }
    // A camera's comes from the source.
    m_sound.reset();
    m_heard.reset();
    SubscribeSound();
}

void StreamRole::NextRecord() {
    PacketPtr packet = m_queue->Pop();
    if (!packet) {
        return;
    }
    MakeText(*packet);
    m_link.Send(m_recordText, std::move(packet));
}

bool StreamRole::SendWaiting() {
    if (m_begun) {
        return false;  // the connection could not be woken for it before
    }
    while (PacketPtr packet = m_queue->Pop()) {
        MakeText(*packet);
        m_sent = m_link.SendNow(m_recordText, *packet);
        if (m_sent < m_recordText.size() + packet->data.size()) {
            m_begun = std::move(packet);
            return false;
        }
    }
    return true;
}

void StreamRole::MakeText(const Packet& packet) {
    const auto head = MakeRecordHead(packet, m_recordNumber++);
    m_recordText.assign(head.begin(), head.end());
    if (packet.IsSound()) {
        const auto block = MakeSoundBlock(packet);
        m_recordText.append(block.begin(), block.end());
    }
}

}  // namespace kvrecorder
