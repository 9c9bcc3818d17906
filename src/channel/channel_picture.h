// What a channel shows: the picture on show, its place in the view, captions and the composed cell.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "channel/draw_rect.h"
#include "channel/frame_pool.h"
#include "channel/snapshot.h"
#include "codec/picture.h"

class QPainter;

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
inline constexpr std::uint64_t kStillMs = 5000;                // a picture this old stands still

enum class SnapshotResult {
    Refused,  // nothing to save, or no place to save it
    Failed,   // the file could not be written
    Saved,
};

// The drawing side of one channel. The decode thread shows pictures and composes them into an image of
// the view's size; the user interface thread copies the last composed image and never waits for more
// than that copy.
class ChannelPicture {
public:
    ChannelPicture();
    ~ChannelPicture();

    // --- decode thread
    // Takes the header of the stream. When it differs from the present one: recomputes the place and
    // updates "Stream: %d x %d". The picture on show stays until the next one comes, so that a change of
    // the stream leaves no black cell.
    void SetBitmapInfo(const BITMAPINFOHEADER& info);
    // A finished picture takes the screen, at this time of the caller's clock. Gives the one before it back
    // for recycling.
    std::unique_ptr<CVideoBmpFrame> Show(std::unique_ptr<CVideoBmpFrame> frame, std::uint64_t nowMs = 0);
    // Composes the picture on show into the back image and publishes it, if there is a view, then calls
    // the repaint callback.
    void Compose();

    // --- any thread
    // Takes the picture on show away (for recycling) with the composed image and the deinterlace buffer.
    std::unique_ptr<CVideoBmpFrame> ReleasePicture();
    void ReleaseComposed();
    bool HasPicture() const;
    // How old the picture on show is; the greatest number without one.
    std::uint64_t PictureAgeMs(std::uint64_t nowMs) const;
    // Greys a picture that has been on show for kStillMs although the stream has been wanted since `sinceMs`,
    // until the next picture.
    void UpdateStill(std::uint64_t nowMs, std::uint64_t sinceMs);
    // For how many seconds no picture has come; 0 while they come.
    int GetStillSeconds() const;
    BITMAPINFOHEADER GetBitmapInfo() const;
    // The view's size in device pixels; 0 x 0 without a view.
    void SetViewSize(int cx, int cy);
    // Device pixels to a unit of the screen: what has a size of its own is drawn that much larger.
    void SetPixelRatio(double ratio);
    // Called on any thread when there is something new to paint; must not wait. Null: nobody looks.
    void SetRepaint(std::function<void()> repaint);

    // The channel that the trace tells of.
    void SetCHInMainDlg(std::uint32_t n);
    void SetMainOsdKelvaraString(const std::string& osd);
    // With bAutoClean the camera's standing caption, which the next picture clears. Without it a text for a
    // while, which covers the standing one until an empty text takes it away.
    void SetMainOsdCameraString(const std::string& osd, bool bAutoClean);
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
    // The frame of an event is drawn while both are on. The kind is that of the event that began last.
    void StartEventHighlight(int kind);
    void EndEventHighlight();
    bool IsEventHighlight() const;
    int GetEventKind() const;
    void SetEventBlinkState(bool on);
    PixelRect GetDrawRect() const;
    // The part of the picture that is shown; empty means the whole.
    void SetZoomRect(const PixelRect& rect);
    PixelRect GetZoomRect() const;
    // Back to the defaults: colour, mask and display mode. Texts stay.
    void ResetSettings();

    // A copy of the picture on show, or of the composed one if SaveProcessImage is set, with the stamp on
    // it. Nothing without a picture or a view.
    std::optional<Snapshot> TakeSnapshot(const std::string& stamp);
    // Takes a snapshot and writes it, and makes the folder if need be. Takes the disk's time.
    SnapshotResult SaveSnapshot(const std::string& path, bool bJpeg, const std::string& stamp);
    // The picture on show as a BMP file image; empty if there is none.
    std::vector<std::uint8_t> GetBitmapFile() const;

    // --- user interface thread
    // Draws what there is: the composed image, else the picture, else the ground colour with captions, on
    // an area of this size in the painter's units. Never waits. False if a lock was busy and what was
    // drawn, if anything, is not the newest; the caller asks for another paint then.
    bool Paint(QPainter& painter, int width, int height);

private:
    struct Impl;
    std::unique_ptr<Impl> m_impl;
};

}  // namespace kvmon
