// Qt's platform "kvweb": windows drawn in memory, on the display that a page shows.
#pragma once

#include <qpa/qplatformbackingstore.h>
#include <qpa/qplatformcursor.h>
#include <qpa/qplatformscreen.h>

#include <QtGui/QImage>

#include "web/platform/display_window.h"

namespace kvmon {

// A window on the display, in its pixels, with a frame when it is a dialog with a title.
class RemoteWindow final : public DisplayWindow {
public:
    explicit RemoteWindow(QWindow* window);
    ~RemoteWindow() override;

    void setGeometry(const QRect& rect) override;
    bool isExposed() const override;
    QRect normalGeometry() const override { return m_normal; }
    QMargins frameMargins() const override;
    void setVisible(bool visible) override;
    void setWindowFlags(Qt::WindowFlags flags) override;
    void setWindowState(Qt::WindowStates state) override;
    void setWindowTitle(const QString& title) override;
    WId winId() const override { return m_id; }
    void raise() override;
    void lower() override;
    void requestActivateWindow() override;
    bool setMouseGrabEnabled(bool grab) override;
    void setOpacity(qreal) override {}

    void FollowDisplay(double scale) override;
    void TellExposed() override;
    QRect TitleRect() const override;
    QRect CloseRect() const override;
    bool CanTakeFocus() const override;
    bool CoversDisplay() const;
    // The backing store's picture; not owned, null when there is none.
    void SetPicture(const QImage* picture) { m_picture = picture; }
    void Draw(QPainter& painter) const override;

private:
    void DrawFrame(QPainter& painter) const;

    const WId m_id;
    bool m_bFramed = false;
    bool m_bShown = false;
    QRect m_normal;
    QString m_title;
    const QImage* m_picture = nullptr;
};

class RemoteBackingStore final : public QPlatformBackingStore {
public:
    explicit RemoteBackingStore(QWindow* window) : QPlatformBackingStore(window) {}
    ~RemoteBackingStore() override;

    QPaintDevice* paintDevice() override { return &m_image; }
    QImage toImage() const override { return m_image; }
    void flush(QWindow* window, const QRegion& region, const QPoint& offset) override;
    void beginPaint(const QRegion& region) override;
    void resize(const QSize& size, const QRegion& staticContents) override;
    bool scroll(const QRegion& area, int dx, int dy) override;

private:
    QImage m_image;
    double m_ratio = 1;  // when it got its size
};

class RemoteCursor final : public QPlatformCursor {
public:
    void changeCursor(QCursor* cursor, QWindow* window) override;
    QPoint pos() const override;
    void setPos(const QPoint& pos) override;
};

class RemoteScreen final : public QPlatformScreen {
public:
    QRect geometry() const override;
    int depth() const override { return 32; }
    QImage::Format format() const override { return QImage::Format_RGB32; }
    // Qt draws so much larger than at the base.
    QDpi logicalDpi() const override;
    QDpi logicalBaseDpi() const override { return {kBaseDpi, kBaseDpi}; }
    QSizeF physicalSize() const override { return QSizeF(geometry().size()) * 25.4 / logicalDpi().first; }
    QPlatformCursor* cursor() const override { return &m_cursor; }
    QWindow* topLevelAt(const QPoint& point) const override;

private:
    static constexpr qreal kBaseDpi = 96;
    mutable RemoteCursor m_cursor;
};

}  // namespace kvmon
