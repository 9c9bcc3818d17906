// What a channel's picture is made of. For the sources of ChannelPicture alone.
#pragma once

#include <atomic>
#include <functional>
#include <memory>
#include <mutex>
#include <utility>

#include "channel/frames/frame_pool.h"
#include "channel/picture/frame_rate.h"
#include "channel/picture/picture_composer.h"
#include "channel/picture/picture_look.h"
#include "channel/picture/picture_texts.h"
#include "channel/picture/published_image.h"

namespace kvmon {

// Two locks beside that of the published image, taken in this order:
// csFrame   the picture on show and its composer; held for one composing.
// csState   look and texts; held for a few copies.
struct PictureState {
    using Repaint = std::shared_ptr<const std::function<void()>>;

    explicit PictureState(std::function<void()> whole) : wholeWanted(std::move(whole)) {}

    const std::function<void()> wholeWanted;  // may be null
    std::atomic<bool> bWholeWanted{false};

    std::mutex csFrame;
    std::unique_ptr<CVideoBmpFrame> curFrame;
    PictureComposer composer;

    mutable std::mutex csState;
    Look look;
    PictureTexts texts;
    BITMAPINFOHEADER info{.biWidth = 0, .biHeight = 0};
    std::uint64_t shownAt = 0;  // when the picture on show took the screen
    int stillSeconds = 0;
    std::uint64_t rateSince = 0;  // from when and which count the bit rate is reckoned
    std::uint64_t rateBytes = 0;
    Repaint repaint;
    std::shared_ptr<const ImageMaker> makeImage;

    PublishedImage published;
    std::atomic<bool> hasFrame{false};
    std::atomic<std::uint32_t> channel{0xFFFFFFFF};  // for the trace
    // Counts what has to show at once, even when no further picture comes.
    std::atomic<std::uint64_t> age{0};

    // --- under csState
    void RefreshDrawRect();
    void OnPicture(const PictureCounts& counts);
    void TellStream(const PictureCounts& counts);

    // --- under csFrame
    // The look as it is now, and its age; the composer's texts and its maker of images are brought up to date
    // with it.
    std::pair<Look, std::uint64_t> UpdateLook();
    std::pair<Look, std::uint64_t> CopyLook();  // under csState, too
    bool Compose(const std::pair<Look, std::uint64_t>& now);
    bool IsWholeMissing(const Look& wanted) const;

    // --- under no lock
    static void Call(const Repaint& call) {
        if (call && *call) {
            (*call)();
        }
    }
    void Notify();
    // Changes the look or the texts; what is on the screen follows without waiting for a picture.
    template <typename Step>
    void Change(const Step& change) {
        Repaint call;
        {
            const std::lock_guard lock(csState);
            if (!change()) {
                return;
            }
            ++age;
            call = repaint;
        }
        Call(call);
    }
    template <typename Value>
    void Set(Value& place, const Value& value) {
        Change([&] { return std::exchange(place, value) != value; });
    }
    template <typename Value>
    Value Get(const Value& place) const {
        const std::lock_guard lock(csState);
        return place;
    }
};

}  // namespace kvmon
