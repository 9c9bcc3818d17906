// Coded frames, which build on each other, on their way through one decoder to the screen.
#pragma once

#include <cstdint>
#include <string>

#include "channel/decode/decode_pass.h"
#include "channel/decode/picture_maker.h"

namespace kvmon {

// A decoder's loop, as it differs from the others.
struct CodedKind {
    std::uint32_t codes[3];
    const char* function;
    PictureMakerFactory make;
    bool usesThreads;
    bool asksLibrary;  // the maker's own, which may not answer
    bool tracesIndex;
    bool tracesStatus;
    const char* closedText;  // null: nothing is said of a frame for a closed decoder
    const char* failedText;
    unsigned thrownAway;  // first pictures that are not fit to be shown

    bool Handles(std::uint32_t code) const;
};

// The kind of a code; null for one that has no decoder.
const CodedKind* FindCodedKind(std::uint32_t code);

class CodedPass final : public DecodePass {
public:
    CodedPass(const DecodeParts& parts, ThreadControl& control, const CodedKind& kind);

    const char* GetName() const override { return m_kind.function; }
    bool Takes(const CBuffer& frame) const override { return m_kind.Handles(frame.m_head.dwFourccCode); }
    bool MayMove() const override { return !m_kind.asksLibrary; }
    bool Show(const CBuffer& frame) override;
    void Reset() override { m_maker->Close(); }

private:
    void PublishInfo();
    void OnKeyFrame(const CBuffer& frame, std::span<const std::uint8_t> payload);
    void TraceFrame(std::uint32_t dwIdx, const std::string& text) const;

    const CodedKind& m_kind;
    const std::unique_ptr<PictureMaker> m_maker;
    unsigned m_nThrownAway = 0;  // first pictures that were not shown
};

}  // namespace kvmon
