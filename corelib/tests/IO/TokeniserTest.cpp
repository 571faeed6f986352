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

    void Literal(const std::string& text, unsigned int mask = 1)
    {
        ASSERT_TRUE(tokeniser.AddToken(Token{Token::LITERAL, text, mask, true}));
    }
    void Class(const std::string& chars, unsigned int mask = 1)
    {
        ASSERT_TRUE(tokeniser.AddToken(Token{Token::CHARACTER_CLASS, chars, mask, true}));
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

TEST_F(TokeniserTest, LiteralsAreReportedInTextOrderThenEndOfBuffer)
{
    Literal(",");
    Literal("*");
    EXPECT_EQ((Events{",@1", "*@3", "end4"}), Process("a,b*c"));
}

TEST_F(TokeniserTest, SecondLineScansOnlyTheNewTextWithPositionsFromTheBufferStart)
{
    Literal(",");
    EXPECT_EQ((Events{",@1", "end2"}), Process("a,b"));
    EXPECT_EQ((Events{",@3", "end4"}), Process(",c"));
    EXPECT_EQ("a,b,c", tokeniser.ReadBuffer());
    EXPECT_EQ((Events{"none"}), Process("xyz")) << "earlier commas are not found again";
}

TEST_F(TokeniserTest, NothingMatchingGivesOneNoTokenCall)
{
    EXPECT_EQ((Events{"none"}), Process("a,b")) << "no tokens registered";
    Literal(",", 0x2);
    EXPECT_EQ((Events{"none"}), Process("plain"));
    tokeniser.ActivateTokens(0);
    EXPECT_EQ((Events{"none"}), Process("a,b"));
    tokeniser.ActivateTokens(0x6);
    EXPECT_EQ((Events{",@11", "end12"}), Process(",x"));
}

TEST_F(TokeniserTest, EarliestLiteralWinsAndTiesGoToTheFirstRegistered)
{
    Literal("bc");
    Literal("b");
    Literal("a");
    // At 0 only "a"; at 1 "bc" and "b" tie, "bc" was registered first and
    // consumes both characters, so the lone "b" at 3 comes next.
    EXPECT_EQ((Events{"a@0", "bc@1", "b@3", "end3"}), Process("abcb"));
}

TEST_F(TokeniserTest, ClassMatchesAtTheFirstCharacterOutsideIt)
{
    Class("0123456789");
    // Digits are skipped; every other character is a match consuming one.
    EXPECT_EQ((Events{"0123456789@2", "0123456789@5", "end5"}), Process("12a34b"));
    EXPECT_EQ((Events{"none"}), Process("789")) << "a run of class characters up to the end is no match";
}

TEST_F(TokeniserTest, RecordedClassIsReportedAtAnEarlierLiteralsPosition)
{
    Class("ab");
    Literal("b");
    // From 0 the class finds ',' at 2, then the later literal "b" occurs at 1:
    // the class token is still the one reported, at 1, consuming one
    // character. From 3 the same happens with 'X' at 5 and "b" at 4.
    EXPECT_EQ((Events{"ab@1", "ab@2", "ab@4", "ab@5", "end5"}), Process("ab,abX"));
}

TEST_F(TokeniserTest, EmptyClassMatchesEveryCharacterAndEmptyLiteralNever)
{
    Literal("");
    EXPECT_EQ((Events{"none"}), Process("xy"));
    Class("");
    Literal("y");
    // The empty class stops the search at once, so "y" never wins; the pass
    // ends at the buffer's end.
    EXPECT_EQ((Events{"@2", "@3", "end3"}), Process("zy"));
}

TEST_F(TokeniserTest, GroupsSwitchedInsideOnTokenApplyFromTheNextMatch)
{
    Literal("\"", 0x1 | 0x2);
    Literal(",", 0x1);
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
    EXPECT_EQ("\"b,c\"", tokeniser.ReadBuffer(2, 6));
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

TEST_F(TokeniserTest, ReadBufferRangeIsInclusiveAndBoundsChecked)
{
    Process("abcdef");
    EXPECT_EQ("bcd", tokeniser.ReadBuffer(1, 3));
    EXPECT_EQ("f", tokeniser.ReadBuffer(5, 5));
    EXPECT_EQ("", tokeniser.ReadBuffer(2, 1));
    EXPECT_EQ("", tokeniser.ReadBuffer(0, 6));
    EXPECT_EQ("", tokeniser.ReadBuffer(7, 9));
    tokeniser.Reset();
    EXPECT_TRUE(tokeniser.Ok());
    EXPECT_EQ("", tokeniser.ReadBuffer());
}

TEST_F(TokeniserTest, StreamOperatorFeedsLinesWithoutTheirTerminators)
{
    Literal(",");
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
    ASSERT_TRUE(child.exited);
    EXPECT_EQ(0, child.exitStatus);
    EXPECT_EQ("Assertion callbackFn failed at line 45 in corelib/src/IO/Tokeniser. \n"
              "Assertion m_callbackFn failed at line 60 in corelib/src/IO/Tokeniser. \n"
              "Assertion m_callbackFn failed at line 60 in corelib/src/IO/Tokeniser. \n",
              child.output);
}

} // namespace
