// Images in memory that an X11 server shares with the program.
#pragma once

#include <xcb/shm.h>

#include <QtGui/QImage>
#include <cstdint>
#include <memory>
#include <mutex>
#include <unordered_map>

namespace kvmon {

// What makes them and knows the display's names for them. An image may go on any thread, and later than the
// display. Any thread.
class X11Images : public std::enable_shared_from_this<X11Images> {
public:
    explicit X11Images(xcb_connection_t* connection) : m_connection(connection) {}
    X11Images(const X11Images&) = delete;
    X11Images& operator=(const X11Images&) = delete;
    ~X11Images() = default;

    // Of 32 bits a pixel, rows packed; null if there is no memory to share.
    QImage Make(int width, int height);
    // The display's name for the memory of an image, which it is told when it is asked for first; none if it
    // is not one of these.
    xcb_shm_seg_t IdOf(const QImage& image);
    // The connection is used no more.
    void Close() {
        const std::lock_guard lock(m_cs);
        m_connection = nullptr;
    }

private:
    struct Lent;

    static void GiveBack(void* lent);
    void Keep(Lent& lent);
    void Forget(const Lent& lent);

    std::mutex m_cs;
    xcb_connection_t* m_connection;
    std::unordered_map<const std::uint8_t*, Lent*> m_lent;
};

}  // namespace kvmon
