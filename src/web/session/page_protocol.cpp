#include "web/session/page_protocol.h"

#include <QtCore/QBuffer>
#include <QtGui/QPixmap>
#include <algorithm>
#include <cmath>
#include <iterator>
#include <optional>
#include <string_view>

#include "platform/text.h"
#include "web/platform/remote_display.h"
#include "web/session/page_keys.h"

namespace kvmon {

namespace {

enum FromPage : std::uint8_t {
    kSize = 1,
    kMove = 2,
    kButton = 3,
    kWheel = 4,
    kKey = 5,
    kLeave = 6,
    kFocus = 7,
    kDrawn = 8,
    kRecorded = 9,
    kVisible = 10,
    kText = 11,
    kPaste = 12,
    kNoMicrophone = 13,
    kLook = 14,
    kFingers = 15,
};
enum ToPage : std::uint8_t {
    kFrame = 1,
    kCursor = 2,
    kSound = 3,
    kRecord = 4,
    kDisplay = 5,
    kClipboard = 6,
    kTextWanted = 7,
    kFullScreen = 8,
    kWords = 9,
    kKeys = 10,
    kEdges = 11,
    kPicture = 12,
};

constexpr std::size_t kTileHead = 13;
constexpr std::size_t kMaxKeyName = 32;
constexpr std::size_t kMaxText = 4096;
constexpr std::size_t kMaxPaste = 64 * 1024;
constexpr std::uint32_t kMinRatio = 100;  // hundredths
constexpr std::uint32_t kMaxRatio = 400;

void Put(std::vector<std::uint8_t>& message, std::uint32_t value, int bytes) {
    for (int i = 0; i < bytes; ++i) {
        message.push_back(static_cast<std::uint8_t>(value >> (8 * i)));
    }
}

// Reads a message's numbers in their order. Once one is missing all are 0 and Complete is false.
class Reader {
public:
    explicit Reader(std::span<const std::uint8_t> bytes) : m_bytes(bytes) {}

