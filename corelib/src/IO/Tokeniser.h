// Scans text that arrives line by line for registered tokens (literal strings
// or character classes) and reports every match, with its position in the
// accumulated text, to a callback object. Each token carries group bits so a
// caller can switch whole groups on and off as its own parsing state changes.
// Not thread-safe: one tokeniser and its callback belong to one thread.
#ifndef CORELIB_IO_TOKENISER_H
#define CORELIB_IO_TOKENISER_H

#include <cstdint>
#include <istream>
#include <string>
#include <vector>

namespace Core
{
namespace IO
{

// One registered token.
struct Token
{
    // Values of m_kind.
    static constexpr std::int32_t LITERAL = 0;         // m_text must occur as it stands
    static constexpr std::int32_t CHARACTER_CLASS = 1; // see Tokeniser::TokeniseKernel

    // LITERAL or CHARACTER_CLASS.
    std::int32_t m_kind = LITERAL;
    std::string m_text;         // the literal, or the characters of the class
    std::uint32_t m_mask = 0;   // group bits, tested by Tokeniser::ActivateTokens
    bool m_active = true;       // whether the token takes part in matching
};

// Receives the matches of a Tokeniser.
class ITokeniserCallback
{
public:
    virtual ~ITokeniserCallback() = default;

    // A token matched at position (counted from the start of the whole buffer).
    // The reference is valid during the call only. The callback may call
    // ActivateTokens (effective from the next match) and read the buffer, but
    // must not add or clear tokens, reset, or process lines from inside it.
    virtual void OnToken(const Token& token, unsigned int position) = 0;
    // A whole tokenising pass found no token at all.
    virtual void OnNoToken() = 0;
    // A pass that found at least one token has finished; lastIndex is the
    // buffer length - 1.
    virtual void OnEndOfBuffer(unsigned int lastIndex) = 0;
};

class Tokeniser
{
public:
    // Most tokens one tokeniser holds (one per bit of a mask).
    static constexpr std::size_t MAX_TOKENS = 32;
    // Result of TokeniseKernel when no token matched.
    static constexpr unsigned int NO_MATCH = 0xFFFFFFFFu;

    Tokeniser() = default;
    ~Tokeniser() = default;

    // Appends a copy of token. Returns false, adding nothing, when MAX_TOKENS
    // tokens are already registered.
    bool AddToken(const Token& token);
    // Removes every token.
    void ClearTokens();
    // Each token becomes active exactly when its mask shares a bit with mask.
    void ActivateTokens(unsigned int mask);

    // Borrows cb (never deleted here); it must outlive every later pass.
    // A null cb is reported through the release assertion handler and stored.
    void SetCallback(ITokeniserCallback* cb);

    // Empties the buffer and sets Ok() to true.
    void Reset();
    // Always true: nothing in the tokeniser sets it false; kept for callers that test it.
    bool Ok() const { return m_ok; }

    // The text of every line processed since the last Reset().
    const std::string& ReadBuffer() const { return m_buffer; }
    // Characters from to to, both inclusive; empty unless from <= to < length.
    std::string ReadBuffer(unsigned int from, unsigned int to) const;

    // Appends line to the buffer (no separator) and runs a pass over the new
    // text only. Requires: a callback is set.
    void ProcessLine(const std::string& line);
    // One pass from start: reports every match, then OnEndOfBuffer, or
    // OnNoToken if nothing matched at all.
    void TokeniseBuffer(unsigned int start);
    // Reports the first match at or after position and returns the position
    // after it, or NO_MATCH when nothing matched.
    //
    // A literal matches where its text next occurs; among literals the
    // earliest wins, ties go to the earlier-registered token. A class with
    // characters matches at the first character that is NOT one of them, if
    // that comes before the best match found so far; a class without
    // characters matches any one character at position and ends the search.
    // A class token that matched is reported even when a literal registered
    // after it occurs earlier; it is then reported at the literal's position.
    // A class match consumes one character.
    unsigned int TokeniseKernel(unsigned int position);

private:
    std::vector<Token> m_tokens;
    ITokeniserCallback* m_callbackFn = nullptr;
    std::string m_buffer;
    bool m_ok = true;
};

// Reads one line of in (up to a carriage return, a line feed or the end of
// the stream; the terminator is dropped) and, when it is not empty, hands it
// to t.ProcessLine. A CR LF pair thus gives the line and an ignored empty one.
std::istream& operator>>(std::istream& in, Tokeniser& t);

} // namespace IO
} // namespace Core

#endif
