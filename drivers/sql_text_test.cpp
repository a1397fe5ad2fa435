// What the drivers share that needs no database: descriptions, parameters in texts, errors.
#include <map>

#include <gtest/gtest.h>

#include "drivers/support/sql_Description.h"
#include "drivers/support/sql_Failure.h"
#include "drivers/support/sql_Scanner.h"
#include "kpr/codes.h"

namespace vel::kos::drivers {

namespace {

constexpr Dialect POSTGRESQL = {.nestedComments = true,
                                .dollarQuotes = true,
                                .escapeTexts = true,
                                .questionOperator = true,
                                .returnEndsLine = true,
                                .atomicBodies = true};
constexpr Dialect MYSQL = {.backslashes = true, .backticks = true, .hashComments = true};

TEST(DescriptionTest, takesPairsApart)
{
    Description tDescription;
    ASSERT_TRUE(tDescription.parse(" Type = sqlite ;; FILE=a b.db;x=\"a;b \"\"c\"\" \" ; empty= ;"));
    EXPECT_EQ(tDescription.values(),
              (std::map<std::string, std::string>{
                  {"type", "sqlite"}, {"file", "a b.db"}, {"x", "a;b \"c\" "}, {"empty", ""}}));
    EXPECT_EQ(tDescription.place("type"), 1u);
    EXPECT_EQ(tDescription.place("file"), 18u);
    EXPECT_TRUE(tDescription.parse(""));
    EXPECT_TRUE(tDescription.values().empty());
}

TEST(DescriptionTest, tellsWhatIsWrongAndRepeatsNothing)
{
    for (const char* tText : {"secret", "secret;b=c", "=secret", "a=\"secret", "a=\"x\"secret", "a=secret\"y",
                              "secret=1;SECRET=2", "\"a\"=secret"}) {
        Description tDescription;
        EXPECT_FALSE(tDescription.parse(tText)) << tText;
        EXPECT_EQ(tDescription.problem().find("the description is wrong at byte "), 0u) << tText;
        EXPECT_EQ(tDescription.problem().find("secret"), std::string::npos) << tDescription.problem();
    }
    Description tDescription;
    EXPECT_FALSE(tDescription.parse("a=1; b=2 ;c"));
    EXPECT_EQ(tDescription.problem(), "the description is wrong at byte 10: a key is not followed by \"=\"");
}

TEST(DescriptionTest, knowsWhatIsSecret)
{
    Description tDescription;
    ASSERT_TRUE(tDescription.parse("user=u;password=p;PWD=q;sslpassword=r;passfile=f;client_secret=s"));
    EXPECT_EQ(tDescription.secrets(), (std::vector<std::string>{"s", "p", "q", "r"}));
}

TEST(DescriptionTest, tellsTheLongestSecretFirst)
{
    Description tDescription;
    ASSERT_TRUE(tDescription.parse("password=abc;sslpassword=abcdef"));
    EXPECT_EQ(tDescription.secrets(), (std::vector<std::string>{"abcdef", "abc"}));
}

TEST(DescriptionTest, takesNoLineBreakWithoutQuotes)
{
    for (const char* tText : {"host=a\npassword=secret", "host=a\rpassword=secret", "a\nb=secret"}) {
        Description tDescription;
        EXPECT_FALSE(tDescription.parse(tText)) << tText;
        EXPECT_EQ(tDescription.problem().find("secret"), std::string::npos) << tDescription.problem();
    }
    Description tDescription;
    EXPECT_TRUE(tDescription.parse("a=b;\n c=\"d\ne\"\n;\r\nf=g\n"));
}

TEST(ScannerTest, numbersParameters)
{
    const auto tParsed = parseStatement(
        "? '?''?' \"?\" -- ?\n ? /* ? /* ? */ ? */ $$ ? $$ $t$ ? $$ $t$ ? a$1 $a ?? E'\\'?' e '?\\' x?",
        POSTGRESQL, Markers::DOLLAR);
    EXPECT_EQ(
        tParsed.text,
        "$1 '?''?' \"?\" -- ?\n $2 /* ? /* ? */ ? */ $$ ? $$ $t$ ? $$ $t$ $3 a$1 $a ? E'\\'?' e '?\\' x$4");
    EXPECT_EQ(tParsed.problem, "");
    EXPECT_EQ(tParsed.names.size(), 4u);
    EXPECT_EQ(parseStatement("a '?", POSTGRESQL, Markers::DOLLAR).text, "a '?");
    EXPECT_EQ(parseStatement("? ?", Dialect{}, Markers::NUMBERED).text, "?1 ?2");
}

TEST(ScannerTest, knowsNames)
{
    const auto tParsed = parseStatement("a::int :b ':c' :b, x[1:2] y := :_d1", POSTGRESQL, Markers::DOLLAR);
    EXPECT_EQ(tParsed.text, "a::int $1 ':c' $1, x[1:2] y := $2");
    EXPECT_EQ(tParsed.names, (std::vector<std::string>{"b", "_d1"}));
    EXPECT_EQ(tParsed.places, (std::vector<uint32_t>{0, 0, 1}));
    EXPECT_EQ(parseStatement(":b :a :b", Dialect{}, Markers::PLAIN).text, "? ? ?");
}

TEST(ScannerTest, followsTheDialect)
{
    EXPECT_EQ(parseStatement("'\\'?' `?` # ?\n?", MYSQL, Markers::PLAIN).places.size(), 1u);
    EXPECT_EQ(
        parseStatement("[?] `?` /* /* */ ? */", Dialect{.backticks = true, .brackets = true}, Markers::PLAIN)
            .places.size(),
        1u);
    EXPECT_EQ(parseStatement("[?] $$?$$", Dialect{}, Markers::PLAIN).places.size(), 2u);
}

TEST(ScannerTest, knowsThatATextGoesOnAfterADoubledQuote)
{
    EXPECT_EQ(parseStatement("E'it''s \\'?' ?", POSTGRESQL, Markers::DOLLAR).text, "E'it''s \\'?' $1");
    EXPECT_EQ(parseStatement("E'a''\\' ?? ' ?", POSTGRESQL, Markers::DOLLAR).text, "E'a''\\' ?? ' $1");
    EXPECT_EQ(parseStatement("'a''\\' ?", POSTGRESQL, Markers::DOLLAR).text, "'a''\\' $1");
    EXPECT_EQ(statementLength("E'a''b\\';c'; d", POSTGRESQL), 12u);
}

TEST(ScannerTest, knowsThatATextGoesOnOnTheNextLine)
{
    // A text of one kind goes on as the same kind, however often; without a line break it is another one.
    for (const char* tBetween : {"\n", " \r\n\t", " -- it's ?\n ", "\n\n-- ?\n"}) {
        const std::string tStatement = std::string("E'a'") + tBetween + "'b\\'?'";
        EXPECT_EQ(parseStatement(tStatement + " ?", POSTGRESQL, Markers::DOLLAR).text, tStatement + " $1");
        const std::string tPlain = std::string("'a'") + tBetween + "'b\\' ";
        EXPECT_EQ(parseStatement(tPlain + "?", POSTGRESQL, Markers::DOLLAR).text, tPlain + "$1");
    }
    EXPECT_EQ(parseStatement("E'a' 'b\\' ?", POSTGRESQL, Markers::DOLLAR).text, "E'a' 'b\\' $1");
    EXPECT_EQ(parseStatement("E'a' -- ?", POSTGRESQL, Markers::DOLLAR).text, "E'a' -- ?");
    EXPECT_EQ(parseStatement("E'a'\n ?", POSTGRESQL, Markers::DOLLAR).text, "E'a'\n $1");
    EXPECT_EQ(statementLength("E'a'\n'b\\';c'; d", POSTGRESQL), 13u);
}

TEST(ScannerTest, knowsTheBodyOfAFunction)
{
    const std::string tBody =
        "create or replace function f(n int) returns int begin atomic select case when n > 0 "
        "then 1 else (case n when 0 then 2 end) end; select 'end;'; END;";
    EXPECT_EQ(statementLength(tBody + " select 1; end", POSTGRESQL), tBody.size());
    const std::string tProcedure = "CREATE PROCEDURE p() /* ; */ BEGIN ATOMIC insert into t values (1); end;";
    EXPECT_EQ(statementLength(tProcedure + "x", POSTGRESQL), tProcedure.size());
    // Elsewhere the words are others.
    EXPECT_EQ(statementLength("begin; atomic", POSTGRESQL), 6u);
    EXPECT_EQ(statementLength("create table begin (atomic int); x", POSTGRESQL), 32u);
    EXPECT_EQ(statementLength("select 1 as begin, 2 as atomic; x", POSTGRESQL), 31u);
    EXPECT_EQ(statementLength("create function f() begin atomic select 1; end; x", Dialect{}), 42u);
}

TEST(ScannerTest, knowsWhereAnEndOfLineIs)
{
    EXPECT_EQ(parseStatement("-- ?\r ?", POSTGRESQL, Markers::DOLLAR).text, "-- ?\r $1");
    EXPECT_EQ(parseStatement("-- ?\r ?", Dialect{}, Markers::PLAIN).places.size(), 0u);
    EXPECT_EQ(statementLength("-- ;\r a; b", POSTGRESQL), 8u);
}

TEST(ScannerTest, findsTheFirstWord)
{
    EXPECT_EQ(firstWord("\n-- x\n /* y */ CoMMit;", POSTGRESQL), "commit");
    EXPECT_EQ(firstWord("'commit'", POSTGRESQL), "");
    EXPECT_EQ(firstWord(" ;", POSTGRESQL), "");
}

TEST(ScannerTest, findsWordsAndWhatStandsBehindThem)
{
    EXPECT_EQ(leadingWords("Start /* x */ TRANSACTION;", POSTGRESQL, 3),
              (std::vector<std::string>{"start", "transaction"}));
    EXPECT_EQ(leadingWords("begin x := 1", POSTGRESQL, 3), (std::vector<std::string>{"begin", "x", ""}));
    EXPECT_EQ(leadingWords("a b c d", POSTGRESQL, 2), (std::vector<std::string>{"a", "b"}));
}

TEST(ScannerTest, baresAStatement)
{
    EXPECT_EQ(bareStatement("-- ; \n select ';' /* x */ , 1 ; -- y\n;", POSTGRESQL),
              "select ';' /* x */ , 1");
    EXPECT_EQ(bareStatement(" -- nothing\n;", POSTGRESQL), "");
    EXPECT_EQ(bareStatement("", POSTGRESQL), "");
    EXPECT_EQ(bareStatement("select 1", POSTGRESQL), "select 1");
}

TEST(ScannerTest, knowsCommentsThatAreNone)
{
    constexpr Dialect DIALECT = {.bangComments = true};
    EXPECT_FALSE(isBlank("/*!40101 set names utf8 */;", DIALECT));
    EXPECT_TRUE(isBlank("/*!40101 set names utf8 */;", POSTGRESQL));
    EXPECT_TRUE(isBlank("/* ! */;", DIALECT));
}

TEST(ScannerTest, tellsWhatItCannotTake)
{
    for (const auto& [tText, tAt] : {std::pair{"? :a", 2u}, {":a, ?", 4u}, {"x ?1", 2u}, {"x $1", 2u}}) {
        const auto tParsed = parseStatement(tText, POSTGRESQL, Markers::DOLLAR);
        EXPECT_NE(tParsed.problem, "") << tText;
        EXPECT_EQ(tParsed.problemAt, tAt) << tText;
    }
    EXPECT_NE(parseStatement("a ?? b", Dialect{}, Markers::PLAIN).problem, "");
}

TEST(ScannerTest, findsPlacesAgain)
{
    const auto tParsed = parseStatement("ab ? cd ?? ef :long g", POSTGRESQL, Markers::DOLLAR);
    ASSERT_EQ(tParsed.problem, "\"?\" and \":name\" do not go together in one statement");
    const auto tOther = parseStatement("ab :x cd ?? ef :long g", POSTGRESQL, Markers::DOLLAR);
    ASSERT_EQ(tOther.text, "ab $1 cd ? ef $2 g");
    EXPECT_EQ(tOther.sourcePosition(0), 0u);
    EXPECT_EQ(tOther.sourcePosition(6), 6u) << "cd";
    EXPECT_EQ(tOther.sourcePosition(11), 12u) << "ef";
    EXPECT_EQ(tOther.sourcePosition(17), 21u) << "g";
}

TEST(ScannerTest, dividesScripts)
{
    EXPECT_EQ(statementLength("a ';' /*;*/ --;\n $$;$$ ; b", POSTGRESQL), 24u);
    EXPECT_EQ(statementLength("a", POSTGRESQL), 1u);
    EXPECT_TRUE(isBlank(" ; -- x\n /* y */\t", POSTGRESQL));
    EXPECT_FALSE(isBlank(" ''", POSTGRESQL));
}

TEST(FailureTest, knowsWhatAStateMeans)
{
    EXPECT_EQ(failureOf("23505", "").code, SQL_E_CONSTRAINT);
    EXPECT_EQ(failureOf("23505", "").constraint, uint32_t{sql::SQL_CONSTRAINT_UNIQUE});
    EXPECT_EQ(failureOf("40P01", "").code, SQL_E_CONFLICT);
    EXPECT_TRUE(failureOf("40001", "").retry);
    EXPECT_EQ(failureOf("42999", "").code, SQL_E_SYNTAX);
    EXPECT_EQ(failureOf("42501", "").code, SQL_E_PERMISSION);
    EXPECT_EQ(failureOf("99999", "").code, E_FAIL);
    EXPECT_EQ(failureOf("", "x").text, "x");
}

TEST(FailureTest, hidesSecrets)
{
    std::string tText = "a secret, and a secret";
    hideSecret(tText, "secret");
    EXPECT_EQ(tText, "a ***, and a ***");
    hideSecret(tText, "");
    EXPECT_EQ(tText, "a ***, and a ***");
    hideSecret(tText, "*");
    EXPECT_EQ(tText, "a *********, and a *********");
}

} // namespace

} // namespace vel::kos::drivers
