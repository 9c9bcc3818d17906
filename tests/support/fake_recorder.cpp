#include "support/fake_recorder.h"

#include <algorithm>

#include "platform/text.h"
#include "support/recorder_texts.h"

namespace kvtest {

using kvmon::FormatText;

namespace {

std::vector<FakeChannel> NumberedChannels(int count) {
    std::vector<FakeChannel> channels;
    for (int i = 1; i <= count; ++i) {
        channels.push_back({FormatText("Channel %d", i)});
    }
    return channels;
}

}  // namespace

FakeRecorder::FakeRecorder()
    : m_bHasDocuments(false),
      m_server(std::make_unique<ScriptedServer>([this](Peer& peer) { Serve(peer); })) {}

FakeRecorder::FakeRecorder(std::string name, std::vector<FakeChannel> channels)
    : m_bHasDocuments(true),
      m_name(std::move(name)),
      m_channels(std::move(channels)),
      m_server(std::make_unique<ScriptedServer>([this](Peer& peer) { Serve(peer); })) {}

FakeRecorder::FakeRecorder(std::string name, int channelCount)
    : FakeRecorder(std::move(name), NumberedChannels(channelCount)) {}

FakeRecorder::~FakeRecorder() {
    m_stopping = true;
    m_changed.notify_all();
    m_server.reset();
}

void FakeRecorder::SetChannels(std::vector<FakeChannel> channels) {
    const std::lock_guard lock(m_mutex);
    m_channels = std::move(channels);
}

void FakeRecorder::SetName(const std::string& name) {
    const std::lock_guard lock(m_mutex);
    m_name = name;
}

void FakeRecorder::Notify(const std::string& line) {
    const std::lock_guard lock(m_mutex);
    m_pushed = line;
    ++m_pushCount;
    m_changed.notify_all();
}

bool FakeRecorder::WaitForListener() {
    std::unique_lock lock(m_mutex);
    return m_changed.wait_for(lock, std::chrono::seconds(10), [this] { return m_listeners > 0; });
}

int FakeRecorder::CountHeads(const std::string& text) const {
    const std::vector<std::string> heads = m_server->Heads();
    return static_cast<int>(std::count_if(heads.begin(), heads.end(), [&](const std::string& head) {
        return head.find(text) != std::string::npos;
    }));
}

std::vector<std::string> FakeRecorder::RequestLines(const std::string& text) const {
    std::vector<std::string> lines;
    for (const std::string& head : m_server->Heads()) {
        if (head.find(text) != std::string::npos) {
            lines.push_back(head.substr(0, head.find('\r')));
        }
    }
    return lines;
}

void FakeRecorder::On(const std::string& key, Handler handler) {
    const std::lock_guard lock(m_mutex);
    m_handlers[key] = std::move(handler);
}

void FakeRecorder::SetDocument(const std::string& key, std::string reply) {
    On(key, [reply = std::move(reply)](Peer& peer) { peer.Write(reply); });
}

void FakeRecorder::SetDocuments(int channels) {
    SetDocument("get_init_info.cgi", ConcInfo(channels));
    SetDocument("z_status.cgi", DiskInfo(channels));
    SetDocument("get_ext_info.cgi", kvtest::ExtInfo(channels));
}

void FakeRecorder::SetDisk(const std::string& line) {
    const std::lock_guard lock(m_mutex);
    m_disk = line;
}

void FakeRecorder::AnswerAll(std::string reply) {
    const std::lock_guard lock(m_mutex);
    m_answerAll = std::move(reply);
}

std::string FakeRecorder::AnswerToAll() const {
    const std::lock_guard lock(m_mutex);
    return m_answerAll;
}

FakeRecorder::Handler FakeRecorder::HandlerFor(const std::string& head) const {
    const std::string line = head.substr(0, head.find('\r'));
    const std::lock_guard lock(m_mutex);
    const std::pair<const std::string, Handler>* best = nullptr;
    for (const auto& entry : m_handlers) {
        if (line.find(entry.first) != std::string::npos &&
            (best == nullptr || entry.first.size() > best->first.size())) {
            best = &entry;
        }
    }
    return best == nullptr ? Handler() : best->second;
}

void FakeRecorder::Serve(Peer& peer) {
    const std::string head = peer.ReadHead();
    if (m_silent) {
        peer.Hold();
    } else if (const std::string reply = AnswerToAll(); !reply.empty()) {
        peer.Write(reply);
    } else if (m_refuse) {
        peer.Write(HttpReply(401, "Unauthorized", ""));
    } else if (const Handler handler = HandlerFor(head)) {
        handler(peer);
    } else if (m_bHasDocuments) {
        ServeOwn(peer, head);
    } else {
        peer.Write(HttpReply(404, "Not Found", ""));
    }
}

void FakeRecorder::ServeOwn(Peer& peer, const std::string& head) {
    const auto asks = [&](const char* what) { return head.find(what) != std::string::npos; };
    if (asks("get_init_info.cgi")) {
        peer.Write(HttpReply(200, "OK", InitInfo()));
    } else if (asks("get_ext_info.cgi")) {
        peer.Write(HttpReply(200, "OK", ExtInfo()));
    } else if (asks("z_status.cgi")) {
        peer.Write(HttpReply(200, "OK", Status()));
    } else if (asks("group=System")) {
        peer.Write(TimeReply());
    } else if (asks("notify.cgi")) {
        ServeNotify(peer);
    } else if (asks("getstream.cgi")) {
        ++m_streamRequests;
        peer.Write(Stream());
        peer.Hold();
    } else {
        peer.Write(HttpReply(404, "Not Found", ""));
    }
}

void FakeRecorder::SetTime(const std::string& digits) {
    const std::lock_guard lock(m_mutex);
    m_time = digits;
}

void FakeRecorder::SetStream(std::string reply) {
    const std::lock_guard lock(m_mutex);
    m_stream = std::move(reply);
}

std::string FakeRecorder::Stream() const {
    const std::lock_guard lock(m_mutex);
    return m_stream;
}

std::string FakeRecorder::TimeReply() const {
    const std::lock_guard lock(m_mutex);
    return m_time.empty() ? HttpReply(404, "Not Found", "")
                          : "HTTP/1.0 200 OK\nX: y\n\n<date_time>" + m_time + "</date_time>\n";
}

void FakeRecorder::ServeNotify(Peer& peer) {
    std::unique_lock lock(m_mutex);
    int sent = m_pushCount;
    ++m_listeners;
    m_changed.notify_all();
    lock.unlock();
    bool open = peer.Write("HTTP/1.0 200 OK\r\n");
    while (open && !m_stopping) {
        lock.lock();
        m_changed.wait_for(lock, std::chrono::milliseconds(20), [&] { return m_pushCount != sent; });
        const std::string line = m_pushCount != sent ? m_pushed : std::string();
        sent = m_pushCount;
        lock.unlock();
        open = line.empty() ? !peer.WaitClosed(milliseconds(1)) : peer.Write(line);
    }
    lock.lock();
    --m_listeners;
}

std::string FakeRecorder::InitInfo() const {
    const std::lock_guard lock(m_mutex);
    std::string text = "server name=" + m_name + "\nversion=1.2.3\nbuild=45\n";
    text += FormatText("channel number=%d\n//----------\n", static_cast<int>(m_channels.size()));
    for (std::size_t i = 0; i < m_channels.size(); ++i) {
        const int camera = m_channels[i].cameraPort;
        const char* const make = camera != 0 ? "0000000000000001" : "0000000100000001";
        const char* const address = camera != 0 ? "127.0.0.1" : m_channels[i].configured ? "10.0.0.1" : "";
        const int port = camera != 0 ? camera : 80;
        text += Scramble(AddressLine(static_cast<int>(i), make, address, ""));
        text += Scramble(AccountLine("user", "word", port, port));
    }
    return text + "----------//\n";
}

std::string FakeRecorder::ExtInfo() const {
    const std::lock_guard lock(m_mutex);
    std::string text = FormatText("channel number=%d\n", static_cast<int>(m_channels.size()));
    text += "lines of channel=2\n//----------\n";
    for (const FakeChannel& channel : m_channels) {
        text += Scramble("rtsp port=554");
        text += Scramble(channel.cameraPort != 0 ? "http_video_url=/video.mjpg" : "http_video_url=");
    }
    return text + "----------//\n";
}

std::string FakeRecorder::Status() const {
    const std::lock_guard lock(m_mutex);
    const std::size_t count = m_channels.size();
    std::string text = m_disk + "\n" + FormatText("%03d", static_cast<int>(count));
    text += std::string(count, '0') + std::string(count, '0') + std::string(count, '0');
    text += std::string(count, '0');
    for (const FakeChannel& channel : m_channels) {
        text += channel.right ? '1' : '0';
    }
    text += '\n';
    for (const FakeChannel& channel : m_channels) {
        text += channel.name + "\n";
    }
    return text;
}

}  // namespace kvtest
