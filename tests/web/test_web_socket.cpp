// A page's connection: pages that are slow, dead, or talk while a call runs.
#include <gmock/gmock.h>
#include <sys/socket.h>
#include <unistd.h>

#include <QtCore/QEventLoop>
#include <QtCore/QTimer>
#include <QtWidgets/QApplication>

#include "support/wait_until.h"
#include "web/host/web_socket.h"

using namespace kvmon;
using testing::ElementsAre;
using testing::HasSubstr;

namespace {

// The page's end of the connection.
class WebSocketTest : public testing::Test {
protected:
    WebSocketTest() { EXPECT_EQ(::socketpair(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK, 0, m_ends), 0); }
    ~WebSocketTest() override { ::close(m_ends[1]); }

    WebSocket::Listener Listener() {
        WebSocket::Listener listener;
        listener.onText = [this](std::string_view text) {
            m_texts.emplace_back(text);
            if (m_onText) {
                m_onText(m_texts.back());
            }
        };
        listener.onClosed = [this] { m_closed = true; };
        return listener;
    }
    // All that can be read now.
    std::string Read() const {
        std::string all;
        char bytes[65536];
        for (ssize_t count = 0; (count = ::recv(m_ends[1], bytes, sizeof(bytes), 0)) > 0;) {
            all.append(bytes, static_cast<std::size_t>(count));
        }
        return all;
    }
    void Write(WsOpcode opcode, const std::string& payload) const {
        std::string frame{static_cast<char>(0x80 | static_cast<int>(opcode)),
                          static_cast<char>(0x80 | payload.size()),
                          0,
                          0,
                          0,
                          0};
        frame += payload;
        EXPECT_EQ(::send(m_ends[1], frame.data(), frame.size(), MSG_NOSIGNAL),
                  static_cast<ssize_t>(frame.size()));
    }
    template <typename Condition>
    static bool Until(Condition condition) {
        return kvtest::WaitUntil([&] {
            QCoreApplication::processEvents();
            return condition();
        });
    }

    int m_ends[2] = {-1, -1};
    std::vector<std::string> m_texts;
    std::function<void(const std::string&)> m_onText;
    bool m_closed = false;
};

const std::string kPing("\x89\x00", 2);

}  // namespace

TEST_F(WebSocketTest, APageThatAnswersNoPingIsGone) {
    WebSocket socket(m_ends[0], "key", Listener(), 40);
    for (int i = 0; i < 3; ++i) {
        std::string got;
        ASSERT_TRUE(Until([&] { return (got += Read()).find(kPing) != std::string::npos; }));
        Write(WsOpcode::Pong, "");
    }
    EXPECT_FALSE(m_closed);
    int pings = 0;
    ASSERT_TRUE(Until([&] {
        pings += Read().find(kPing) != std::string::npos ? 1 : 0;
        return m_closed;
    }));
    EXPECT_EQ(pings, 1);
}

TEST_F(WebSocketTest, WhatAPageDoesNotReadIsBounded) {
    WebSocket socket(m_ends[0], "key", Listener());
    std::size_t most = 0;
    const std::string text(200000, 'x');
    for (int i = 0; i < 1000 && !m_closed; ++i) {
        socket.SendText(text);
        most = std::max(most, socket.PendingBytes());
        QCoreApplication::processEvents();
    }
    EXPECT_TRUE(Until([&] { return m_closed; }));
    EXPECT_LT(most, WebSocket::kMaxPending + text.size() + 100);
}

TEST_F(WebSocketTest, TheLastWordsArrive) {
    {
        WebSocket socket(m_ends[0], "key", Listener());
        socket.SendText("OnLogout");
    }
    const std::string got = Read();
    EXPECT_THAT(got, HasSubstr("OnLogout\x88\x02\x03\xE9"));
    EXPECT_FALSE(m_closed);
}

TEST_F(WebSocketTest, MessagesBehindALongCallAreHandledMeanwhile) {
    WebSocket socket(m_ends[0], "key", Listener());
    QEventLoop loop;
    m_onText = [&](const std::string& text) {
        if (text == "long") {
            QTimer::singleShot(5000, &loop, [&] { loop.exit(1); });
            EXPECT_EQ(loop.exec(), 0);
            m_texts.push_back("done");
        } else if (text == "second") {
            loop.quit();
        }
    };
    Write(WsOpcode::Text, "long");
    Write(WsOpcode::Text, "first");
    Write(WsOpcode::Text, "second");
    Write(WsOpcode::Text, "third");
    ASSERT_TRUE(Until([&] { return m_texts.size() == 5; }));
    EXPECT_THAT(m_texts, ElementsAre("long", "first", "second", "third", "done"));
}

TEST_F(WebSocketTest, APageThatGoesDuringALongCallEndsIt) {
    auto socket = std::make_unique<WebSocket>(m_ends[0], "key", Listener());
    QEventLoop loop;
    m_onText = [&](const std::string&) {
        ::shutdown(m_ends[1], SHUT_RDWR);
        EXPECT_TRUE(Until([&] { return m_closed; }));
    };
    Write(WsOpcode::Text, "long");
    EXPECT_TRUE(Until([&] { return m_closed; }));
    socket->SendText("nobody hears it");
    EXPECT_EQ(socket->PendingBytes(), 0u);
}
