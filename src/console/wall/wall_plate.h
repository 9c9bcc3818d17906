// A small plate over an edge of the wall, for words that are no dialog.
#pragma once

#include <QtWidgets/QWidget>

namespace kvmon {

// User interface thread only. What is laid out in it goes from the left to the right.
class WallPlate : public QWidget {
public:
    explicit WallPlate(QWidget* host);

    // Onto the window where the wall is now. The wall's place is the host's.
    void PlaceOn(QWidget& host, const QRect& wall);
    // Gives the keyboard back and goes: when the caller has returned, which may be one of its own links.
    void Retire();

protected:
    // Of the plate in the wall.
    virtual QRect PlaceIn(const QRect& wall) = 0;

    static constexpr int kGap = 14;  // to the wall's edges

    void paintEvent(QPaintEvent* event) override;
    // A click on it is none for the cell below.
    void mousePressEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;
};

}  // namespace kvmon
