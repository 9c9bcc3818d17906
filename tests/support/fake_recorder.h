// A recorder that speaks the documents of its channels, or those that a test gives it, and leaves its streams
// silent.
#pragma once

#include <atomic>
#include <condition_variable>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "support/scripted_server.h"

namespace kvtest {

struct FakeChannel {
    std::string name;
    bool right = true;
    bool configured = true;
    std::uint16_t cameraPort = 0;  // not 0: of no maker, with its pictures at /video.mjpg of this port
};

class FakeRecorder {
public:
    using Handler = std::function<void(Peer&)>;

    // Without documents of its own: what a test does not give is not there.
    FakeRecorder();
    FakeRecorder(std::string name, std::vector<FakeChannel> channels);
    // Channels named "Channel 1" and so on.
    FakeRecorder(std::string name, int channelCount);
    ~FakeRecorder();

    std::uint16_t Port() const { return m_server->Port(); }
    ScriptedServer& Server() { return *m_server; }
    void SetChannels(std::vector<FakeChannel> channels);
    void SetName(const std::string& name);
    // Serves requests whose first line holds the key; of several keys the longest counts, and each goes
    // before the recorder's own documents.
    void On(const std::string& key, Handler handler);
    // Answers them with this reply, head and all.
    void SetDocument(const std::string& key, std::string reply);
    // Texts of the three documents, for so many channels.
    void SetDocuments(int channels);
    void SetDisk(const std::string& line);
    // The request lines that hold this text.
    std::vector<std::string> RequestLines(const std::string& text) const;
    // Every request is answered with 401 from now on.
    void RefuseLogins(bool refuse) { m_refuse = refuse; }
    // Every request gets this reply from now on, head and all. Empty: as before.
    void AnswerAll(std::string reply);
    // What each stream brings, head and all, before it falls silent.
    void SetStream(std::string reply);
    // Requests are read and never answered.
    void GoSilent() { m_silent = true; }
    // Answers questions for the time: fourteen digits. Without one they fail.
    void SetTime(const std::string& digits);
    // Sends a line down every notification connection.
    void Notify(const std::string& line);
    // Waits until someone sits in the notification connection.
    bool WaitForListener();
    int StreamRequestCount() const { return m_streamRequests; }
    // How many requests hold this text.
    int CountHeads(const std::string& text) const;

private:
    void Serve(Peer& peer);
    // Empty without a fitting key.
    Handler HandlerFor(const std::string& head) const;
    void ServeOwn(Peer& peer, const std::string& head);
    void ServeNotify(Peer& peer);
    std::string TimeReply() const;
    std::string Stream() const;
    std::string InitInfo() const;
    std::string ExtInfo() const;
    std::string Status() const;
    std::string AnswerToAll() const;

    const bool m_bHasDocuments;
    std::string m_name;
    mutable std::mutex m_mutex;
    mutable std::condition_variable m_changed;
    std::vector<FakeChannel> m_channels;
    std::string m_time;
    std::string m_pushed;
    std::map<std::string, Handler> m_handlers;
    std::string m_answerAll;
    std::string m_stream;
    std::string m_disk = "0    45  1048576";
    int m_pushCount = 0;
    int m_listeners = 0;
    std::atomic<bool> m_refuse{false};
    std::atomic<bool> m_silent{false};
    std::atomic<bool> m_stopping{false};
    std::atomic<int> m_streamRequests{0};
    std::unique_ptr<ScriptedServer> m_server;  // last: its threads use the rest
};

}  // namespace kvtest
