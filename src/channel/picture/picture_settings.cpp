// How a channel's picture is to look, as its user and its stream set it.
#include "channel/picture/channel_picture.h"
#include "channel/picture/picture_state.h"
#include "persist/log_file.h"
#include "platform/text.h"

namespace kvmon {

BITMAPINFOHEADER ChannelPicture::GetBitmapInfo() const {
    return m_impl->Get(m_impl->info);
}

void ChannelPicture::SetViewSize(int cx, int cy) {
    {
        const std::lock_guard lock(m_impl->csState);
        Look& look = m_impl->look;
        m_impl->texts.SetLine(SubString::View, FormatText("View: %d x %d", cx, cy));
        if (look.viewWidth == cx && look.viewHeight == cy) {
            return;
        }
        look.viewWidth = cx;
        look.viewHeight = cy;
        m_impl->RefreshDrawRect();
        ++m_impl->age;  // what is being composed has the former size
    }
    ReleaseComposed();
}

void ChannelPicture::SetPixelRatio(double ratio) {
    m_impl->Set(m_impl->look.pixelRatio, ratio);
}

void ChannelPicture::SetRepaint(std::function<void()> repaint) {
    PictureState::Repaint call;
    if (repaint) {  // taking it away needs no memory: the end of a channel does so
        call = std::make_shared<const std::function<void()>>(std::move(repaint));
    }
    const std::lock_guard lock(m_impl->csState);
    m_impl->repaint.swap(call);
}

void ChannelPicture::SetImageMaker(ImageMaker make) {
    auto shared = make ? std::make_shared<const ImageMaker>(std::move(make)) : nullptr;
    const std::lock_guard lock(m_impl->csState);
    m_impl->makeImage.swap(shared);
}

void ChannelPicture::SetCHInMainDlg(std::uint32_t n) {
    m_impl->channel = n;
}

// --- texts

void ChannelPicture::SetMainOsdKelvaraString(const std::string& osd) {
    Trace("CBaseCamera::SetMainOsdKelvaraString: m_uCHInMainDlg=%u, lpszOsd=%s...\n", m_impl->channel.load(),
          osd.c_str());
    m_impl->Change([&] { return m_impl->texts.SetRecorderCaption(osd); });
}

void ChannelPicture::SetMainOsdCameraString(const std::string& osd, CaptionStay stay) {
    Trace("CBaseCamera::SetMainOsdCameraString: m_uCHInMainDlg=%u, lpszOsd=%s, bAutoClean=%u...\n",
          m_impl->channel.load(), osd.c_str(), stay == CaptionStay::UntilPicture ? 1u : 0u);
    m_impl->Change([&] { return m_impl->texts.SetCameraCaption(osd, stay); });
}

void ChannelPicture::AutoCleanCaption() {
    m_impl->Change([&] { return m_impl->texts.CleanCameraCaption(); });
}

std::string ChannelPicture::GetMainCaption() const {
    const std::lock_guard lock(m_impl->csState);
    return m_impl->texts.GetCaption();
}

void ChannelPicture::SetSubString(SubString line, const std::string& text) {
    const auto set = [&] { return m_impl->texts.SetLine(line, text); };
    if (line == SubString::DigitalZoom) {
        m_impl->Change(set);
        return;
    }
    // The other lines tell about the stream and come with its next picture.
    const std::lock_guard lock(m_impl->csState);
    set();
}

std::string ChannelPicture::GetSubString(SubString line) const {
    const std::lock_guard lock(m_impl->csState);
    return m_impl->texts.GetLine(line);
}

void ChannelPicture::SetShowSubStringMask(std::uint32_t mask) {
    m_impl->Change([&] { return m_impl->texts.SetMask(mask); });
}

std::uint32_t ChannelPicture::GetShowSubStringMask() const {
    const std::lock_guard lock(m_impl->csState);
    return m_impl->texts.GetMask();
}

bool ChannelPicture::IsLineShown(SubString line) const {
    const std::lock_guard lock(m_impl->csState);
    return m_impl->texts.IsShown(line);
}

void ChannelPicture::SetMainOsdColor(std::uint32_t color) {
    m_impl->Change([&] { return m_impl->texts.SetColor(color); });
}

std::uint32_t ChannelPicture::GetMainOsdColor() const {
    const std::lock_guard lock(m_impl->csState);
    return m_impl->texts.GetColor();
}

// --- the picture itself

void ChannelPicture::SetDisplayMode(DisplayMode mode) {
    m_impl->Change([&] {
        const bool isNew = std::exchange(m_impl->look.mode, mode) != mode;
        m_impl->RefreshDrawRect();
        return isNew;
    });
}

DisplayMode ChannelPicture::GetDisplayMode() const {
    return m_impl->Get(m_impl->look.mode);
}

void ChannelPicture::SetDeinterlace(bool on) {
    m_impl->Change([&] {
        m_impl->texts.SetLine(SubString::Deinterlace, on ? "Deinterlace: On" : "");
        return std::exchange(m_impl->look.deinterlace, on) != on;
    });
}

bool ChannelPicture::IsDeinterlace() const {
    return m_impl->Get(m_impl->look.deinterlace);
}

void ChannelPicture::StartEventHighlight(int kind) {
    m_impl->Change([&] {
        m_impl->look.eventKind = kind;
        return !std::exchange(m_impl->look.eventHighlight, true);
    });
}

void ChannelPicture::EndEventHighlight() {
    m_impl->Set(m_impl->look.eventHighlight, false);
}

int ChannelPicture::GetEventKind() const {
    return m_impl->Get(m_impl->look.eventKind);
}

bool ChannelPicture::IsEventHighlight() const {
    return m_impl->Get(m_impl->look.eventHighlight);
}

void ChannelPicture::SetEventBlinkState(bool on) {
    m_impl->Set(m_impl->look.eventBlink, on);
}

PixelRect ChannelPicture::GetDrawRect() const {
    return m_impl->Get(m_impl->look.drawRect);
}

void ChannelPicture::SetZoomRect(const PixelRect& rect) {
    m_impl->Set(m_impl->look.zoomRect, rect);
}

PixelRect ChannelPicture::GetZoomRect() const {
    return m_impl->Get(m_impl->look.zoomRect);
}

void ChannelPicture::ResetSettings() {
    SetMainOsdColor(kDefaultOsdColor);
    SetShowSubStringMask(0);
    SetDisplayMode(DisplayMode::Fill);
}

}  // namespace kvmon
