#include "server/documents/xml_doc.h"

#include <algorithm>

namespace kvmon {

namespace {

constexpr auto kNone = std::string_view::npos;
constexpr std::string_view kBlanks = " \t\n\r";
constexpr std::string_view kTokenEnds = " \t\n\r<>=\\/?!";
constexpr std::string_view kCDataBegin = "<![CDATA[";
constexpr std::string_view kCDataEnd = "]]>";
constexpr std::size_t kMaxNameShown = 64;

// "a" is also found by "a b", "a=b", "a/b" and "a[1]".
bool MatchesName(std::string_view token, std::string_view name) {
    return name.starts_with(token) &&
           (name.size() == token.size() || std::string_view(" =/[").find(name[token.size()]) != kNone);
}

std::string DecodeEntities(std::string_view text) {
    static constexpr struct {
        std::string_view entity;
        char character;
    } kEntities[] = {{"&lt;", '<'}, {"&amp;", '&'}, {"&gt;", '>'}, {"&apos;", '\''}, {"&quot;", '"'}};
    std::string decoded;
    decoded.reserve(text.size());
    while (!text.empty()) {
        const auto found = std::find_if(std::begin(kEntities), std::end(kEntities),
                                        [&](const auto& row) { return text.starts_with(row.entity); });
        const bool bEntity = found != std::end(kEntities);
        decoded += bEntity ? found->character : text.front();
        text.remove_prefix(bEntity ? found->entity.size() : 1);
    }
    return decoded;
}

}  // namespace

bool CXmlDoc::SetDoc(std::string_view lpszDoc) {
    m_strDoc = lpszDoc;
    m_strError.clear();
    m_iPosParent = m_iPos = m_iPosChild = 0;
    m_iPosFree = 1;
    m_aPos.clear();
    if (m_strDoc.empty()) {
        return false;
    }
    int nRoot = -1;
    if (m_strDoc.size() > kMaxLength) {
        Fail("Invalid node");
    } else {
        m_aPos.resize(m_strDoc.size() / 64 + 8);
        nRoot = ParseElem(0, 0);
    }
    if (nRoot <= 0) {
        m_aPos.clear();
        return false;
    }
    m_aPos[0].iElemChild = static_cast<std::uint32_t>(nRoot);
    return true;
}

bool CXmlDoc::IsWellFormed() const {
    return !m_aPos.empty() && m_aPos[0].iElemChild != 0;
}

// --- parsing

int CXmlDoc::Fail(const char* lpszText, std::string_view name) {
    m_strError = lpszText;
    if (const auto at = m_strError.find("%s"); at != std::string::npos) {
        m_strError.replace(at, 2, name.substr(0, kMaxNameShown));
    }
    return -1;
}

std::uint32_t CXmlDoc::NewPos(std::uint32_t iParent) {
    if (m_iPosFree == m_aPos.size()) {
        m_aPos.resize(m_aPos.size() + m_aPos.size() / 2);
    }
    m_aPos[m_iPosFree] = {};
    m_aPos[m_iPosFree].iElemParent = iParent;
    return m_iPosFree++;
}

bool CXmlDoc::ReadToken(std::size_t& nNext, Token* pToken) const {
    const std::string_view doc = m_strDoc;
    *pToken = {};
    const std::size_t begin = doc.find_first_not_of(kBlanks, nNext);
    if (begin == kNone) {
        nNext = doc.size();
        return false;
    }
    if (doc[begin] == '"' || doc[begin] == '\'') {
        const std::size_t end = std::min(doc.find(doc[begin], begin + 1), doc.size());
        pToken->text = doc.substr(begin + 1, end - begin - 1);
        pToken->bIsString = true;
        nNext = std::min(end + 1, doc.size());
        return true;
    }
    const std::size_t end = std::max(std::min(doc.find_first_of(kTokenEnds, begin), doc.size()), begin + 1);
    pToken->text = doc.substr(begin, end - begin);
    nNext = end;
    return true;
}

std::string_view CXmlDoc::NameOf(std::uint32_t iPos) const {
    std::size_t nNext = m_aPos[iPos].nStartL + 1;
    Token token;
    ReadToken(nNext, &token);
    return token.text;
}

int CXmlDoc::ParseElem(std::uint32_t iParent, int nDepth) {
    if (nDepth > kMaxDepth) {
        return Fail("Invalid node");
    }
    const std::uint32_t iPos = NewPos(iParent);
    int nResult = 0;
    if (!ParseStartTag(iPos, iParent, &nResult)) {
        m_iPosFree = iPos;
        return nResult;
    }
    ElemPos& elem = m_aPos[iPos];
    if (m_strDoc[elem.nStartR - 1] == '/') {
        elem.nEndL = elem.nStartR - 1;
        elem.nEndR = elem.nStartR;
        return static_cast<int>(iPos);
    }
    elem.nEndL = elem.nStartR + 1;
    return ParseContent(iPos, nDepth);
}

// Looks for a start tag behind what the parent has read. False if there is none: an error, or the end tag of
// the parent.
bool CXmlDoc::ParseStartTag(std::uint32_t iPos, std::uint32_t iParent, int* pnResult) {
    for (std::size_t nScan = m_aPos[iParent].nEndL;;) {
        const std::size_t nStartL = m_strDoc.find('<', nScan);
        if (nStartL == kNone) {
            // An element whose end tag is missing says so by its own name.
            *pnResult = iParent == 0 ? Fail("Element tag not found") : 0;
            return false;
        }
        m_aPos[iParent].nEndL = static_cast<std::uint32_t>(nStartL);
        m_aPos[iPos].nStartL = static_cast<std::uint32_t>(nStartL);
        std::size_t nNext = nStartL + 1;
        Token token;
        if (!ReadToken(nNext, &token)) {
            *pnResult = Fail("Abrupt end within tag");
            return false;
        }
        if (token.bIsString) {
            *pnResult = Fail("Tag starts with quote");
            return false;
        }
        const char first = token.text.front();
        if (first == '/') {
            *pnResult = iParent == 0 ? Fail("Element tag not found") : 0;
            return false;
        }
        if (first != '?' && first != '!') {
            const std::size_t nStartR = m_strDoc.find('>', nStartL);
            if (nStartR == kNone) {
                *pnResult = Fail("End of tag not found");
                return false;
            }
            m_aPos[iPos].nStartR = static_cast<std::uint32_t>(nStartR);
            return true;
        }
        nScan = nStartL;
        if (ParseNode(nScan) == NodeType::None) {
            *pnResult = Fail("Invalid node");
            return false;
        }
    }
}

int CXmlDoc::ParseContent(std::uint32_t iPos, int nDepth) {
    std::uint32_t iLast = 0;
    for (;;) {
        const int nChild = ParseElem(iPos, nDepth + 1);
        if (nChild < 0) {
            return -1;
        }
        if (nChild == 0) {
            return ParseEndTag(iPos);
        }
        const auto iChild = static_cast<std::uint32_t>(nChild);
        (iLast == 0 ? m_aPos[iPos].iElemChild : m_aPos[iLast].iElemNext) = iChild;
        iLast = iChild;
        m_aPos[iPos].nEndL = m_aPos[iChild].nEndR + 1;
    }
}

int CXmlDoc::ParseEndTag(std::uint32_t iPos) {
    const std::string_view name = NameOf(iPos);
    const std::size_t nEndL = m_strDoc.find('<', m_aPos[iPos].nEndL);
    if (nEndL == kNone) {
        return Fail("End tag of %s element not found", name);
    }
    m_aPos[iPos].nEndL = static_cast<std::uint32_t>(nEndL);
    std::size_t nNext = nEndL + 1;
    int nTokens = 0;
    Token token;
    bool bInText = ReadToken(nNext, &token);
    for (; bInText; bInText = ReadToken(nNext, &token)) {
        if (nTokens >= 2 && !token.bIsString && token.text == ">") {
            break;
        }
        if (nTokens == 0 && !token.text.starts_with('/')) {
            return Fail("Expecting end tag of element %s", name);
        }
        if (nTokens == 1 && (token.text.empty() || !MatchesName(token.text, name))) {
            return Fail("End tag does not correspond to %s", name);
        }
        ++nTokens;
    }
    if (!bInText) {
        return Fail("End tag not completed for element %s", name);
    }
    m_aPos[iPos].nEndR = static_cast<std::uint32_t>(nNext - 1);
    return static_cast<int>(iPos);
}

CXmlDoc::NodeType CXmlDoc::ParseNode(std::size_t& nPos) const {
    const std::string_view rest = std::string_view(m_strDoc).substr(nPos);
    static constexpr struct {
        std::string_view begin;
        std::string_view end;
        NodeType type;
    } kKinds[] = {{"<?", "?>", NodeType::Instruction},
                  {"<![", kCDataEnd, NodeType::CData},
                  {"<!-", "-->", NodeType::Comment}};
    for (const auto& kind : kKinds) {
        if (rest.starts_with(kind.begin)) {
            const std::size_t end = rest.find(kind.end, kind.begin.size());
            if (end == kNone) {
                return NodeType::None;
            }
            nPos += end + kind.end.size();
            return kind.type;
        }
    }
    // With blanks behind the "<" it is nothing that has an end.
    const std::size_t end = rest.starts_with("<!") ? EndOfDeclaration(nPos) : kNone;
    if (end == kNone) {
        return NodeType::None;
    }
    nPos = end;
    return NodeType::Declaration;
}

// Behind the ">" that ends a declaration with all that stands in brackets in it.
std::size_t CXmlDoc::EndOfDeclaration(std::size_t nPos) const {
    int nDepth = 0;
    for (std::size_t i = nPos; i < m_strDoc.size(); ++i) {
        const char c = m_strDoc[i];
        if (c == '"' || c == '\'') {
            i = m_strDoc.find(c, i + 1);
            if (i == kNone) {
                return kNone;
            }
        } else if (c == '[') {
            ++nDepth;
        } else if (c == ']') {
            --nDepth;
        } else if (c == '>' && nDepth == 0) {
            return i + 1;
        }
    }
    return kNone;
}

// --- the cursor

std::uint32_t CXmlDoc::FindNamed(std::uint32_t iPos, std::string_view lpszName) const {
    while (iPos != 0 && !lpszName.empty() && !MatchesName(NameOf(iPos), lpszName)) {
        iPos = m_aPos[iPos].iElemNext;
    }
    return iPos;
}

bool CXmlDoc::FindElem(std::string_view lpszName) {
    if (m_aPos.empty()) {
        return false;
    }
    const std::uint32_t iFrom = m_iPos != 0 ? m_aPos[m_iPos].iElemNext : m_aPos[m_iPosParent].iElemChild;
    const std::uint32_t iFound = FindNamed(iFrom, lpszName);
    if (iFound == 0) {
        return false;
    }
    m_iPos = iFound;
    m_iPosChild = 0;
    return true;
}

bool CXmlDoc::FindChildElem(std::string_view lpszName) {
    if (m_iPos == 0 && !FindElem()) {
        return false;
    }
    const std::uint32_t iFrom = m_iPosChild != 0 ? m_aPos[m_iPosChild].iElemNext : m_aPos[m_iPos].iElemChild;
    const std::uint32_t iFound = FindNamed(iFrom, lpszName);
    if (iFound == 0) {
        return false;
    }
    m_iPosChild = iFound;
    return true;
}

bool CXmlDoc::IntoElem() {
    if (m_iPos == 0 || m_iPosChild == 0) {
        return false;
    }
    m_iPosParent = m_iPos;
    m_iPos = m_iPosChild;
    m_iPosChild = 0;
    return true;
}

bool CXmlDoc::OutOfElem() {
    if (m_iPosParent == 0) {
        return false;
    }
    m_iPosChild = m_iPos;
    m_iPos = m_iPosParent;
    m_iPosParent = m_aPos[m_iPosParent].iElemParent;
    return true;
}

std::string CXmlDoc::GetData(std::uint32_t iPos) const {
    if (iPos == 0 || m_aPos[iPos].iElemChild != 0 || m_aPos[iPos].IsShort()) {
        return {};
    }
    const ElemPos& elem = m_aPos[iPos];
    const auto content = std::string_view(m_strDoc).substr(elem.nStartR + 1, elem.nEndL - elem.nStartR - 1);
    const std::size_t begin = content.find_first_not_of(kBlanks);
    if (begin != kNone && content.substr(begin).starts_with(kCDataBegin)) {
        const std::string_view data = content.substr(begin + kCDataBegin.size());
        if (const std::size_t end = data.find(kCDataEnd); end != kNone) {
            return std::string(data.substr(0, end));
        }
    }
    return DecodeEntities(content);
}

}  // namespace kvmon
