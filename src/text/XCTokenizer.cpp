// Tokens of a text, one at a time. Nothing is split in advance: a caller that needs one token of a long text pays for
// one. When empty tokens are kept, a text has one token more than separators, the empty text one; when they are
// skipped, runs of separators count as one. Invariant: m_pos is the place after the last separator that was passed.
#include <XelbrinCore/XCString.h>

#include <algorithm>

XCTokenizer::XCTokenizer(XCString text, XCString separators, EmptyTokens emptyTokens)
    : m_text(std::move(text)), m_separators(std::move(separators)), m_emptyTokens(emptyTokens)
{
}

bool XCTokenizer::GetNext(XCString& token)
{
    if (m_emptyTokens == EmptyTokens::Skip && !m_done)
        m_pos = std::min(m_text.FindFirstNotOf(m_separators, m_pos), m_text.Length());
    // Skipping ends where nothing is left; keeping also delivers the empty token after a last separator.
    if (m_done || (m_pos >= m_text.Length() && m_emptyTokens == EmptyTokens::Skip)) {
        m_done = true;
        token.Clear();
        return false;
    }
    std::size_t const end = std::min(m_text.FindFirstOf(m_separators, m_pos), m_text.Length());
    // Built before the state changes: out of memory leaves the tokenizer where it was.
    XCString found = m_text.SubStr(m_pos, end - m_pos);
    token.Swap(found);
    m_done = end == m_text.Length();
    m_pos = m_done ? end : end + 1;
    return true;
}