    std::uint32_t Number(std::size_t bytes) {
        if (m_bytes.size() < bytes) {
            m_bComplete = false;
            m_bytes = {};
            return 0;
        }
        std::uint32_t value = 0;
        for (std::size_t i = 0; i < bytes; ++i) {
            value |= std::uint32_t{m_bytes[i]} << (8 * i);
        }
        m_bytes = m_bytes.subspan(bytes);
        return value;
    }
    int Signed() { return static_cast<std::int16_t>(Number(2)); }
    QPoint Point() {
        const int x = Signed();
        return {x, Signed()};
    }
    Qt::KeyboardModifiers Modifiers() {
        const std::uint32_t bits = Number(1);
        Qt::KeyboardModifiers modifiers;
        modifiers.setFlag(Qt::ShiftModifier, (bits & 1) != 0);
        modifiers.setFlag(Qt::ControlModifier, (bits & 2) != 0);
        modifiers.setFlag(Qt::AltModifier, (bits & 4) != 0);
        modifiers.setFlag(Qt::MetaModifier, (bits & 8) != 0);
        modifiers.setFlag(Qt::KeypadModifier, (bits & 16) != 0);
        return modifiers;
    }
    std::string_view Rest() {
        const std::string_view text(reinterpret_cast<const char*>(m_bytes.data()), m_bytes.size());
        m_bytes = {};
        return text;
    }
    bool HasMore() const { return !m_bytes.empty(); }
    bool IsDone() const { return m_bComplete && m_bytes.empty(); }

private:
    std::span<const std::uint8_t> m_bytes;
    bool m_bComplete = true;
};

constexpr Qt::MouseButton kButtons[] = {Qt::LeftButton, Qt::MiddleButton, Qt::RightButton};

bool ReadButton(RemoteDisplay& display, Reader& reader) {
    const QPoint at = reader.Point();
    const std::uint32_t button = reader.Number(1);
    const bool bDown = reader.Number(1) != 0;
    const Qt::KeyboardModifiers modifiers = reader.Modifiers();
    const std::uint32_t finger = reader.HasMore() ? reader.Number(1) : 0;
    if (!reader.IsDone() || button >= std::size(kButtons) || finger > 1) {
        return false;
    }
    display.PressMouse(at, kButtons[button], bDown ? PressKind::Down : PressKind::Up, modifiers,
                       finger == 1 ? Qt::MouseEventSynthesizedBySystem : Qt::MouseEventNotSynthesized);
    return true;
}

bool ReadMove(RemoteDisplay& display, Reader& reader) {
    const QPoint at = reader.Point();
    const Qt::KeyboardModifiers modifiers = reader.Modifiers();
    if (!reader.IsDone()) {
        return false;
    }
    display.MoveMouse(at, modifiers);
    return true;
}

bool ReadWheel(RemoteDisplay& display, Reader& reader) {
    const QPoint at = reader.Point();
    const QPoint angle = reader.Point();
    const Qt::KeyboardModifiers modifiers = reader.Modifiers();
    if (!reader.IsDone()) {
        return false;
    }
    display.TurnWheel(at, angle, modifiers);
    return true;
}

bool ReadKey(RemoteDisplay& display, Reader& reader) {
    const bool bDown = reader.Number(1) != 0;
    const bool bRepeat = reader.Number(1) != 0;
    const Qt::KeyboardModifiers modifiers = reader.Modifiers();
    const std::string_view name = reader.Rest();
    if (!reader.IsDone() || name.empty() || name.size() > kMaxKeyName || !IsValidUtf8(name)) {
        return false;
    }
    const PageKey key = KeyOfName(name);
    if (key.key != 0) {
        const PressKind down = bRepeat ? PressKind::Repeat : PressKind::Down;
        display.PressKey(key.key, bDown ? down : PressKind::Up, modifiers, key.text);
    }
    return true;
}

PageMessage Told(PageMessage::Kind kind) {
    PageMessage message;
    message.kind = kind;
    return message;
}

PageMessage ReadSize(Reader& reader) {
    PageMessage message = Told(PageMessage::Kind::Size);
    const int width = static_cast<int>(reader.Number(2));
    const int height = static_cast<int>(reader.Number(2));
    message.size = {width, height};
    const std::uint32_t ratio = reader.HasMore() ? reader.Number(2) : kMinRatio;
    message.ratio = std::clamp(ratio, kMinRatio, kMaxRatio) / 100.0;
    return reader.IsDone() ? message : Told(PageMessage::Kind::Wrong);
}

PageMessage ReadFocus(RemoteDisplay& display, Reader& reader) {
    const bool bHas = reader.Number(1) != 0;
    const std::uint32_t way = reader.HasMore() ? reader.Number(1) : 0;
    if (!reader.IsDone() || way > 2) {
        return Told(PageMessage::Kind::Wrong);
    }
    display.SetActive(bHas);
    PageMessage message = Told(bHas && way != 0 ? PageMessage::Kind::Entered : PageMessage::Kind::None);
    message.bFromBehind = way == 2;
    return message;
}

bool ReadFingers(RemoteDisplay& display, Reader& reader) {
    const std::uint32_t phase = reader.Number(1);
    const QPoint first = reader.Point();
    const QPoint second = reader.Point();
    if (!reader.IsDone() || phase > static_cast<std::uint32_t>(TouchPhase::TakenAway)) {
        return false;
    }
    display.TouchWithTwo(static_cast<TouchPhase>(phase), first, second);
    return true;
}

PageMessage ReadLook(Reader& reader) {
    constexpr std::optional<SkinLook> kLooks[] = {std::nullopt, SkinLook::Dark, SkinLook::Light,
                                                  SkinLook::HighContrast};
    const std::uint32_t look = reader.Number(1);
    if (!reader.IsDone() || look >= std::size(kLooks)) {
        return Told(PageMessage::Kind::Wrong);
    }
    PageMessage message = Told(PageMessage::Kind::Look);
    message.look = kLooks[look];
    return message;
}

PageMessage ReadText(Reader& reader, PageMessage::Kind kind, std::size_t most) {
    PageMessage message = Told(kind);
    message.text = reader.Rest();
    const bool bGood = !message.text.empty() && message.text.size() <= most && IsValidUtf8(message.text);
    return bGood ? message : Told(PageMessage::Kind::Wrong);
}

struct CursorName {
    Qt::CursorShape shape;
    const char* name;
};
constexpr CursorName kCursorNames[] = {
    {Qt::ArrowCursor, "default"},
    {Qt::UpArrowCursor, "default"},
    {Qt::CrossCursor, "crosshair"},
    {Qt::WaitCursor, "wait"},
    {Qt::IBeamCursor, "text"},
    {Qt::SizeVerCursor, "ns-resize"},
    {Qt::SizeHorCursor, "ew-resize"},
    {Qt::SizeBDiagCursor, "nesw-resize"},
    {Qt::SizeFDiagCursor, "nwse-resize"},
    {Qt::SizeAllCursor, "move"},
    {Qt::BlankCursor, "none"},
    {Qt::SplitVCursor, "row-resize"},
    {Qt::SplitHCursor, "col-resize"},
    {Qt::PointingHandCursor, "pointer"},
    {Qt::ForbiddenCursor, "not-allowed"},
    {Qt::WhatsThisCursor, "help"},
    {Qt::BusyCursor, "progress"},
    {Qt::OpenHandCursor, "grab"},
    {Qt::ClosedHandCursor, "grabbing"},
    {Qt::DragCopyCursor, "copy"},
    {Qt::DragMoveCursor, "move"},
    {Qt::DragLinkCursor, "alias"},
};

}  // namespace

std::vector<std::uint8_t> BeginFrame(std::uint32_t number, const QSize& display) {
    std::vector<std::uint8_t> message{kFrame};
    Put(message, number, 4);
    Put(message, static_cast<std::uint32_t>(display.width()), 2);
    Put(message, static_cast<std::uint32_t>(display.height()), 2);
    return message;
}

std::size_t BeginTile(std::vector<std::uint8_t>& message, const QRect& rect, TileCodec codec) {
    const std::size_t head = message.size();
    for (const int value : {rect.x(), rect.y(), rect.width(), rect.height()}) {
        Put(message, static_cast<std::uint32_t>(value), 2);
    }
    message.push_back(static_cast<std::uint8_t>(codec));
    Put(message, 0, 4);
    return head;
}

void EndTile(std::vector<std::uint8_t>& message, std::size_t head) {
    const std::size_t length = message.size() - head - kTileHead;
    for (std::size_t i = 0; i < 4; ++i) {
        message[head + kTileHead - 4 + i] = static_cast<std::uint8_t>(length >> (8 * i));
    }
}

std::vector<std::uint8_t> CursorMessage(const QCursor& cursor) {
    std::vector<std::uint8_t> message{kCursor};
    if (cursor.shape() == Qt::BitmapCursor && !cursor.pixmap().isNull()) {
        QByteArray bytes;
        QBuffer buffer(&bytes);
        buffer.open(QIODevice::WriteOnly);
        cursor.pixmap().save(&buffer, "PNG");
        message.push_back(1);
        Put(message, static_cast<std::uint32_t>(cursor.hotSpot().x()), 2);
        Put(message, static_cast<std::uint32_t>(cursor.hotSpot().y()), 2);
        message.insert(message.end(), bytes.begin(), bytes.end());
        return message;
    }
    const auto* const row = std::find_if(std::begin(kCursorNames), std::end(kCursorNames),
                                         [&](const CursorName& r) { return r.shape == cursor.shape(); });
    const std::string_view name = row != std::end(kCursorNames) ? row->name : "default";
    message.push_back(0);
    message.insert(message.end(), name.begin(), name.end());
    return message;
}

std::vector<std::uint8_t> SoundMessage(const PcmFormat& format, std::span<const std::uint8_t> block) {
    std::vector<std::uint8_t> message{kSound};
    Put(message, format.samplesPerSecond, 4);
    Put(message, format.channels, 1);
    Put(message, format.sampleBits, 1);
    message.insert(message.end(), block.begin(), block.end());
    return message;
}

std::vector<std::uint8_t> RecordMessage(bool bOn) {
    return {kRecord, static_cast<std::uint8_t>(bOn ? 1 : 0)};
}

std::vector<std::uint8_t> DisplayMessage(const QSize& display, double ratio) {
    std::vector<std::uint8_t> message{kDisplay};
    Put(message, static_cast<std::uint32_t>(display.width()), 2);
    Put(message, static_cast<std::uint32_t>(display.height()), 2);
    Put(message, static_cast<std::uint32_t>(std::lround(ratio * 100)), 2);
    return message;
}

std::vector<std::uint8_t> ClipboardMessage(std::string_view text) {
    std::vector<std::uint8_t> message(1 + text.size(), kClipboard);
    std::copy(text.begin(), text.end(), message.begin() + 1);
    return message;
}

std::vector<std::uint8_t> TextWantedMessage(bool bWanted) {
    return {kTextWanted, static_cast<std::uint8_t>(bWanted ? 1 : 0)};
}

std::vector<std::uint8_t> FullScreenMessage(bool bOn) {
    return {kFullScreen, static_cast<std::uint8_t>(bOn ? 1 : 0)};
}

std::vector<std::uint8_t> WordsMessage(PageWords which, std::string_view text) {
    std::vector<std::uint8_t> message(2 + text.size(), kWords);
    message[1] = static_cast<std::uint8_t>(which);
    std::copy(text.begin(), text.end(), message.begin() + 2);
    return message;
}

std::vector<std::uint8_t> KeysMessage(std::string_view names) {
    std::vector<std::uint8_t> message(1 + names.size(), kKeys);
    std::copy(names.begin(), names.end(), message.begin() + 1);
    return message;
}

std::vector<std::uint8_t> EdgesMessage(std::uint8_t edges) {
    return {kEdges, edges};
}

std::vector<std::uint8_t> PictureMessage(const GivenPicture& picture) {
    const std::string name = picture.name.substr(0, kMaxText);
    std::vector<std::uint8_t> message{kPicture, static_cast<std::uint8_t>(picture.use)};
    message.reserve(message.size() + 2 + name.size() + picture.bytes.size());
    Put(message, static_cast<std::uint32_t>(name.size()), 2);
    message.insert(message.end(), name.begin(), name.end());
    message.insert(message.end(), picture.bytes.begin(), picture.bytes.end());
    return message;
}

PageMessage ReadPageMessage(RemoteDisplay& display, std::span<const std::uint8_t> bytes) {
    PageMessage done;
    PageMessage wrong = Told(PageMessage::Kind::Wrong);
    Reader reader(bytes);
    switch (reader.Number(1)) {
        case kSize:
            return ReadSize(reader);
        case kMove:
            return ReadMove(display, reader) ? done : wrong;
        case kButton:
            return ReadButton(display, reader) ? done : wrong;
        case kWheel:
            return ReadWheel(display, reader) ? done : wrong;
        case kKey:
            return ReadKey(display, reader) ? done : wrong;
        case kLeave:
            display.LeaveMouse();
            return done;
        case kFocus:
            return ReadFocus(display, reader);
        case kDrawn: {
            PageMessage message = Told(PageMessage::Kind::Drawn);
            message.frame = reader.Number(4);
            return reader.IsDone() ? message : wrong;
        }
        case kLook:
            return ReadLook(reader);
        case kFingers:
            return ReadFingers(display, reader) ? done : wrong;
        case kNoMicrophone:
            return reader.IsDone() ? Told(PageMessage::Kind::NoMicrophone) : wrong;
        case kVisible: {
            PageMessage message = Told(PageMessage::Kind::Visible);
            message.bVisible = reader.Number(1) != 0;
            return reader.IsDone() ? message : wrong;
        }
        case kText:
            return ReadText(reader, PageMessage::Kind::Text, kMaxText);
        case kPaste:
            return ReadText(reader, PageMessage::Kind::Paste, kMaxPaste);
        case kRecorded: {
            PageMessage message = Told(PageMessage::Kind::Recorded);
            for (std::size_t i = 1; i + 1 < bytes.size(); i += 2) {
                message.samples.push_back(static_cast<std::int16_t>(reader.Number(2)));
            }
            return reader.IsDone() ? message : wrong;
        }
        default:
            return wrong;
    }
}

}  // namespace kvmon
