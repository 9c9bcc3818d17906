// What a channel shows: the picture on show, its place in the view, captions and the composed cell.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "channel/frames/frame_pool.h"
#include "channel/picture/draw_rect.h"
#include "channel/picture/frame_rate.h"
#include "channel/picture/image_maker.h"
#include "channel/picture/picture_texts.h"
#include "channel/picture/snapshot.h"
#include "codec/picture.h"

class QImage;
class QPainter;

namespace kvmon {

struct PictureState;

inline constexpr std::uint64_t kStillMs = 5000;  // a picture this old stands still

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
    // `wholeWanted` is called, perhaps with a lock held, when CompletePicture() has something to do.
    explicit ChannelPicture(std::function<void()> wholeWanted = {});
    ~ChannelPicture();

    // --- decode thread
    // Takes the header of the stream. When it differs from the present one: recomputes the place and
    // updates "Stream: %d x %d". The picture on show stays until the next one comes, so that a change of
    // the stream leaves no black cell. Gives the header before.
    BITMAPINFOHEADER SetBitmapInfo(const BITMAPINFOHEADER& info);
    // A finished picture takes the screen: the camera's standing caption goes, the lines count it, and if
    // there is a view it is composed into the back image, which is published; then the repaint callback is
    // called. Gives the picture before it back for recycling.
    std::unique_ptr<CVideoBmpFrame> Present(std::unique_ptr<CVideoBmpFrame> frame,
                                            const PictureCounts& counts = {});
    // In which size pictures are drawn; empty where they have to come in their own.
    PictureSize GetShownSize() const;
    // Reads the picture on show from its device if more of it is to be seen than there is in memory.
    void CompletePicture();

    // --- any thread
    // Takes the picture on show away (for recycling) with the composed image and the deinterlace buffer.
    std::unique_ptr<CVideoBmpFrame> ReleasePicture();
    void ReleaseComposed();
    // No view shows the channel, and none of its pictures comes: what composing needs is given back, and so
    // is a device's place. The picture on show stays for the view's return.
    void ReleaseWork();
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
    // What the view's images are made by; without it they are in memory as any.
    void SetImageMaker(ImageMaker make);

    // The channel that the trace tells of.
    void SetCHInMainDlg(std::uint32_t n);
    void SetMainOsdKelvaraString(const std::string& osd);
    void SetMainOsdCameraString(const std::string& osd, CaptionStay stay);
    void AutoCleanCaption();  // as the next picture does
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
    SnapshotResult SaveSnapshot(const std::string& path, SnapshotFormat format, const std::string& stamp);
    // The picture on show as a BMP file image; empty if there is none.
    std::vector<std::uint8_t> GetBitmapFile() const;

    // --- user interface thread
    // The view has gone: so do the images that were made for it.
    void ReleaseView();
    // Bytes of all images and work memory for the view.
    std::size_t GetWorkBytes() const;
    // The newest composed image, for who shows it past a painter; null if none has the present look, or a
    // lock was busy. It stays as it is until the next call of this or of Paint().
    const QImage* TakeNewest();
    enum class Newest { Take, Leave };
    // Draws what there is: the composed image, else the picture, else the ground colour with captions, on
    // an area of this size in the painter's units. Never waits. False if a lock was busy and what was
    // drawn, if anything, is not the newest; the caller asks for another paint then. Newest::Leave draws what
    // was taken last, for it must not be exchanged now.
    bool Paint(QPainter& painter, int width, int height, Newest newest = Newest::Take);

private:
    const std::unique_ptr<PictureState> m_impl;
};

}  // namespace kvmon
