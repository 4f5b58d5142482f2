// Tokens as the scanner returns them for small texts.
#include "Parser/Scanner.hpp"
#include "ConsoleCapture.hpp"
#include "Parser/ParseDriver.hpp"

#include <gtest/gtest.h>

#include <climits>
#include <string>
#include <vector>

namespace {

using token = yy::Parser::token;

struct Token {
    int kind;
    std::string text;
    double number = 0;
    int line = 0;
};

bool carries_text(int kind) {
    switch (kind) {
    case token::VAR:
    case token::PROCVAR:
    case token::ATVAR:
    case token::INTERNAL_CMD:
    case token::DSPVAR:
    case token::FAUST_NAME:
    case token::TRACK_NAME:
    case token::PATTERN_NAME:
    case token::IPADDR:
    case token::STRING:
    case token::LABEL_ALIGN:
    case token::ID:
    case token::ADD_LABEL:
    case token::EXT_LABEL:
    case token::FAUST_PROGRAM:
        return true;
    default:
        return false;
    }
}

// Scans a text to its end; `eol_matters` sets the mode in which line ends
// are tokens.
std::vector<Token> scan(const std::string& text, bool eol_matters = false, bool keyword_mode = false) {
    Score score("<test>", nullptr, nullptr, false);
    ParseDriver driver(score);
    driver.ignore_eol = !eol_matters;
    driver.ignore_keyword = keyword_mode;
    Scanner scanner(&driver);
    driver.scanner = &scanner;
    scanner.open_string(text, "<test>");
    std::vector<Token> out;
    yy::location loc;
    for (int i = 0; i < 1000; ++i) {
        yy::Parser::value_type value;
        const int kind = scanner.yylex(&value, &loc);
        if (kind == token::END) break;
        Token t{kind, {}, 0, loc.begin.line};
        if (kind == token::INT) t.number = value.as<int>();
        if (kind == token::FLOAT) t.number = value.as<double>();
        if (carries_text(kind)) {
            t.text = value.as<std::string>();
            value.destroy<std::string>();
        }
        out.push_back(t);
    }
    return out;
}

std::vector<int> kinds(const std::vector<Token>& tokens) {
    std::vector<int> k;
    for (const Token& t : tokens)
        k.push_back(t.kind);
    return k;
}

} // namespace

TEST(Scanner, NumbersAndTheirUnits) {
    // "5s " is a duration in seconds: the number is a float and the unit is
    // read again; "5s)" swallows the s and gives the int.
    auto spaced = scan("5s ");
    ASSERT_EQ(kinds(spaced), (std::vector<int>{token::FLOAT, token::KW_SEC}));
    EXPECT_EQ(spaced[0].number, 5.0);

    auto closed = scan("5s)");
    ASSERT_EQ(kinds(closed), (std::vector<int>{token::INT, token::RPAREN}));
    EXPECT_EQ(closed[0].number, 5);

    EXPECT_EQ(kinds(scan("250ms ")), (std::vector<int>{token::FLOAT, token::KW_MS}));
    auto exponent = scan("1.e5 .5 3.25 2e-3 1e5x");
    ASSERT_EQ(kinds(exponent),
              (std::vector<int>{token::FLOAT, token::FLOAT, token::FLOAT, token::FLOAT, token::ID}));
    EXPECT_EQ(exponent[0].number, 1e5);
    EXPECT_EQ(exponent[1].number, 0.5);
    EXPECT_EQ(exponent[3].number, 2e-3);
    EXPECT_EQ(kinds(scan("127.0.0.1")), (std::vector<int>{token::IPADDR}));
}

TEST(Scanner, IntegerRange) {
    ConsoleCapture console;
    auto big = scan("2147483647");
    ASSERT_EQ(kinds(big), (std::vector<int>{token::INT}));
    EXPECT_TRUE(console.has_error("integer is out of range"));
    EXPECT_EQ(big[0].number, 0) << "a harmless value, so that no second error follows";

    console.clear();
    auto fine = scan("2147483646");
    EXPECT_EQ(fine[0].number, 2147483646);
    EXPECT_TRUE(console.errors.empty());
}

TEST(Scanner, NumbersBeyondSinglePrecisionAreRefused) {
    ConsoleCapture console;
    auto huge = scan("1e308 3.5e38 -1e39");
    EXPECT_EQ(kinds(huge), (std::vector<int>{token::FLOAT, token::FLOAT, token::MINUS, token::FLOAT}));
    EXPECT_TRUE(console.has_error("number is out of range: '1e308'"));
    EXPECT_TRUE(console.has_error("number is out of range: '3.5e38'"));
    EXPECT_TRUE(console.has_error("number is out of range: '1e39'"));
    EXPECT_EQ(huge[0].number, 0);

    console.clear();
    EXPECT_EQ(scan("3.4e38")[0].number, 3.4e38);
    EXPECT_TRUE(console.errors.empty());
}

