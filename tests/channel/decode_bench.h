// A decode thread's pass without a channel around it.
#pragma once

#include <gmock/gmock.h>

#include <algorithm>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>

#include "channel/decode/decode_loop.h"
#include "channel/decode/picture_sink.h"
#include "stream_maker.h"

namespace kvtest {

// Keeps the last picture of those that a decode thread makes. Any thread.
class PictureLog final : public kvmon::PictureSink {
public:
    void SetBitmapInfo(const kvmon::BITMAPINFOHEADER& bmpInfo) override {
        const std::lock_guard lock(m_mutex);
        m_info = bmpInfo;
    }
    void AddDecodeFrame(const kvmon::ThreadControl&, std::unique_ptr<kvmon::CVideoBmpFrame> frame) override {
        {
            const std::lock_guard lock(m_mutex);
            m_last = std::move(frame);
            ++m_shown;
        }
        if (onPicture) {
            onPicture();
        }
    }
    void SetFrameType(const std::string& type) override {
        const std::lock_guard lock(m_mutex);
        m_frameType = type;
    }
    void SetCaption(const std::string&) override {}

    std::uint64_t Shown() const {
        const std::lock_guard lock(m_mutex);
        return m_shown;
    }
    std::string FrameType() const {
        const std::lock_guard lock(m_mutex);
        return m_frameType;
    }
    // The header that was told last.
    kvmon::BITMAPINFOHEADER Info() const {
        const std::lock_guard lock(m_mutex);
        return m_info;
    }
    // The green of a pixel of the last picture, counted from the upper left; -1 if it is not there.
    int PixelAt(int x, int y) const {
        const std::lock_guard lock(m_mutex);
        if (!m_last) {
            return -1;
        }
        const kvmon::BITMAPINFOHEADER& info = m_last->Info();
        const auto bits = m_last->Bitmap();
        const std::size_t at = kvmon::BitmapStride(info.biWidth, info.biBitCount) *
                                   static_cast<std::size_t>(info.biHeight - 1 - y) +
                               static_cast<std::size_t>(x * info.biBitCount / 8) + 1;
        return at < bits.size() ? bits[at] : -1;
    }

    // Called by the decode thread behind each picture.
    std::function<void()> onPicture;

private:
    mutable std::mutex m_mutex;
    kvmon::BITMAPINFOHEADER m_info;
    std::unique_ptr<kvmon::CVideoBmpFrame> m_last;
    std::string m_frameType;
    std::uint64_t m_shown = 0;
};

// The size of most pictures.
inline constexpr int kWidth = 64;
inline constexpr int kHeight = 48;

// The test queues frames and runs the decode thread's pass until they are used up.
class DecodeBench : public testing::Test {
protected:
    explicit DecodeBench(const kvmon::ChannelFactories& theFactories = {}) : factories(theFactories) {
        control.exit.Set();
        frames.SetPlaying(true);
    }

    kvmon::DecodeParts Parts() { return {frames, sink, counters, factories, kvmon::SystemClock()}; }
    void Queue(kvmon::FrameType type, std::string_view bytes) {
        auto frame = frames.NewDecodeFrame(0, bytes.size());
        std::copy(bytes.begin(), bytes.end(), frame->Begin());
        frame->SetLength(static_cast<std::uint32_t>(bytes.size()));
        frames.AddDecodeFrameToQueue(type, std::move(frame), &control.run);
    }
    void QueueRecord(std::uint32_t fourcc, bool key, int width, int height, std::string_view payload) {
        Queue(kvmon::FrameType::Wrapped, VideoRecord(fourcc, key, width, height, payload));
    }
    void QueueCoded(std::uint32_t fourcc, StreamMaker& maker, int width = kWidth, int height = kHeight) {
        const Unit unit = maker.Next();
        QueueRecord(fourcc, unit.key, width, height, unit.bytes);
    }
    // One call of DecodeFrame, which leaves when no frame waits.
    std::uint32_t Run() { return kvmon::DecodeLoop(Parts(), control).DecodeFrame(); }
    std::uint32_t RunAll() {
        std::uint32_t count = 0;
        while (frames.GetCount() > 0) {
            control.reset = control.leave = 0;
            count += Run();
        }
        return count;
    }
    // What the luma of a studio-level picture becomes.
    static int Level(int luma) { return (luma - 16) * 255 / 219; }

    const kvmon::ChannelFactories factories;
    const std::atomic<std::uint32_t> number{3};
    kvmon::FrameQueue frames{number};
    kvmon::ChannelCounters counters;
    PictureLog sink;
    kvmon::ThreadControl control;
};

}  // namespace kvtest
