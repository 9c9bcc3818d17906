#include "channel/picture/picture_state.h"

#include <algorithm>

#include "persist/string_table.h"
#include "platform/text.h"

namespace kvmon {

namespace {

constexpr std::uint64_t kRateMs = 1000;
constexpr std::uint32_t kStrBitRate = 7223;
constexpr std::uint32_t kStrAge = 7225;
constexpr std::uint32_t kStrDropped = 7226;
constexpr std::uint32_t kStrJitter = 7721;

}  // namespace

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
    TellStream(counts);
    if (counts.rate != nullptr && texts.IsShown(SubString::FrameRate)) {
        texts.SetLine(SubString::FrameRate,
                      FormatText("Frame Rate: %.2f", static_cast<double>(counts.rate->Count(counts.nowMs))));
    }
    texts.SetLine(SubString::FrameCount,
                  texts.IsShown(SubString::FrameCount)
                      ? FormatText("Frame Count: %llu", static_cast<unsigned long long>(counts.shown))
                      : std::string());
}

// Only for who wants to read it.
void PictureState::TellStream(const PictureCounts& counts) {
    const auto tell = [this](SubString line, std::uint32_t name, const char* unit, std::uint64_t value) {
        texts.SetLine(line, FormatText("%s: %llu%s", LoadString(name).c_str(),
                                       static_cast<unsigned long long>(value), unit));
    };
    if (!texts.IsShown(SubString::BitRate)) {
        rateSince = 0;
    } else if (rateSince == 0 || counts.bytes < rateBytes) {
        rateSince = counts.nowMs;
        rateBytes = counts.bytes;
    } else if (counts.nowMs >= rateSince + kRateMs) {
        tell(SubString::BitRate, kStrBitRate, " kbit/s",
             (counts.bytes - rateBytes) * 8 / (counts.nowMs - rateSince));
        rateSince = counts.nowMs;
        rateBytes = counts.bytes;
    }
    if (texts.IsShown(SubString::Age) && counts.receivedMs != 0) {
        tell(SubString::Age, kStrAge, " ms", counts.nowMs - std::min(counts.nowMs, counts.receivedMs));
    }
    if (texts.IsShown(SubString::Dropped)) {
        tell(SubString::Dropped, kStrDropped, "", counts.dropped);
    }
    if (texts.IsShown(SubString::Jitter)) {
        texts.SetLine(SubString::Jitter, FormatText("%s: %llu ms (+%llu ms)", LoadString(kStrJitter).c_str(),
                                                    static_cast<unsigned long long>(counts.jitterMs),
                                                    static_cast<unsigned long long>(counts.heldMs)));
    }
}

std::pair<Look, std::uint64_t> PictureState::CopyLook() {
    texts.Update(composer.Texts());
    composer.UseMaker(makeImage);
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
    if (wholeWanted && IsWholeMissing(now.first) && !bWholeWanted.exchange(true)) {
        wholeWanted();
    }
    return true;
}

// What there is in memory is smaller than what is to be seen, and there is more elsewhere.
bool PictureState::IsWholeMissing(const Look& wanted) const {
    if (!curFrame->Whole()) {
        return false;
    }
    const PictureView there = curFrame->View();
    return wanted.NeedsWhole() || there.width < wanted.drawRect.Width() ||
           there.height < wanted.drawRect.Height();
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
