// What a channel shows: the picture on show, its place in the view, captions and the composed cell.
#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <span>
#include <string>
#include <vector>

#include <QtGui/QImage>

#include "channel/frame_pool.h"
#include "codec/cell_scaler.h"
#include "codec/picture.h"

namespace kvmon {

// Information lines: the index of a line, its mask bit is 1 << index.
enum class SubString {
    DigitalZoom = 0,
    FrameRate = 1,
    FrameCount = 2,
    View = 3,
    Stream = 4,
    Draw = 5,
    FixSize = 6,
    StreamFrom = 7,
    SysInfoFrom = 8,
    PtzCmdTo = 9,
    FrameType = 10,
    Deinterlace = 11,
};
inline constexpr int kSubStringCount = 12;
inline constexpr std::uint32_t kDefaultOsdColor = 0x004891E5;  // red in the low byte

enum class DisplayMode : int { Fill = 0, KeepAspect = 1, OwnSize = 2, PowerOfTwo = 3 };

// The image's place in a view of this size; the whole view if any size is 0.
PixelRect ComputeDrawRect(DisplayMode mode, int viewWidth, int viewHeight, int imageWidth, int imageHeight);

// The drawing side of one channel. The decode thread shows pictures and composes them into an image of
// the view's size; the user interface thread copies the last composed image and never waits for more
// than that copy.
class ChannelPicture {
public:
    ChannelPicture();
    ~ChannelPicture();

    // --- decode thread
    // Takes the header of the stream. When it differs from the present one: recomputes the place,
    // updates "Stream: %d x %d" and gives the picture on show back for recycling (else null).
    std::unique_ptr<CVideoBmpFrame> SetBitmapInfo(const BITMAPINFOHEADER& info);
    // A finished picture takes the screen. Gives the one before it back for recycling.
    std::unique_ptr<CVideoBmpFrame> Show(std::unique_ptr<CVideoBmpFrame> frame);
    // Composes the picture on show into the back image and publishes it, then calls the repaint
    // callback of the view. Nothing without a view.
    void Compose();

    // --- any thread
    // Takes the picture on show away (for recycling) with the composed image and the deinterlace buffer.
    std::unique_ptr<CVideoBmpFrame> ReleasePicture();
    void ReleaseComposed();
    bool HasPicture() const;
    BITMAPINFOHEADER GetBitmapInfo() const;
    // The view's size in pixels; 0 x 0 without a view.
    void SetViewSize(int cx, int cy);
    // Called after a new image was published, on the decode thread. Null: nobody looks.
    void SetRepaint(std::function<void()> repaint);

    void SetMainOsdKelvaraString(const std::string& osd);
    void SetMainOsdCameraString(const std::string& osd, bool bAutoClean);
    // Clears the camera caption if it was set with bAutoClean.
    void AutoCleanCaption();
    std::string GetMainCaption() const;
    void SetSubString(SubString line, const std::string& text);
    std::string GetSubString(SubString line) const;
    void SetShowSubStringMask(std::uint32_t mask);
    std::uint32_t GetShowSubStringMask() const;
    bool IsLineShown(SubString line) const;  // its bit is set, or the debug switch is on
    void SetMainOsdColor(std::uint32_t color);
    std::uint32_t GetMainOsdColor() const;
    void SetDisplayMode(DisplayMode mode);
    DisplayMode GetDisplayMode() const;
    void SetDeinterlace(bool on);
    bool IsDeinterlace() const;
    void SetEventHighlight(bool on);
    void SetEventBlinkState(bool on);
    PixelRect GetDrawRect() const;
    // The part of the picture that is shown; empty means the whole.
    void SetZoomRect(const PixelRect& rect);
    // Back to defaults: colour, mask, mode, lines and captions stay or go as ClearCameraInfo tells.
    void ResetSettings();

    // --- user interface thread
    // Draws what there is: the composed image, else the ground colour with captions. False if the lock
    // was busy and nothing was drawn; the caller asks for another paint then.
    bool Paint(class QPainter& painter, int viewWidth, int viewHeight);
    // Saves the picture on show (or the composed one, by SaveProcessImage).
    bool SaveSnapshot(const std::string& path, bool bJpeg, const std::string& stamp);
    // The picture on show as a BMP file image; empty if there is none.
    std::vector<std::uint8_t> GetBitmapFile() const;

private:
    struct Impl;
    std::unique_ptr<Impl> m_impl;
};

}  // namespace kvmon
