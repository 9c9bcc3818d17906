#include "support/fake_recorder.h"

#include <algorithm>

#include "platform/text.h"

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

// A scrambled line whose key word is zero.
std::string HexLine(const std::string& text) {
    std::string line = "00000000";
    for (const char c : text) {
        line += FormatText("%08X", static_cast<unsigned char>(c));
    }
    return line + "\r\n";
}

}  // namespace

FakeRecorder::FakeRecorder(std::string name, std::vector<FakeChannel> channels)
    : m_name(std::move(name)),
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

void FakeRecorder::SetDocument(const std::string& key, std::string reply) {
    const std::lock_guard lock(m_mutex);
    std::erase_if(m_documents, [&](const auto& document) { return document.first == key; });
    m_documents.emplace_back(key, std::move(reply));
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

std::string FakeRecorder::Document(const std::string& head) const {
    const std::lock_guard lock(m_mutex);
    for (const auto& [key, reply] : m_documents) {
        if (head.find(key) != std::string::npos) {
            return reply;
        }
    }
    return HttpReply(404, "Not Found", "");
}

void FakeRecorder::Serve(Peer& peer) {
    const std::string head = peer.ReadHead();
    const auto asks = [&](const char* what) { return head.find(what) != std::string::npos; };
    if (m_silent) {
        peer.Hold();
    } else if (const std::string reply = AnswerToAll(); !reply.empty()) {
        peer.Write(reply);
    } else if (m_refuse) {
        peer.Write(HttpReply(401, "Unauthorized", ""));
    } else if (asks("get_init_info.cgi")) {
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
        peer.Write(Document(head));
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
        text += HexLine(FormatText("%03d%16s%64s%64s", static_cast<int>(i), make, address, ""));
        text += HexLine(FormatText("%32s%32s%6d%6d", "user", "word", port, port));
    }
    return text + "----------//\n";
}

std::string FakeRecorder::ExtInfo() const {
    const std::lock_guard lock(m_mutex);
    std::string text = FormatText("channel number=%d\n", static_cast<int>(m_channels.size()));
    text += "lines of channel=2\n//----------\n";
    for (const FakeChannel& channel : m_channels) {
        text += HexLine("rtsp port=554");
        text += HexLine(channel.cameraPort != 0 ? "http_video_url=/video.mjpg" : "http_video_url=");
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
