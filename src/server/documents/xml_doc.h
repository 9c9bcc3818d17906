// A small XML reader with a cursor, for documents that are read once from top to bottom.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace kvmon {

// Builds an index of the elements and copies no text. Names are compared up to the first blank. A document
// that is nested too deep or too long is refused like one that is damaged. One thread at a time.
class CXmlDoc {
public:
    static constexpr std::size_t kMaxLength = 1u << 20;
    static constexpr int kMaxDepth = 256;

    // Keeps the text, UTF-8, and puts the cursor at the top. False if it is empty or does not parse; GetError
    // then says why.
    bool SetDoc(std::string_view lpszDoc);
    bool IsWellFormed() const;
    const std::string& GetError() const { return m_strError; }

    // Goes to the next element of that name on the cursor's level, or to the next of any name. False, and
    // the cursor as it was, if there is none.
    bool FindElem(std::string_view lpszName = {});
    // The same among the children of the present element (of the root, at the top), behind the present child.
    bool FindChildElem(std::string_view lpszName = {});
    // Makes the present child the present element. False without one.
    bool IntoElem();
    // Goes back up; the element that is left becomes the present child. False at the top.
    bool OutOfElem();

    // The text of the present child, and of the present element: empty if it has children or none of it.
    std::string GetChildData() const { return GetData(m_iPosChild); }
    std::string GetData() const { return GetData(m_iPos); }

private:
    enum class NodeType {
        None = 0,
        Element = 1,
        Text = 2,
        WhiteSpace = 4,
        CData = 8,
        Instruction = 16,
        Comment = 32,
        Declaration = 64
    };

    struct ElemPos {
        std::uint32_t nStartL = 0;
        std::uint32_t nStartR = 0;
        std::uint32_t nEndL = 0;  // while parsing: how far its content is read
        std::uint32_t nEndR = 0;
        std::uint32_t iElemParent = 0;
        std::uint32_t iElemChild = 0;
        std::uint32_t iElemNext = 0;

        bool IsShort() const { return nEndR == nStartR; }
    };

    struct Token {
        std::string_view text;
        bool bIsString = false;
        std::size_t nNext = 0;
    };

    bool ReadToken(std::size_t& nNext, Token* pToken) const;
    std::string_view NameOf(std::uint32_t iPos) const;
    // The new element's index, 0 at the parent's end tag, -1 for an error.
    int ParseElem(std::uint32_t iParent, int nDepth);
    bool ParseStartTag(std::uint32_t iPos, std::uint32_t iParent, int* pnResult);
    int ParseContent(std::uint32_t iPos, int nDepth);
    int ParseEndTag(std::uint32_t iPos);
    NodeType ParseNode(std::size_t& nPos) const;
    std::size_t EndOfDeclaration(std::size_t nPos) const;
    std::uint32_t NewPos(std::uint32_t iParent);
    int Fail(const char* lpszText, std::string_view name = {});
    std::uint32_t FindNamed(std::uint32_t iPos, std::string_view lpszName) const;
    std::string GetData(std::uint32_t iPos) const;

    std::string m_strDoc;
    std::string m_strError;
    std::vector<ElemPos> m_aPos;  // 0 is the document itself
    std::uint32_t m_iPosFree = 1;
    std::uint32_t m_iPosParent = 0;
    std::uint32_t m_iPos = 0;
    std::uint32_t m_iPosChild = 0;
};

}  // namespace kvmon
