#include "IO/Tokeniser.h"

#include "Utilities/Assert.h"

namespace Core
{
namespace IO
{

namespace
{

// Where the assertion reports say a missing callback was detected; the texts
// are fixed so that logs of every release read alike.
const char* const kSourceName = "corelib/src/IO/Tokeniser";
constexpr int kSetCallbackLine = 45;
constexpr int kKernelLine = 60;

} // namespace

bool Tokeniser::AddToken(const Token& token)
{
    if (m_tokens.size() >= MAX_TOKENS)
        return false;
    m_tokens.push_back(token);
    return true;
}

void Tokeniser::ClearTokens()
{
    m_tokens.clear();
}

void Tokeniser::ActivateTokens(unsigned int mask)
{
    for (Token& token : m_tokens)
        token.m_active = (token.m_mask & mask) != 0;
}

void Tokeniser::SetCallback(ITokeniserCallback* cb)
{
    if (cb == nullptr)
        ReleaseAssertHandler::Invoke("callbackFn", "", kSetCallbackLine, kSourceName);
    m_callbackFn = cb;
}

void Tokeniser::Reset()
{
    m_buffer.clear();
    m_ok = true;
}

std::string Tokeniser::ReadBuffer(unsigned int from, unsigned int to) const
{
    if (from > to || to >= m_buffer.size())
        return std::string();
    return m_buffer.substr(from, to - from + 1);
}

void Tokeniser::ProcessLine(const std::string& line)
{
    const unsigned int start = static_cast<unsigned int>(m_buffer.size());
    m_buffer += line;
    TokeniseBuffer(start);
}

void Tokeniser::TokeniseBuffer(unsigned int start)
{
    unsigned int next = TokeniseKernel(start);
    if (next == NO_MATCH)
    {
        if (m_callbackFn != nullptr)
            m_callbackFn->OnNoToken();
        return;
    }
    while (next != NO_MATCH)
        next = TokeniseKernel(next);
    if (m_callbackFn != nullptr)
        m_callbackFn->OnEndOfBuffer(static_cast<unsigned int>(m_buffer.size() - 1));
}

unsigned int Tokeniser::TokeniseKernel(unsigned int position)
{
    if (m_callbackFn == nullptr)
        ReleaseAssertHandler::Invoke("m_callbackFn", "", kKernelLine, kSourceName);
    if (m_tokens.empty())
        return NO_MATCH;

    const std::size_t length = m_buffer.size();
    std::size_t best = std::string::npos;
    const Token* bestLiteral = nullptr;
    const Token* bestClass = nullptr;

    for (const Token& token : m_tokens)
    {
        if (!token.m_active)
            continue;
        if (token.m_kind == Token::CHARACTER_CLASS)
        {
            if (token.m_text.empty())
            {
                // Matches any one character, so nothing after it can win; past
                // the end there is no character and it does not match at all.
                if (position < length)
                {
                    best = position;
                    bestClass = &token;
                    break;
                }
                continue;
            }
            for (std::size_t i = position; i < length && (best == std::string::npos || i < best); ++i)
            {
                if (token.m_text.find(m_buffer[i]) == std::string::npos)
                {
                    best = i;
                    bestClass = &token;
                    break;
                }
            }
        }
        else if (!token.m_text.empty())
        {
            // An empty literal would match everywhere without consuming
            // anything, so it never matches.
            const std::size_t found = m_buffer.find(token.m_text, position);
            if (found != std::string::npos && (best == std::string::npos || found < best))
            {
                best = found;
                bestLiteral = &token;
            }
        }
    }

    // A class token, once recorded, is reported even if a later literal moved
    // best to an earlier position.
    if (bestClass != nullptr)
    {
        if (m_callbackFn != nullptr)
            m_callbackFn->OnToken(*bestClass, static_cast<unsigned int>(best));
        return static_cast<unsigned int>(best + 1);
    }
    if (bestLiteral != nullptr)
    {
        if (m_callbackFn != nullptr)
            m_callbackFn->OnToken(*bestLiteral, static_cast<unsigned int>(best));
        return static_cast<unsigned int>(best + bestLiteral->m_text.size());
    }
    return NO_MATCH;
}

std::istream& operator>>(std::istream& in, Tokeniser& t)
{
    std::string line;
    char c;
    while (in.get(c) && c != '\r' && c != '\n')
        line += c;
    if (!line.empty())
        t.ProcessLine(line);
    return in;
}

} // namespace IO
} // namespace Core
