// The web host's places and its end, over real connections.
#include <arpa/inet.h>
#include <gmock/gmock.h>
#include <netinet/in.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <QtCore/QCoreApplication>
#include <QtCore/QDeadlineTimer>
#include <filesystem>
#include <fstream>

#include "platform/diagnostics.h"
#include "support/temp_folder.h"
#include "support/wait_until.h"
#include "web/host/web_server.h"

using namespace kvmon;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::StartsWith;

namespace {

constexpr const char* kRequest = "GET /nothing HTTP/1.1\r\nHost: 127.0.0.1:";

std::vector<std::string> told;

// A client's connection, from an address of its own.
class Client {
public:
    explicit Client(std::uint16_t port, const char* from = "127.0.0.1") {
        m_fd = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
        sockaddr_in address{};
        address.sin_family = AF_INET;
        ::inet_pton(AF_INET, from, &address.sin_addr);
        EXPECT_EQ(::bind(m_fd, reinterpret_cast<sockaddr*>(&address), sizeof(address)), 0);
        address.sin_port = htons(port);
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        EXPECT_EQ(::connect(m_fd, reinterpret_cast<sockaddr*>(&address), sizeof(address)), 0);
    }
    Client(Client&& other) noexcept : m_fd(std::exchange(other.m_fd, -1)) {}
    Client& operator=(Client&&) = delete;
    ~Client() {
        if (m_fd >= 0) {
            ::close(m_fd);
        }
    }

    void Send(const std::string& text) const {
        EXPECT_EQ(::send(m_fd, text.data(), text.size(), MSG_NOSIGNAL), static_cast<ssize_t>(text.size()));
    }
    bool IsClosed() const {
        char byte = 0;
        const ssize_t count = ::recv(m_fd, &byte, 1, MSG_DONTWAIT | MSG_PEEK);
        return count == 0 || (count < 0 && errno == ECONNRESET);
    }
    std::string Read() const {
        char bytes[4096];
        const ssize_t count = ::recv(m_fd, bytes, sizeof(bytes), MSG_DONTWAIT);
        return {bytes, static_cast<std::size_t>(std::max<ssize_t>(count, 0))};
    }

private:
    int m_fd = -1;
};

class WebServerTest : public testing::Test {
protected:
    WebServerTest() {
        told.clear();
        SetDiagnosticSink([](const char* text) { told.emplace_back(text); });
    }
    ~WebServerTest() override { SetDiagnosticSink(nullptr); }

    void Start(const std::string& program = "/bin/false", std::size_t fileLimit = 1024) {
        WebHostSettings settings;
        settings.fileLimit = fileLimit;
        m_server = std::make_unique<WebServer>(settings, program);
        std::string problem;
        ASSERT_TRUE(m_server->Listen(problem)) << problem;
        const std::string url = m_server->Url();
        m_port = static_cast<std::uint16_t>(std::stoi(url.substr(url.rfind(':') + 1)));
    }
    std::vector<Client> Idle(std::size_t count, const char* from) const {
        std::vector<Client> clients;
        for (std::size_t i = 0; i < count; ++i) {
            clients.emplace_back(m_port, from);
        }
        return clients;
    }
    template <typename Condition>
    static bool Until(Condition condition) {
        return kvtest::WaitUntil([&] {
            QCoreApplication::processEvents();
            return condition();
        });
    }
    static std::size_t Closed(const std::vector<Client>& clients) {
        return static_cast<std::size_t>(
            std::count_if(clients.begin(), clients.end(), [](const Client& c) { return c.IsClosed(); }));
    }
    std::string Rest() const { return std::to_string(m_port) + "\r\n\r\n"; }
    static bool IsAnswered(const Client& client) {
        std::string got;
        return Until([&] { return !(got = client.Read()).empty(); }) && got.starts_with("HTTP/1.1 404");
    }
    // The session of a page; its process writes into the folder.
    Client OpenSession() const {
        Client page(m_port);
        const std::string url = m_server->Url();
        page.Send("GET /control" + url.substr(url.find('?')) +
                  " HTTP/1.1\r\nUpgrade: websocket\r\nHost: 127.0.0.1:" + std::to_string(m_port) +
                  "\r\nSec-WebSocket-Version: 13\r\nSec-WebSocket-Key: k\r\n\r\n");
        return page;
    }

    std::unique_ptr<WebServer> m_server;
    std::uint16_t m_port = 0;
    kvtest::TempFolder m_folder;
};

std::string FirstWord(const std::string& path) {
    std::string word;
    std::ifstream(path) >> word;
    return word;
}

}  // namespace

// As a manager of services hands it on, and what an administrator and programs read of those who come.
TEST_F(WebServerTest, AHandedSocketIsServedAndSignInsAreToldWithoutAToken) {
    const int listener = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t length = sizeof(address);
    ASSERT_EQ(::bind(listener, reinterpret_cast<sockaddr*>(&address), length), 0);
    ASSERT_EQ(::listen(listener, 8), 0);
    ASSERT_EQ(::getsockname(listener, reinterpret_cast<sockaddr*>(&address), &length), 0);
    m_port = ntohs(address.sin_port);
    WebHostSettings settings;
    settings.address = "192.0.2.1";
    settings.listener = listener;
    settings.token = "0123456789abcdef";
    m_server = std::make_unique<WebServer>(settings, "/bin/true");
    std::string problem;
    ASSERT_TRUE(m_server->Listen(problem)) << problem;
    EXPECT_EQ(m_server->Origin(), "http://127.0.0.1:" + std::to_string(m_port) + "/");
    EXPECT_EQ(m_server->Url(), m_server->Origin() + "?token=0123456789abcdef");

    testing::internal::CaptureStderr();
    const Client guessing(m_port, "127.0.0.7");
    guessing.Send("GET /control?token=0123456789abcdee HTTP/1.1\r\nHost: 127.0.0.1:" + Rest());
    std::string got;
    EXPECT_TRUE(Until([&] { return !(got = guessing.Read()).empty(); }));
    EXPECT_THAT(got, StartsWith("HTTP/1.1 403"));
    const Client page = OpenSession();
    EXPECT_TRUE(Until([&] { return page.IsClosed(); })) << "the program that is no session has ended";
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "kvmon: sign-in refused from 127.0.0.7 of a page\nkvmon: sign-in accepted from 127.0.0.1 of a "
              "page\n");
}

