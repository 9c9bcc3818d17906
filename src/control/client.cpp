#include "control/client.h"

#include <QtGui/QPainter>
#include <QtGui/QResizeEvent>

#include "persist/string_table.h"

namespace kvmon {

class CTR450Client::Window final : public WindowBase {
public:
    Window(CTR450Client& client, QWidget* host) : WindowBase(host), m_client(client) {
        setObjectName(QStringLiteral("control"));
    }

protected:
    LParam OnMessage(std::uint32_t message, WParam wParam, LParam lParam) override {
        switch (message) {
            case WM_CLIENT_FIRE_EVENT:
                m_client.Fire(wParam, static_cast<int>(lParam));
                return 0;
            case WM_CLIENT_GOTO_SERVER:
                m_client.FireGotoServer(static_cast<int>(lParam));
                return 0;
            case kMsgLoginEnd:
                m_client.FireLoginEnd();
                return 0;
            case kMsgSwitchLanguage:
                m_client.m_impl.SwitchLanguage(static_cast<std::uint16_t>(lParam));
                return 0;
            default:
                return WindowBase::OnMessage(message, wParam, lParam);
        }
    }

    void OnTimer(std::uint32_t id) override {
        if (id == kTimerSwitchLanguage) {
            m_client.m_impl.OnSwitchLanguageTimer();
            return;
        }
        WindowBase::OnTimer(id);
    }

    void resizeEvent(QResizeEvent* event) override {
        WindowBase::resizeEvent(event);
        m_client.m_impl.ChangeSize(width(), height());
    }

    void paintEvent(QPaintEvent*) override {
        QPainter painter(this);
        painter.fillRect(rect(), Qt::black);
        if (!m_client.m_impl.HasMainDlg()) {
            painter.setPen(Qt::white);
            painter.drawText(rect(), Qt::AlignCenter, QString::fromStdString(LoadString(6750)));
        }
    }

private:
    CTR450Client& m_client;
};

CTR450Client::CTR450Client(Clock& clock) : m_impl(clock) {}

CTR450Client::~CTR450Client() {
    DestroyControlWindow();
}

WindowBase& CTR450Client::CreateControlWindow(QWidget* host) {
    if (!m_window) {
        m_window = std::make_unique<Window>(*this, host);
        if (host != nullptr) {
            m_window->resize(host->size());
        }
    }
    m_impl.Create(*m_window);
    return *m_window;
}

void CTR450Client::DestroyControlWindow() {
    m_impl.Destroy();
    m_window.reset();
}

WindowBase* CTR450Client::ControlWindow() {
    return m_window.get();
}

std::size_t CTR450Client::Connect(ClientEvents* sink) {
    m_sinks.push_back(sink);
    return m_sinks.size() - 1;
}

void CTR450Client::Disconnect(std::size_t connection) {
    if (connection < m_sinks.size()) {
        m_sinks[connection] = nullptr;
    }
}

void CTR450Client::Fire(WParam event, int value) {
    using Raise = void (ClientEvents::*)(int);
    static constexpr Raise kRaise[] = {&ClientEvents::OnLogin, &ClientEvents::OnLogout,
                                       &ClientEvents::OnNeedGetNewVersion, &ClientEvents::OnChgLanguage,
                                       &ClientEvents::OnGotoPage};
    if (event >= std::size(kRaise)) {
        return;
    }
    const Raise raise = kRaise[event];
    for (std::size_t i = 0; i < m_sinks.size(); ++i) {  // a sink may connect another
        if (m_sinks[i] != nullptr) {
            (m_sinks[i]->*raise)(value);
        }
    }
}

void CTR450Client::FireLoginEnd() {
    for (std::size_t i = 0; i < m_sinks.size(); ++i) {
        if (m_sinks[i] != nullptr) {
            m_sinks[i]->OnLoginEnd();
        }
    }
}

void CTR450Client::FireGotoServer(int value) {
    const std::string url = m_impl.GetGotoServerText();
    for (std::size_t i = 0; i < m_sinks.size(); ++i) {
        if (m_sinks[i] != nullptr) {
            m_sinks[i]->OnGotoServer(value, url);
        }
    }
}

}  // namespace kvmon
