#include "channel/picture/published_image.h"

namespace kvmon {

void PublishedImage::Publish(QImage& image, std::uint64_t age) {
    const std::lock_guard lock(m_cs);
    image.swap(m_ready);
    m_bFresh = true;
    m_bComposed = true;
    m_nAge = age;
}

void PublishedImage::Release() {
    const std::lock_guard lock(m_cs);
    m_bComposed = false;
    m_bFresh = false;
    m_ready = QImage();
}

bool PublishedImage::Read(const std::function<void(const QImage&)>& read) {
    const std::lock_guard lock(m_cs);
    if (m_bComposed) {
        read(m_bFresh ? m_ready : m_front);
    }
    return m_bComposed;
}

void PublishedImage::TakeReady() {
    if (m_bFresh) {
        m_front.swap(m_ready);
        m_bFresh = false;
    } else if (!m_bComposed) {
        m_front = QImage();
    }
}

PublishedImage::Taken PublishedImage::TryTake(std::uint64_t age) {
    const std::unique_lock lock(m_cs, std::try_to_lock);
    if (!lock.owns_lock()) {
        return Taken::Busy;
    }
    TakeReady();
    return m_bComposed && m_nAge == age ? Taken::Newest : Taken::Old;
}

void PublishedImage::Take() {
    const std::lock_guard lock(m_cs);
    TakeReady();
}

}  // namespace kvmon
