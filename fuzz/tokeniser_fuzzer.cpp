// Tokens and lines from the input through the tokeniser. The first byte is
// the number of tokens (up to eight); each token is a kind-and-mask byte, a
// length byte and its text; the rest is text cut into lines at '\n'. The
// callback switches token groups on and off as matches arrive. Every report
// must lie inside the buffer, a literal must be reported where its text
// stands, and each pass must move forward.
#include "IO/Tokeniser.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <string>

using Core::IO::ITokeniserCallback;
using Core::IO::Token;
using Core::IO::Tokeniser;

namespace
{

class Checker : public ITokeniserCallback
{
public:
    explicit Checker(Tokeniser& tokeniser) : m_tokeniser(tokeniser) {}
    void OnToken(const Token& token, unsigned int position) override
    {
        const std::string& buffer = m_tokeniser.ReadBuffer();
        if (position >= buffer.size() || (m_reported && position <= m_last))
            std::abort();
        if (token.m_kind == Token::LITERAL && buffer.compare(position, token.m_text.size(), token.m_text) != 0)
            std::abort();
        m_reported = true;
        m_last = position;
        m_tokeniser.ActivateTokens(~(1u << (position % 8)));
    }
    void OnNoToken() override { m_reported = false; }
    void OnEndOfBuffer(unsigned int lastIndex) override
    {
        if (lastIndex + 1 != m_tokeniser.ReadBuffer().size())
            std::abort();
        m_reported = false;
    }

private:
    Tokeniser& m_tokeniser;
    bool m_reported = false;
    unsigned int m_last = 0;
};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    std::size_t at = 0;
    auto next = [&]() -> unsigned int { return at < size ? data[at++] : 0; };

    Tokeniser tokeniser;
    Checker checker(tokeniser);
    tokeniser.SetCallback(&checker);
    const unsigned int tokens = next() % 9;
    for (unsigned int t = 0; t < tokens; ++t)
    {
        const unsigned int header = next();
        Token token;
        token.m_kind = (header & 1) ? Token::CHARACTER_CLASS : Token::LITERAL;
        token.m_mask = 1u << (header >> 1) % 8;
        const std::size_t length = next() % 8;
        token.m_text.assign(reinterpret_cast<const char*>(data + at), std::min(length, size - at));
        at += token.m_text.size();
        tokeniser.AddToken(token);
    }
    const std::string text(reinterpret_cast<const char*>(data + at), size - at);
    std::size_t start = 0;
    for (std::size_t end; (end = text.find('\n', start)) != std::string::npos; start = end + 1)
        tokeniser.ProcessLine(text.substr(start, end - start));
    tokeniser.ProcessLine(text.substr(start));
    // The buffer is the lines without their separators.
    if (tokeniser.ReadBuffer().size() + static_cast<std::size_t>(std::count(text.begin(), text.end(), '\n')) !=
        text.size())
        std::abort();
    return 0;
}
