#include "web/session/web_session.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <QtCore/QCoreApplication>
#include <QtCore/QDeadlineTimer>
#include <QtCore/QSocketNotifier>
#include <QtWidgets/QApplication>
#include <QtWidgets/QLabel>
#include <algorithm>
#include <array>
#include <cstring>
#include <utility>

#include "console/layout/view_geometry.h"
#include "console/main_dlg.h"
#include "console/panel/console_keys.h"
#include "persist/log_file.h"
#include "persist/string_table.h"
#include "shares/share_request.h"
#include "web/platform/remote_display.h"
#include "web/session/json_rpc.h"
#include "web/session/page_keys.h"

namespace kvmon {

namespace {

constexpr std::string_view kAuthData = "AuthData";  // may be the host's, which no page reads
constexpr int kOrderMs = 3000;
constexpr int kCountsMs = 60000;
constexpr int kSurfaceMs = 100;
constexpr std::uint32_t kTextNotReadable = 6951;
constexpr std::uint32_t kTextNotConnected = 6952;
struct WordsRow {
    PageWords which;
    std::uint32_t text;
};
constexpr WordsRow kWordRows[] = {
    {PageWords::Broken, 6751}, {PageWords::NotReached, 6752}, {PageWords::Label, 6950}};
// Sound that the page does not take in time is dropped: it would be heard too late.
constexpr int kMostSoundBlocks = 16;
constexpr std::size_t kMostPendingForSound = 512 * 1024;

constexpr std::size_t kMostPendingForPicture = 8 * 1024 * 1024;

constexpr std::size_t kMostWaiting = 64;
constexpr std::size_t kMostWaitingBytes = 1024 * 1024;

std::string StatusOf(const QWidget* console) {
    const QLabel* const line =
        console != nullptr ? console->findChild<QLabel*>(QStringLiteral("statusLine")) : nullptr;
    return line != nullptr ? line->text().toStdString() : std::string();
}

unsigned long long Number(std::uint64_t value) {
    return value;
}

}  // namespace

std::optional<SessionOrder> ReceiveSessionOrder() {
    QByteArray bytes;
    QDeadlineTimer deadline(kOrderMs);
    while (!bytes.endsWith('\n') && static_cast<std::size_t>(bytes.size()) < kMaxSessionOrder) {
        pollfd wait{kSessionOrderFd, POLLIN, 0};
        std::array<char, 4096> part;
        if (::poll(&wait, 1, static_cast<int>(deadline.remainingTime())) <= 0) {
            return std::nullopt;
        }
        const ssize_t count = ::recv(kSessionOrderFd, part.data(), part.size(), 0);
        if (count <= 0) {
            return std::nullopt;
        }
        bytes.append(part.data(), count);
    }
    std::optional<SessionOrder> order = ReadSessionOrder(bytes);
    ::explicit_bzero(bytes.data(), static_cast<std::size_t>(bytes.size()));
    return order;
}

WebSession::WebSession(const SessionOrder& order, LookKeeper& looks)
    : m_looks(looks),
      m_browser(
          [this](std::string_view operation, const Variant& value) {
              Raise("browser", {std::string(operation), value});
          },
          [this](const GivenPicture& picture) {
              // A page that reads slowly has not taken the last one yet.
              if (m_socket.PendingBytes() < kMostPendingForPicture) {
                  m_socket.SendBinary(PictureMessage(picture));
              }
          },
          looks, order.help),
      m_socket(kSessionPageFd, order.key,
               {[this](std::string_view text) { OnText(text); },
                [this](std::span<const std::uint8_t> bytes) { OnBinary(bytes); },
                [] { QCoreApplication::exit(0); }, [this] { m_frames.OnDrained(); }}),
      m_frames(RemoteDisplay::Instance(), m_socket),
      m_text(RemoteDisplay::Instance(),
             [this](std::vector<std::uint8_t> message) { m_socket.SendBinary(std::move(message)); }),
      m_hostGone(std::make_unique<QSocketNotifier>(kSessionOrderFd, QSocketNotifier::Read)) {
    connect(m_hostGone.get(), &QSocketNotifier::activated, this, [this] {
        m_hostGone->setEnabled(false);
        QCoreApplication::exit(0);
    });
    ::fcntl(kSessionOrderFd, F_SETFD, FD_CLOEXEC);  // nothing that the session starts has it
    RemoteDisplay::Instance().SetListener(
        {[this] {
             m_frames.OnDamage();
             // Whatever a user can tell from the picture.
             if (!m_surfaceTimer.isActive()) {
                 m_surfaceTimer.start(kSurfaceMs);
             }
         },
         [this](const QCursor& cursor) { m_socket.SendBinary(CursorMessage(cursor)); },
         [this](bool bOn) { m_socket.SendBinary(FullScreenMessage(bOn)); }});
    PrepareSound();
    connect(&m_countsTimer, &QTimer::timeout, this, [this] { TraceCounts(); });
    m_countsTimer.start(kCountsMs);
    m_surfaceTimer.setSingleShot(true);
    connect(&m_surfaceTimer, &QTimer::timeout, this, [this] { TellSurface(); });
    connect(qApp, &QApplication::focusChanged, this, [this] { m_surfaceTimer.start(0); });
    m_host.setWindowFlags(Qt::FramelessWindowHint);
    m_client.Connect(this);

    const SessionDefaults& defaults = order.defaults;
    CTR450ClientImpl& impl = m_client.Impl();
    impl.SetClientSite(&m_browser);
    impl.SetSharePort(&m_shares);
    impl.SetServerIP(defaults.server);
    impl.SetServerPort(defaults.port);
    impl.SetAuthData(defaults.auth);
    impl.SetAutoStart(defaults.autoStart ? 1 : 0);
    impl.SetDefServerName(defaults.serverName);
    impl.SetHelpPath(defaults.helpPath);
    if (defaults.language) {
        impl.SetLanguage(*defaults.language);
    }
    m_bHostAuth = !defaults.auth.empty();
    TellProperties();
    TellKeys();
    TellWords();
}

WebSession::~WebSession() {
    TraceCounts();
    RemoteDisplay::Instance().SetListener({});
    m_sound->EndSession();
    m_client.DestroyControlWindow();
}

void WebSession::TraceCounts() {
    const FrameSender::Counts counts = m_frames.TakeCounts();
    const DelayRecord& delay = counts.delay;
    Trace(
        "WebSession: frames=%llu, drawn=%llu, tiles=%llu, bytes=%llu, held=%llu, quality=%d, "
        "delay in ms: mean=%llu, p50=%llu, p95=%llu, p99=%llu, max=%llu, unsent p99=%llu, max=%llu\n",
        Number(counts.frames), Number(delay.Count()), Number(counts.tiles), Number(counts.bytes),
        Number(counts.held), m_frames.Quality(), Number(delay.Mean()), Number(delay.Percentile(50)),
        Number(delay.Percentile(95)), Number(delay.Percentile(99)), Number(delay.Max()),
        Number(counts.unsent.Percentile(99)), Number(counts.unsent.Max()));
}

void WebSession::PrepareSound() {
    m_sound->SetSession(
        {[this, blocks = m_soundBlocks](const PcmFormat& format, std::span<const std::uint8_t> block) {
             if (*blocks >= kMostSoundBlocks) {
                 return;
             }
             ++*blocks;
             QMetaObject::invokeMethod(
                 this,
                 [this, blocks, message = SoundMessage(format, block)]() mutable {
                     --*blocks;
                     if (m_socket.PendingBytes() < kMostPendingForSound) {
                         m_socket.SendBinary(std::move(message));
                     }
                 },
                 Qt::QueuedConnection);
         },
         [this](bool bOn) {
             QMetaObject::invokeMethod(
                 this, [this, bOn] { m_socket.SendBinary(RecordMessage(bOn)); }, Qt::QueuedConnection);
         }});
    SetSoundHost(m_sound->MakeHost());
}

void WebSession::Activate() {
    if (m_bActive) {
        return;
    }
    m_bActive = true;
    const RemoteDisplay& display = RemoteDisplay::Instance();
    m_host.setGeometry(QRect(QPoint(0, 0), (QSizeF(display.Size()) / display.Ratio()).toSize()));
    m_host.show();
    m_client.CreateControlWindow(&m_host).show();
}

// The windows are laid out in units, of which there are whole ones.
void WebSession::Resize(const QSize& size, double ratio) {
    const auto whole = [ratio](int pixels, int least, int most) {
        return std::clamp(static_cast<int>(pixels / ratio), least, std::max(least, most));
    };
    const int most = static_cast<int>(RemoteDisplay::kMaxSide / ratio);
    const QSize units(whole(size.width(), kMinConsoleWidth, most),
                      whole(size.height(), kMinConsoleHeight, most));
    RemoteDisplay& display = RemoteDisplay::Instance();
    const bool bNewRatio = ratio != display.Ratio();
    if (bNewRatio && m_bActive) {
        // The display scales its windows: what it is to hold afterwards is all that it may scale.
        const QSize least = units.boundedTo(m_host.size());
        m_host.setGeometry(QRect(QPoint(0, 0), least));
        m_client.ControlWindow()->resize(least);
    }
    display.SetSize((QSizeF(units) * ratio).toSize(), ratio);
    m_socket.SendBinary(DisplayMessage(display.Size(), ratio));
    Activate();
    m_host.setGeometry(QRect(QPoint(0, 0), units));
    m_client.ControlWindow()->resize(units);
    if (bNewRatio) {
        // Each one: opaque children do not follow their parents.
        for (QWidget* const widget : QApplication::allWidgets()) {
            widget->update();
        }
    }
}

void WebSession::OnBinary(std::span<const std::uint8_t> bytes) {
    const PageMessage message = ReadPageMessage(RemoteDisplay::Instance(), bytes);
    switch (message.kind) {
        case PageMessage::Kind::Wrong:
            m_socket.Close(WsClose::Refused);
            break;
        case PageMessage::Kind::Size:
            Resize(message.size, message.ratio);
            break;
        case PageMessage::Kind::Visible:
            RemoteDisplay::Instance().SetSeen(message.bVisible);
            m_frames.SetVisible(message.bVisible);
            break;
        case PageMessage::Kind::Text:
            m_text.Commit(message.text);
            break;
        case PageMessage::Kind::Paste:
            m_text.Paste(message.text);
            break;
        case PageMessage::Kind::Drawn:
            m_frames.OnAck(message.frame);
            break;
        case PageMessage::Kind::Recorded:
            m_sound->Take(message.samples);
            break;
        case PageMessage::Kind::NoMicrophone:
            m_sound->LoseMicrophone();
            break;
        case PageMessage::Kind::Entered:
            m_host.Enter(message.bFromBehind ? TabEntry::AtLast : TabEntry::AtFirst);
            m_edges = -1;  // the page knows them no more
            m_surfaceTimer.start(0);
            break;
        case PageMessage::Kind::Look:
            m_looks.OnDesktop(message.look);
            break;
        case PageMessage::Kind::None:
            break;
    }
}

// A call that waits for a share handles events meanwhile, the page's next calls among them: they wait for
// their turn, as they do for any other call.
void WebSession::OnText(std::string_view text) {
    if (m_shares.IsConnecting()) {
        m_waitingBytes += text.size();
        m_waiting.emplace_back(text);
        if (m_waiting.size() > kMostWaiting || m_waitingBytes > kMostWaitingBytes) {
            m_waiting.clear();
            m_socket.Close(WsClose::Refused);
        }
        return;
    }
    Answer(text);
    while (!m_waiting.empty() && !m_shares.IsConnecting()) {
        const std::string next = std::move(m_waiting.front());
        m_waiting.pop_front();
        m_waitingBytes -= next.size();
        Answer(next);
    }
}

void WebSession::Answer(std::string_view text) {
    const std::string answer =
        AnswerJsonRpc(text, [this](const AutomationMember& member, std::span<const Variant> arguments) {
            return Call(member, arguments);
        });
    // Before the answer: what the page reads behind it is up to date.
    TellProperties();
    if (!answer.empty()) {
        m_socket.SendText(answer);
    }
    TellWords();
}

void WebSession::Tell(PageWords which, const std::string& text) {
    const auto [known, bNew] = m_words.try_emplace(which);
    if (bNew || known->second != text) {
        known->second = text;
        m_socket.SendBinary(WordsMessage(which, text));
    }
}

// In the console's language.
void WebSession::TellWords() {
    for (const WordsRow& row : kWordRows) {
        Tell(row.which, LoadString(row.text));
    }
}

// A page reads properties at once: it is told what they are, all with the session's start and then each
// change.
void WebSession::TellProperties() {
    std::vector<Variant> changes;
    for (const AutomationMember& member : AutomationMembers()) {
        const CallResult value = member.kind == MemberKind::Get ? Get(member) : CallResult();
        if (std::holds_alternative<std::monostate>(value.value)) {
            continue;
        }
        const auto [known, bNew] = m_properties.try_emplace(member.name);
        if (bNew || known->second != value.value) {
            known->second = value.value;
            changes.emplace_back(std::string(member.name));
            changes.push_back(value.value);
        }
    }
    if (!changes.empty()) {
        Raise("properties", changes);
    }
}

// Letters, digits and signs are the console's anyhow, and so are the keys that move a cursor.
void WebSession::TellKeys() {
    std::string names = "ContextMenu";
    for (const ConsoleKey& row : ConsoleKeyTable()) {
        const std::string name = NameOfKey(row.key);
        if (name.size() > 1) {
            names += "\n" + name;
        }
    }
    m_socket.SendBinary(KeysMessage(names));
}

// What a user who does not see the picture has to know of it.
void WebSession::TellSurface() {
    const int edges = m_host.Edges();
    if (std::exchange(m_edges, edges) != edges) {
        m_socket.SendBinary(EdgesMessage(static_cast<std::uint8_t>(edges)));
    }
    Tell(PageWords::Focus, HostWindow::FocusName().toStdString());
    Tell(PageWords::Status, StatusOf(m_client.Impl().MainDlg()));
    TellProperties();
    TellWords();
}

void WebSession::OnChgLanguage(int language) {
    Raise("OnChgLanguage", {language});
    // The language is loaded once the page has heard of it.
    QTimer::singleShot(0, this, [this] {
        TellProperties();
        TellWords();
    });
}

// Properties come before the control's window. A page that shows no picture gets the control with the first
// method that it calls.
CallResult WebSession::Call(const AutomationMember& member, std::span<const Variant> arguments) {
    switch (member.kind) {
        case MemberKind::Get:
            return Get(member);
        case MemberKind::Put:
            return Put(member, arguments);
        default:
            Activate();
            return InvokeMember(m_client.Impl(), member, arguments);
    }
}

CallResult WebSession::Get(const AutomationMember& member) {
    if (m_bHostAuth && member.name == kAuthData) {
        return {CallStatus::Ok, std::string()};
    }
    return InvokeMember(m_client.Impl(), member, {});
}

CallResult WebSession::Put(const AutomationMember& member, std::span<const Variant> arguments) {
    CTR450ClientImpl& impl = m_client.Impl();
    const std::string server = impl.GetServerIP();
    const std::uint32_t port = impl.GetServerPort();
    CallResult result = InvokeMember(impl, member, arguments);
    if (result.status != CallStatus::Ok || !m_bHostAuth) {
        return result;
    }
    if (member.name == kAuthData) {
        m_bHostAuth = false;
    } else if (server != impl.GetServerIP() || port != impl.GetServerPort()) {
        impl.SetAuthData({});
        m_bHostAuth = false;
    }
    return result;
}

// The page gets what its programs need to read it, or words that say why they cannot.
void WebSession::OnShareTried(const std::string& share, int result, const std::string& path) {
    std::string words;
    if (result != kShareConnected) {
        words = LoadString(kTextNotConnected);
    } else if (path.empty()) {
        words = LoadString(kTextNotReadable);
    }
    Raise("playbackshare", {share, result, path, words});
}

void WebSession::Raise(std::string_view name, const std::vector<Variant>& arguments) {
    m_socket.SendText(JsonRpcEvent(name, arguments));
}

}  // namespace kvmon
