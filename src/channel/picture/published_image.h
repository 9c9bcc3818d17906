// The image of a cell on its way from the thread that composes to the one that paints.
#pragma once

#include <QtGui/QImage>
#include <cstdint>
#include <functional>
#include <mutex>

namespace kvmon {

// Three images take turns, so that neither thread waits for the other's work.
class PublishedImage {
public:
    // --- composing thread
    // Takes the image, which is of this age, and gives a spent one back.
    void Publish(QImage& image, std::uint64_t age);

    // --- any thread
    // There is no image any more.
    void Release();
    std::size_t GetBytes() const {
        const std::lock_guard lock(m_cs);
        return static_cast<std::size_t>(m_ready.sizeInBytes() + m_front.sizeInBytes());
    }
    // Reads the newest image, which stays as it is meanwhile. False if there is none.
    bool Read(const std::function<void(const QImage&)>& read);

    // --- user interface thread
    enum class Taken { Busy, Old, Newest };
    // Takes over what was published, without waiting for it. Busy: it is just being published.
    Taken TryTake(std::uint64_t age);
    void Take();
    // What was taken last; null when it was released since.
    const QImage& Front() const { return m_front; }

private:
    void TakeReady();

    mutable std::mutex m_cs;  // held for a swap, or a reader's copy
    QImage m_ready;           // the newest, if fresh
    bool m_bFresh = false;
    bool m_bComposed = false;  // there is an image, in m_ready or m_front
    std::uint64_t m_nAge = 0;
    QImage m_front;  // drawn from by the user interface thread, changed by it alone
};

}  // namespace kvmon
