#include "channel/picture/picture_state.h"

#include "platform/text.h"

namespace kvmon {

void PictureState::RefreshDrawRect() {
    const PixelRect rect =
        ComputeDrawRect(look.mode, look.viewWidth, look.viewHeight, info.biWidth, info.biHeight);
    if (rect.IsEmpty() || rect == look.drawRect) {
        return;
    }
    look.drawRect = rect;
    texts.SetLine(SubString::Draw, FormatText("Draw: %d x %d", rect.Width(), rect.Height()));
}

// What a new picture means for the look and the texts.
void PictureState::OnPicture(const PictureCounts& counts) {
    shownAt = counts.nowMs;
    stillSeconds = 0;
    if (std::exchange(look.still, false)) {
        ++age;
    }
    if (texts.CleanCameraCaption()) {
        ++age;
    }
    if (counts.rate != nullptr && texts.IsShown(SubString::FrameRate)) {
        texts.SetLine(SubString::FrameRate,
                      FormatText("Frame Rate: %.2f", static_cast<double>(counts.rate->Count(counts.nowMs))));
    }
    texts.SetLine(SubString::FrameCount,
                  texts.IsShown(SubString::FrameCount)
                      ? FormatText("Frame Count: %llu", static_cast<unsigned long long>(counts.shown))
                      : std::string());
}

std::pair<Look, std::uint64_t> PictureState::CopyLook() {
    texts.Update(composer.Texts());
    return {look, age.load()};
}

std::pair<Look, std::uint64_t> PictureState::UpdateLook() {
    const std::lock_guard lock(csState);
    return CopyLook();
}

// Composes the picture on show and publishes the image. False if there was nothing to compose.
bool PictureState::Compose(const std::pair<Look, std::uint64_t>& now) {
    if (!curFrame || !composer.Compose(*curFrame, now.first)) {
        return false;
    }
    published.Publish(composer.Image(), now.second);
    return true;
}

void PictureState::Notify() {
    Repaint call;
    {
        const std::lock_guard lock(csState);
        call = repaint;
    }
    Call(call);
}

}  // namespace kvmon
