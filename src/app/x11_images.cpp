#include "app/x11_images.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cstddef>
#include <utility>

namespace kvmon {

namespace {

constexpr int kPixelBytes = 4;

// Memory that is shared with the display.
class Shared {
public:
    explicit Shared(std::size_t size) : m_size(size), m_file(::memfd_create("kvmon-picture", MFD_CLOEXEC)) {
        // Memory that is promised and not there would end the program when it is drawn on.
        if (m_file >= 0 && ::posix_fallocate(m_file, 0, static_cast<off_t>(size)) == 0) {
            void* const memory = ::mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_SHARED, m_file, 0);
            m_pixels = memory == MAP_FAILED ? nullptr : static_cast<std::uint8_t*>(memory);
        }
    }
    ~Shared() {
        if (m_pixels != nullptr) {
            ::munmap(m_pixels, m_size);
        }
        if (m_file >= 0) {
            ::close(m_file);
        }
    }
    Shared(const Shared&) = delete;
    Shared& operator=(const Shared&) = delete;

    // Null if there is no such memory.
    std::uint8_t* Pixels() const { return m_pixels; }
    // The display's name for it, which it is told when it is asked for first.
    xcb_shm_seg_t Id(xcb_connection_t* connection) {
        if (m_id == XCB_NONE) {
            m_id = xcb_generate_id(connection);
            // The library closes the file when it has sent it.
            xcb_shm_attach_fd(connection, m_id, std::exchange(m_file, -1), 1);
        }
        return m_id;
    }
    // The display keeps its own hold of the memory until it has come to this.
    void Detach(xcb_connection_t* connection) const {
        if (m_id != XCB_NONE) {
            xcb_shm_detach(connection, m_id);
        }
    }

private:
    const std::size_t m_size;
    int m_file;
    std::uint8_t* m_pixels = nullptr;
    xcb_shm_seg_t m_id = XCB_NONE;
};

}  // namespace

struct X11Images::Lent {
    Lent(std::shared_ptr<X11Images> images, std::size_t size) : owner(std::move(images)), memory(size) {}

    const std::shared_ptr<X11Images> owner;
    Shared memory;
};

QImage X11Images::Make(int width, int height) {
    const std::size_t size =
        std::size_t{kPixelBytes} * static_cast<std::size_t>(width) * static_cast<std::size_t>(height);
    auto lent = std::make_unique<Lent>(shared_from_this(), size);
    if (lent->memory.Pixels() == nullptr) {
        return {};
    }
    QImage image(lent->memory.Pixels(), width, height, static_cast<qsizetype>(width) * kPixelBytes,
                 QImage::Format_RGB32, &GiveBack, lent.get());
    if (!image.isNull()) {
        Keep(*lent.release());  // it goes with the image
    }
    return image;
}

void X11Images::GiveBack(void* lent) {
    const std::unique_ptr<Lent> back(static_cast<Lent*>(lent));
    back->owner->Forget(*back);
}

void X11Images::Keep(Lent& lent) {
    const std::lock_guard lock(m_cs);
    m_lent.emplace(lent.memory.Pixels(), &lent);
}

void X11Images::Forget(const Lent& lent) {
    const std::lock_guard lock(m_cs);
    m_lent.erase(lent.memory.Pixels());
    if (m_connection != nullptr) {
        lent.memory.Detach(m_connection);
    }
}

xcb_shm_seg_t X11Images::IdOf(const QImage& image) {
    const std::lock_guard lock(m_cs);
    const auto found = m_lent.find(image.constBits());
    return found == m_lent.end() ? xcb_shm_seg_t{XCB_NONE} : found->second->memory.Id(m_connection);
}

}  // namespace kvmon
