#include "IO/Tokeniser.h"

#include "Support/TestSupport.h"

#include <gtest/gtest.h>

#include <sstream>

using Core::IO::Token;
using Core::IO::Tokeniser;

namespace
{

// Records every callback as a short word: "<text>@<position>" for a token,
// "none" for OnNoToken, "end<lastIndex>" for OnEndOfBuffer.
class Recorder : public Core::IO::ITokeniserCallback
{
public:
    std::vector<std::string> events;
    std::function<void(const Token&)> onToken;

    void OnToken(const Token& token, unsigned int position) override
    {
        events.push_back(token.m_text + "@" + std::to_string(position));
        if (onToken)
            onToken(token);
    }
    void OnNoToken() override { events.push_back("none"); }
    void OnEndOfBuffer(unsigned int lastIndex) override { events.push_back("end" + std::to_string(lastIndex)); }
};

class TokeniserTest : public ::testing::Test
{
protected:
    Tokeniser tokeniser;
    Recorder recorder;

    void SetUp() override { tokeniser.SetCallback(&recorder); }

    // Registers a literal, or a character class when the text starts with '['.
    void Add(const std::string& token, unsigned int mask = 1)
    {
        const bool isClass = !token.empty() && token[0] == '[';
        ASSERT_TRUE(tokeniser.AddToken(
            Token{isClass ? Token::CHARACTER_CLASS : Token::LITERAL, token.substr(isClass ? 1 : 0), mask, true}));
    }
    // Processes one line and returns the events it caused.
    std::vector<std::string> Process(const std::string& line)
    {
        recorder.events.clear();
        tokeniser.ProcessLine(line);
        return recorder.events;
    }
};

using Events = std::vector<std::string>;

TEST_F(TokeniserTest, LaterLinesScanOnlyTheNewTextWithPositionsFromTheBufferStart)
{
    EXPECT_EQ((Events{"none"}), Process("a,b")) << "no tokens registered";
    Add(",");
    Add("*");
    EXPECT_EQ((Events{",@4", "*@6", "end7"}), Process("x,y*z"));
    EXPECT_EQ((Events{",@8", "end9"}), Process(",c"));
    EXPECT_EQ((Events{"none"}), Process("xyz")) << "earlier commas are not found again";
    tokeniser.ActivateTokens(0x2);
    EXPECT_EQ((Events{"none"}), Process("a,b")) << "no active group";
    tokeniser.ActivateTokens(0x3);
    EXPECT_EQ((Events{",@16", "end17"}), Process(",x")) << "any shared group bit activates";
}

TEST_F(TokeniserTest, MatchPrecedence)
{
    // Tokens in registration order; a leading '[' marks a character class.
    const struct { std::vector<std::string> tokens; std::string line; Events expected; } cases[] = {
        // At 1 "bc" and "b" tie; the first registered wins and consumes both.
        {{"bc", "b", "a"}, "abcb", {"a@0", "bc@1", "b@3", "end3"}},
        // Class characters are skipped; any other character matches, consuming one.
        {{"[0123456789"}, "12a34b", {"0123456789@2", "0123456789@5", "end5"}},
        {{"[0123456789"}, "789", {"none"}},
        // From 0 the class finds ',' at 2, but the later literal "b" occurs at
        // 1: the class token is reported there, consuming one character.
        {{"[ab", "b"}, "ab,abX", {"ab@1", "ab@2", "ab@4", "ab@5", "end5"}},
        {{""}, "xy", {"none"}}, // an empty literal never matches
        // An empty class matches every character at once, so "y" never wins.
        {{"[", "y"}, "zy", {"@0", "@1", "end1"}},
    };
    for (const auto& c : cases)
    {
        tokeniser.Reset();
        tokeniser.ClearTokens();
        for (const std::string& token : c.tokens)
            Add(token);
        EXPECT_EQ(c.expected, Process(c.line)) << c.line;
    }
}

TEST_F(TokeniserTest, GroupsSwitchedInsideOnTokenApplyFromTheNextMatch)
{
    Add("\"", 0x1 | 0x2);
    Add(",", 0x1);
    tokeniser.ActivateTokens(0x1);
    bool quoted = false;
    recorder.onToken = [&](const Token& token) {
        if (token.m_text == "\"")
        {
            quoted = !quoted;
            tokeniser.ActivateTokens(quoted ? 0x2 : 0x1);
        }
    };
    // The comma inside the quotes is not a token.
    EXPECT_EQ((Events{",@1", "\"@2", "\"@6", ",@7", "end8"}), Process("a,\"b,c\",d"));
    // Ranges are inclusive and bounds-checked.
    EXPECT_EQ("\"b,c\"", tokeniser.ReadBuffer(2, 6));
    EXPECT_EQ("d", tokeniser.ReadBuffer(8, 8));
    EXPECT_EQ("", tokeniser.ReadBuffer(2, 1));
    EXPECT_EQ("", tokeniser.ReadBuffer(0, 9));
}

TEST_F(TokeniserTest, TableHoldsThirtyTwoTokens)
{
    for (int i = 0; i < 32; ++i)
        EXPECT_TRUE(tokeniser.AddToken(Token{Token::LITERAL, std::to_string(i), 1u << i, true}));
    EXPECT_FALSE(tokeniser.AddToken(Token{Token::LITERAL, "x", 1, true}));
    EXPECT_EQ((Events{"none"}), Process("x"));
    tokeniser.ClearTokens();
    EXPECT_TRUE(tokeniser.AddToken(Token{Token::LITERAL, "x", 1, true}));
}

TEST_F(TokeniserTest, StreamOperatorFeedsLinesWithoutTheirTerminators)
{
    Add(",");
    std::istringstream in("a,b\r\nc,d\n\nlast,");
    std::vector<Events> perRead;
    while (in)
    {
        recorder.events.clear();
        in >> tokeniser;
        perRead.push_back(recorder.events);
    }
    // CR, then the empty line at LF, then "c,d", the empty line, "last,".
    EXPECT_EQ((std::vector<Events>{{",@1", "end2"}, {}, {",@4", "end5"}, {}, {",@10", "end10"}}), perRead);
    EXPECT_EQ("a,bc,dlast,", tokeniser.ReadBuffer());
}

TEST(TokeniserCallback, MissingCallbackIsReportedAndDoesNotCrash)
{
    auto child = CoreTest::RunInChild([] {
        Tokeniser tokeniser;
        tokeniser.AddToken(Token{Token::LITERAL, ",", 1, true});
        tokeniser.SetCallback(nullptr);
        tokeniser.ProcessLine("a,b");
    });
    ASSERT_TRUE(child.exited && child.exitStatus == 0) << child.output;
    // The reported expressions, lines and file are fixed texts that log scanners match.
    EXPECT_EQ("Assertion callbackFn failed at line 45 in corelib/src/IO/Tokeniser. \n"
              "Assertion m_callbackFn failed at line 60 in corelib/src/IO/Tokeniser. \n"
              "Assertion m_callbackFn failed at line 60 in corelib/src/IO/Tokeniser. \n",
              child.output);
}

} // namespace