TEST(SignInLog, AFloodIsToldInASum) {
    std::vector<std::string> lines;
    SignInLog log([&](const kvhost::Line& line) { lines.push_back(line.text); });
    const SignInLog::Clock::time_point begin{std::chrono::hours(1)};
    for (int i = 0; i < 1000; ++i) {
        log.Tell(false, "192.0.2.7", begin);
    }
    EXPECT_EQ(lines.size(), SignInLog::kMostAMinute);
    log.Tell(false, "192.0.2.8", begin + std::chrono::minutes(1));
    ASSERT_EQ(lines.size(), SignInLog::kMostAMinute + 2);
    EXPECT_EQ(lines[SignInLog::kMostAMinute], "940 further sign-ins were not told");
}

TEST_F(WebServerTest, TheOldestIdleConnectionOfWhoHasTheMostMakesRoom) {
    Start();
    // Somebody is in the middle of a request when others take all the places, from many addresses at last.
    const Client slow(m_port, "127.0.0.9");
    slow.Send(kRequest);
    std::vector<Client> crowd = Idle(40, "127.0.0.2");
    ASSERT_TRUE(Until([&] { return Closed(crowd) == 8; }));
    EXPECT_TRUE(crowd[0].IsClosed() && crowd[7].IsClosed() && !crowd[8].IsClosed());
    const std::vector<Client> more = Idle(40, "127.0.0.3");
    ASSERT_TRUE(Until([&] { return Closed(more) + Closed(crowd) == 40 + 41 - 64; }));
    const std::vector<Client> third = Idle(20, "127.0.0.4");
    ASSERT_TRUE(Until([&] { return Closed(more) + Closed(crowd) == 40 + 61 - 64; }));
    EXPECT_EQ(Closed(third), 0u);
    slow.Send(Rest());
    EXPECT_TRUE(IsAnswered(slow));
}

TEST_F(WebServerTest, FewerFilesCarryFewerPlaces) {
    EXPECT_EQ(WebServer::PlacesFor(1024), WebServer::kMaxConnections);
    EXPECT_LT(WebServer::PlacesFor(80), WebServer::kMaxConnections);
    EXPECT_GT(WebServer::PlacesFor(8), 0u);
    Start("/bin/false", 8);
    const std::vector<Client> idle = Idle(3, "127.0.0.2");
    const Client page(m_port);
    page.Send(kRequest + Rest());
    EXPECT_TRUE(IsAnswered(page));
    EXPECT_TRUE(Until([&] { return Closed(idle) == 2; }));
}

TEST_F(WebServerTest, AFailedAcceptIsToldOnceAndTriedAgain) {
    Start();
    const Client page(m_port);
    page.Send(kRequest + Rest());
    rlimit before{};
    ASSERT_EQ(::getrlimit(RLIMIT_NOFILE, &before), 0);
    const rlimit none{3, before.rlim_max};
    ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &none), 0);
    const bool bTold = Until([] { return !told.empty(); });
    // Nor is the processor busy with it meanwhile.
    int turns = 0;
    QDeadlineTimer meanwhile(100);
    while (!meanwhile.hasExpired()) {
        QCoreApplication::processEvents(QEventLoop::AllEvents | QEventLoop::WaitForMoreEvents);
        ++turns;
    }
    ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &before), 0);
    EXPECT_TRUE(bTold);
    EXPECT_LT(turns, 20);
    EXPECT_TRUE(IsAnswered(page));
    EXPECT_THAT(told, ElementsAre(HasSubstr("no page can be let in")));
}

// A process that was stopped hears of nothing: it is woken for the end. One that does not end then is ended.
TEST_F(WebServerTest, AStoppedSessionEndsWithTheHost) {
    const std::string program = m_folder.File("session");
    const std::string number = m_folder.File("number");
    const std::string ended = m_folder.File("ended");
    for (const bool bListens : {true, false}) {
        std::ofstream(program) << "#!/bin/sh\necho $$ >" << number << ".new && mv " << number << ".new "
                               << number << "\nwhile " << (bListens ? "read line <&4" : "sleep 0.1")
                               << "; do :; done\necho yes >" << ended << '\n';
        ::chmod(program.c_str(), 0700);
        Start(program);
        const Client page = OpenSession();
        ASSERT_TRUE(Until([&] { return std::filesystem::exists(number); }));
        ASSERT_EQ(::kill(static_cast<pid_t>(std::stol(FirstWord(number))), SIGSTOP), 0);
        const auto begin = std::chrono::steady_clock::now();
        EXPECT_TRUE(m_server->EndSessions(20000)) << bListens;
        EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(10));
        EXPECT_EQ(std::filesystem::exists(ended), bListens);
        std::filesystem::remove(number);
        std::filesystem::remove(ended);
    }
}
