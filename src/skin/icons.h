// The signs on the buttons, as vector drawings.
#pragma once

#include <QtCore/QRectF>
#include <QtGui/QColor>

class QPainter;

namespace kvmon {

// What a sign may need to know besides its place.
struct IconInk {
    QColor ink;
    QColor accent;         // for the part of a sign that says "on" or "live"
    bool checked = false;  // some signs change with the check, such as the crossed-out speaker
};

using IconDrawing = void (*)(QPainter& painter, const QRectF& box, const IconInk& ink);

namespace icons {

// Arrangements of pictures. They fill a box of 4:3 within theirs, on whole device pixels.
void Single(QPainter& painter, const QRectF& box, const IconInk& ink);
void PictureInPicture(QPainter& painter, const QRectF& box, const IconInk& ink);
void Grid4(QPainter& painter, const QRectF& box, const IconInk& ink);
void Grid6(QPainter& painter, const QRectF& box, const IconInk& ink);
void Grid8(QPainter& painter, const QRectF& box, const IconInk& ink);
void Grid9(QPainter& painter, const QRectF& box, const IconInk& ink);
void Grid10(QPainter& painter, const QRectF& box, const IconInk& ink);
void Grid12(QPainter& painter, const QRectF& box, const IconInk& ink);
void GridCustom(QPainter& painter, const QRectF& box, const IconInk& ink);

// Commands. They fill the square in the middle of their box.
void ViewSize(QPainter& painter, const QRectF& box, const IconInk& ink);
void FullScreen(QPainter& painter, const QRectF& box, const IconInk& ink);
void Sequential(QPainter& painter, const QRectF& box, const IconInk& ink);
void Snapshot(QPainter& painter, const QRectF& box, const IconInk& ink);
void Record(QPainter& painter, const QRectF& box, const IconInk& ink);
void Speaker(QPainter& painter, const QRectF& box, const IconInk& ink);
void Microphone(QPainter& painter, const QRectF& box, const IconInk& ink);
void Globe(QPainter& painter, const QRectF& box, const IconInk& ink);
void House(QPainter& painter, const QRectF& box, const IconInk& ink);
void TwoDisplays(QPainter& painter, const QRectF& box, const IconInk& ink);
void Language(QPainter& painter, const QRectF& box, const IconInk& ink);
void Playback(QPainter& painter, const QRectF& box, const IconInk& ink);
void Gear(QPainter& painter, const QRectF& box, const IconInk& ink);
void Wrench(QPainter& painter, const QRectF& box, const IconInk& ink);
void Question(QPainter& painter, const QRectF& box, const IconInk& ink);
void Leave(QPainter& painter, const QRectF& box, const IconInk& ink);
void Reset(QPainter& painter, const QRectF& box, const IconInk& ink);
void CameraSettings(QPainter& painter, const QRectF& box, const IconInk& ink);
void MenuLines(QPainter& painter, const QRectF& box, const IconInk& ink);
void Recorders(QPainter& painter, const QRectF& box, const IconInk& ink);
void CameraList(QPainter& painter, const QRectF& box, const IconInk& ink);

// Signs for buttons of a dozen pixels and less.
void Dots(QPainter& painter, const QRectF& box, const IconInk& ink);
void ArrowUp(QPainter& painter, const QRectF& box, const IconInk& ink);
void ArrowDown(QPainter& painter, const QRectF& box, const IconInk& ink);
void ArrowLeft(QPainter& painter, const QRectF& box, const IconInk& ink);
void ArrowRight(QPainter& painter, const QRectF& box, const IconInk& ink);
void CornerUpLeft(QPainter& painter, const QRectF& box, const IconInk& ink);
void CornerUpRight(QPainter& painter, const QRectF& box, const IconInk& ink);
void CornerDownLeft(QPainter& painter, const QRectF& box, const IconInk& ink);
void CornerDownRight(QPainter& painter, const QRectF& box, const IconInk& ink);
void Plus(QPainter& painter, const QRectF& box, const IconInk& ink);
void Minus(QPainter& painter, const QRectF& box, const IconInk& ink);
void Person(QPainter& painter, const QRectF& box, const IconInk& ink);    // near
void Mountain(QPainter& painter, const QRectF& box, const IconInk& ink);  // far

// Not a button's: what turns while something is waited for. The angle in degrees.
void Spinner(QPainter& painter, const QRectF& box, const QColor& ink, int angle);
// The product's mark.
void Mark(QPainter& painter, const QRectF& box, const IconInk& ink);

}  // namespace icons
}  // namespace kvmon
