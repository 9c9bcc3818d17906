// Where libavformat writes to: a file that stands open.
#pragma once

extern "C" {
#include <libavformat/avio.h>
}

#include <memory>

#include "media/descriptor.h"

namespace kvrecorder {

// One thread at a time. The library's own file would be opened by its name once more.
class FileOutput {
public:
    // Throws std::bad_alloc.
    explicit FileOutput(Descriptor file);
    FileOutput(const FileOutput&) = delete;
    FileOutput& operator=(const FileOutput&) = delete;

    // Until this object's end. Errors of writing are found in its `error`.
    AVIOContext* Context() const { return m_context.get(); }

private:
    struct ContextFree {
        void operator()(AVIOContext* context) const;
    };

    static int Write(void* opaque, std::uint8_t* bytes, int size);
    static std::int64_t Seek(void* opaque, std::int64_t offset, int from);

    const Descriptor m_file;
    std::unique_ptr<AVIOContext, ContextFree> m_context;
};

}  // namespace kvrecorder
