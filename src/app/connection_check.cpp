#include "app/connection_check.h"

#include <QtWidgets/QApplication>
#include <cstdio>

#include "app/guarded.h"
#include "console/settings/recorder_entry.h"
#include "control/auth_text.h"
#include "host/exit_status.h"
#include "platform/secret_memory.h"
#include "server/recorder_test.h"
#include "skin/window_base.h"

namespace kvmon {

namespace {

constexpr std::uint32_t kMsgTried = 1103;

class Checker final : public WindowBase {
public:
    // False if the system has no thread for it.
    bool Start(const std::string& host, std::uint32_t port, const std::string& user,
               const std::string& password) {
        return m_test.Start(host, port, user, password, Handle(), kMsgTried) != 0;
    }

protected:
    LParam OnMessage(std::uint32_t message, WParam wParam, LParam lParam) override {
        if (message != kMsgTried) {
            return WindowBase::OnMessage(message, wParam, lParam);
        }
        const RecorderTestReport report = m_test.Take();
        const bool bWorks = report.result == RecorderTestResult::Works;
        std::fprintf(bWorks ? stdout : stderr, "kvmon: %s\n", RecorderTestText(report).c_str());
        QCoreApplication::exit(bWorks ? kvhost::kDone : kvhost::kFailed);
        return 0;
    }

private:
    RecorderTest m_test;
};

}  // namespace

int CheckConnection(const AppOptions& options) {
    auto login = DecodeAuthText(options.auth).value_or(std::pair<std::string, std::string>());
    const WipeAtEnd wipe(login.second);
    qputenv("QT_QPA_PLATFORM", "offscreen");
    int argc = 1;
    char name[] = "kvmon";
    char* argv[] = {name, nullptr};
    Guarded<QApplication> application(argc, argv);
    Checker checker;
    if (!checker.Start(options.server, static_cast<std::uint32_t>(options.port), login.first, login.second)) {
        std::fprintf(stderr, "kvmon: there is no thread left to connect by\n");
        return kvhost::kFailed;
    }
    return QApplication::exec();
}

}  // namespace kvmon