TEST(Scanner, LongTokensRead) {
    // Longer than the scanner's buffer: it grows rather than giving up.
    const std::string word(100000, 'w');
    auto label = scan(word);
    ASSERT_EQ(kinds(label), (std::vector<int>{token::ID}));
    auto quoted = scan("\"" + word + "\"");
    ASSERT_EQ(kinds(quoted), (std::vector<int>{token::STRING}));
    EXPECT_TRUE(kinds(scan("// " + word + "\nnote", true)).size() >= 1);
}

TEST(Scanner, BlockCommentsDoNotNest) {
    ConsoleCapture console;
    EXPECT_EQ(kinds(scan("/* a */ note")), (std::vector<int>{token::KW_NOTE}));
    // The inner opening mark makes the comment its own return state: no
    // closing mark leaves it any more.
    EXPECT_TRUE(kinds(scan("/* a /* b */ c */ note")).empty());
    EXPECT_TRUE(console.has_error("Unterminated comment"));

    console.clear();
    // Line comments are active inside a block comment and hide its end.
    EXPECT_TRUE(kinds(scan("/* x // */\n note")).empty());
    EXPECT_TRUE(console.has_error("Unterminated comment"));
    console.clear();
    EXPECT_EQ(kinds(scan("/* x ; */\n */ note")), (std::vector<int>{token::KW_NOTE}));
}

TEST(Scanner, LineEnds) {
    // Line ends are white space unless the parser asks for them.
    EXPECT_EQ(kinds(scan("note\nnote")), (std::vector<int>{token::KW_NOTE, token::KW_NOTE}));
    auto lines = scan("a\nb", true);
    ASSERT_EQ(kinds(lines), (std::vector<int>{token::ID, token::EOL, token::ID}));
    EXPECT_EQ(lines[2].line, 2);

    // A carriage return ends a line but does not count as one.
    auto cr = scan("a\rb", true);
    ASSERT_EQ(kinds(cr), (std::vector<int>{token::ID, token::EOL, token::ID}));
    EXPECT_EQ(cr[2].line, 1);
    EXPECT_EQ(kinds(scan("a\r\nb", true)), (std::vector<int>{token::ID, token::EOL, token::EOL, token::ID}));

    // A backslash continues the line; a closing brace ends it first.
    EXPECT_EQ(kinds(scan("a \\\n b", true)), (std::vector<int>{token::ID, token::ID}));
    EXPECT_EQ(kinds(scan("a }", true))[1], token::EOL);
}

TEST(Scanner, WordsAndKeywords) {
    // Keywords are case-blind; a word takes in - / . + < and !.
    EXPECT_EQ(kinds(scan("NOTE Note note")),
              (std::vector<int>{token::KW_NOTE, token::KW_NOTE, token::KW_NOTE}));
    auto words = scan("a-b x/y a.b note<3 !x foo//bar");
    ASSERT_EQ(words.size(), 6u);
    for (const Token& t : words)
        EXPECT_EQ(t.kind, token::ID) << t.text;
    EXPECT_EQ(words[5].text, "foo//bar");

    // In message mode words are identifiers, except expr, true and false;
    // at-keywords keep their meaning in every mode.
    EXPECT_EQ(kinds(scan("note true @tight", false, true)),
              (std::vector<int>{token::ID, token::KW_TRUE, token::AT_TIGHT}));
    EXPECT_EQ(kinds(scan("@unknown_fun $x ::proc")),
              (std::vector<int>{token::ATVAR, token::VAR, token::PROCVAR}));
    auto op = scan("@+ # ! '");
    EXPECT_EQ(kinds(op), (std::vector<int>{token::ATVAR, token::SHARP, token::NOT, token::QUOTE}));
}

TEST(Scanner, StringsAndLabels) {
    auto s = scan(R"("a\nb\"c\qd" "")");
    ASSERT_EQ(s.size(), 2u);
    EXPECT_EQ(s[0].text, "a\nb\"c\\d");
    EXPECT_EQ(s[1].text, "");

    // A word with + at the end of its line is a label; the line end stays.
    auto label = scan("a+b // comment\nnote", true);
    ASSERT_EQ(kinds(label), (std::vector<int>{token::ADD_LABEL, token::EOL, token::KW_NOTE}));
    EXPECT_EQ(label[0].text, "a+b");
    auto align = scan("intro . ALIGN");
    ASSERT_EQ(kinds(align), (std::vector<int>{token::LABEL_ALIGN}));
    EXPECT_EQ(align[0].text, "intro");
}

TEST(Scanner, InvalidCharactersAreReportedAndSkipped) {
    ConsoleCapture console;
    EXPECT_EQ(kinds(scan("a ` b")), (std::vector<int>{token::ID, token::ID}));
    EXPECT_TRUE(console.has_error("invalid character (96):  '`' "));
}
