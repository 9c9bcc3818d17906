#include "channel/picture/picture_texts.h"

#include "channel/base/channel_globals.h"

namespace kvmon {

namespace {

constexpr std::uint32_t kAllLines = 0xFFFFFFFF;

std::uint32_t ShownLines(std::uint32_t mask) {
    return Globals().debugLines ? kAllLines : mask;
}

}  // namespace

static_assert(kSubStringCount == kMaxCaptionLines);

bool PictureTexts::SetCameraCaption(const std::string& text, CaptionStay stay) {
    if (stay == CaptionStay::ForAWhile) {
        return Set(m_forAWhile, text);
    }
    const bool bUncovered = Set(m_forAWhile, std::string());
    return Set(m_camera, text) || bUncovered;
}

const std::string& PictureTexts::GetCaption() const {
    if (!m_recorder.empty()) {
        return m_recorder;
    }
    return m_forAWhile.empty() ? m_camera : m_forAWhile;
}

bool PictureTexts::IsShown(SubString line) const {
    return (ShownLines(m_mask) >> Index(line) & 1) != 0;
}

void PictureTexts::Update(Seen& seen) const {
    const std::uint32_t mask = ShownLines(m_mask);
    if (seen.age == m_age && seen.mask == mask) {
        return;
    }
    seen.age = m_age;
    seen.mask = mask;
    seen.texts.main = GetCaption();
    seen.texts.color = m_color;
    for (std::size_t i = 0; i < m_lines.size(); ++i) {
        if ((mask >> i & 1) != 0) {
            seen.texts.lines[i] = m_lines[i];
        } else {
            seen.texts.lines[i].clear();
        }
    }
}

}  // namespace kvmon
