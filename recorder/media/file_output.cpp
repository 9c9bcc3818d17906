#include "media/file_output.h"

extern "C" {
#include <libavutil/error.h>
#include <libavutil/mem.h>
}
#include <unistd.h>

#include <cerrno>
#include <new>
#include <utility>

namespace kvrecorder {

namespace {

constexpr int kBufferBytes = 32768;

}  // namespace

void FileOutput::ContextFree::operator()(AVIOContext* context) const {
    av_freep(&context->buffer);
    avio_context_free(&context);
}

FileOutput::FileOutput(Descriptor file) : m_file(std::move(file)) {
    void* buffer = av_malloc(kBufferBytes);
    AVIOContext* const context = buffer == nullptr
                                     ? nullptr
                                     : avio_alloc_context(static_cast<unsigned char*>(buffer), kBufferBytes,
                                                          1, this, nullptr, Write, Seek);
    if (context == nullptr) {
        av_free(buffer);
        throw std::bad_alloc();
    }
    m_context.reset(context);
}

int FileOutput::Write(void* opaque, std::uint8_t* bytes, int size) {
    const int file = static_cast<FileOutput*>(opaque)->m_file.Get();
    int written = 0;
    while (written < size) {
        const ssize_t count = ::write(file, bytes + written, static_cast<std::size_t>(size - written));
        if (count < 0 && errno == EINTR) {
            continue;
        }
        if (count <= 0) {
            return count < 0 ? AVERROR(errno) : AVERROR(EIO);
        }
        written += static_cast<int>(count);
    }
    return written;
}

std::int64_t FileOutput::Seek(void* opaque, std::int64_t offset, int from) {
    if ((from & AVSEEK_SIZE) != 0) {
        return AVERROR(ENOSYS);
    }
    const off_t place = ::lseek(static_cast<FileOutput*>(opaque)->m_file.Get(), offset, from & ~AVSEEK_FORCE);
    return place < 0 ? AVERROR(errno) : place;
}

}  // namespace kvrecorder
