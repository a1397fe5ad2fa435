// What the ODBC driver does with texts before and after any database sees them.
#include <gtest/gtest.h>

#include "drivers/odbc/sql_OdbcProfile.h"
#include "drivers/odbc/sql_OdbcText.h"
#include "drivers/odbc/sql_OdbcTypes.h"
#include "drivers/support/sql_Failure.h"
#include "kpr/codes.h"

namespace vel::kos::drivers {

namespace {

TEST(OdbcTextTest, isUtf16AndBack)
{
    const std::string tTexts[] = {"",
                                  "a",
                                  std::string("a\0b", 3),
                                  "\xC3\xA4",
                                  "\xEF\xBF\xBF",
                                  "\xF0\x90\x80\x80",
                                  "\xF4\x8F\xBF\xBF",
                                  "x\xF0\x9F\x98\x80y"};
    for (const std::string& tText : tTexts) {
        std::u16string tWide;
        std::string tBack;
        EXPECT_TRUE(toUtf16(tText, tWide)) << tText;
        EXPECT_TRUE(toUtf8(tWide, tBack));
        EXPECT_EQ(tBack, tText);
    }
    std::u16string tWide;
    EXPECT_TRUE(toUtf16("\xF0\x9F\x98\x80", tWide));
    EXPECT_EQ(tWide, u"\xD83D\xDE00");
}

TEST(OdbcTextTest, takesNothingThatIsMalformed)
{
    // Cut off, a continuation alone, longer than need be, surrogates, past the last character.
    for (const char* tText : {"\xC3", "\xE4\xB8", "\xF0\x9F\x98", "\x80", "\xC0\xAF", "\xC1\xBF",
                              "\xE0\x80\xAF", "\xF0\x80\x80\xAF", "\xED\xA0\x80", "\xED\xBF\xBF",
                              "\xF4\x90\x80\x80", "\xFE", "\xC3(", "\xF5\x80\x80\x80"}) {
        std::u16string tWide;
        EXPECT_FALSE(toUtf16(tText, tWide)) << tText;
    }
    for (const std::u16string& tWide : {std::u16string(u"\xD83D"), std::u16string(u"\xDE00"),
                                        std::u16string(u"\xDE00\xD83D"), std::u16string(u"\xD83Dx")}) {
        std::string tText;
        EXPECT_FALSE(toUtf8(tWide, tText));
    }
}

std::string stringOf(const char* pDescription, std::string* pProblem = nullptr)
{
    Description tDescription;
    EXPECT_TRUE(tDescription.parse(pDescription)) << tDescription.problem();
    std::string tProblem;
    const std::string tString = connectionString(tDescription, tProblem);
    EXPECT_EQ(tProblem.empty(), pProblem == nullptr) << tProblem;
    if (pProblem) *pProblem = tProblem;
    return tString;
}

TEST(OdbcTextTest, makesConnectionStrings)
{
    EXPECT_EQ(stringOf("type=odbc;DSN=orders;user=u;password=p;connect_timeout=3"),
              "dsn=orders;pwd=p;uid=u;");
    EXPECT_EQ(stringOf("server=s;driver={ODBC Driver 18 for SQL Server};type=odbc"),
              "driver={ODBC Driver 18 for SQL Server};server=s;");
    EXPECT_EQ(stringOf("driver=/usr/lib/x.so"), "driver=/usr/lib/x.so;");
    EXPECT_EQ(stringOf("driver=a;dsn=b"), "dsn=b;") << "the data source names its driver";
    EXPECT_EQ(stringOf("dsn=b;pwd=\"a;b}c{\"\"\""), "dsn=b;pwd={a;b}}c{\"};")
        << "nothing in a value begins a key";
    EXPECT_EQ(stringOf("dsn=b;pwd={x}"), "dsn=b;pwd={{x}}};") << "braces of a password are its own";
    EXPECT_EQ(stringOf("dsn=b;pwd=\" x\""), "dsn=b;pwd={ x};");
    std::string tProblem;
    stringOf("type=odbc;server=s", &tProblem);
    EXPECT_EQ(tProblem, "the description names no data source (dsn) and no driver");
    stringOf("dsn=b;user=a;uid=secret", &tProblem);
    EXPECT_EQ(tProblem, "\"user\" and \"uid\" are the same key");
    stringOf("dsn=b;{x=secret", &tProblem);
    EXPECT_EQ(tProblem, "a connection string has no place for \"{x\"");
}

TEST(OdbcTextTest, knowsSecretsAsTheyStandInTheString)
{
    Description tDescription;
    ASSERT_TRUE(tDescription.parse("dsn=b;pwd=a}b;sslpassword=x"));
    EXPECT_EQ(secretsOfConnection(tDescription), (std::vector<std::string>{"a}}b", "a}b", "x"}));
}

TEST(OdbcTextTest, leavesOutWhoHandedATextOn)
{
    EXPECT_EQ(tidyOdbc("[unixODBC][Driver Manager]Can't open lib 'x' "), "Can't open lib 'x'");
    EXPECT_EQ(tidyOdbc("[a]no such table: [b]\n"), "no such table: [b]");
    EXPECT_EQ(tidyOdbc("[never closed"), "[never closed");
}

TEST(OdbcTypesTest, haveOneForm)
{
    const auto tForm = [](uint32_t pType, std::string pText) {
        toOneForm(pType, pText);
        return pText;
    };
    EXPECT_EQ(tForm(sql::SQL_VALUE_DECIMAL, ".50"), "0.50");
    EXPECT_EQ(tForm(sql::SQL_VALUE_DECIMAL, "-.5"), "-0.5");
    EXPECT_EQ(tForm(sql::SQL_VALUE_DECIMAL, "-1.5"), "-1.5");
    EXPECT_EQ(tForm(sql::SQL_VALUE_TIME, "23:59:59.500000"), "23:59:59.5");
    EXPECT_EQ(tForm(sql::SQL_VALUE_TIME, "23:59:50.000"), "23:59:50");
    EXPECT_EQ(tForm(sql::SQL_VALUE_TIME, "10:20:30"), "10:20:30") << "no fraction, no change";
    EXPECT_EQ(tForm(sql::SQL_VALUE_TIME, "12:00:00+02"), "12:00:00+02:00");
    EXPECT_EQ(tForm(sql::SQL_VALUE_TIMESTAMP, "2026-01-31T23:59:59.1230 +02:00"),
              "2026-01-31 23:59:59.123+02:00");
    EXPECT_EQ(tForm(sql::SQL_VALUE_TIMESTAMP, "2026-01-30"), "2026-01-30");
    EXPECT_EQ(tForm(sql::SQL_VALUE_TEXT, ".50"), ".50");
}

TEST(OdbcTypesTest, areDeclared)
{
    EXPECT_EQ(declaredOdbc("varchar", odbc::VARCHAR, 20, 0), "varchar(20)");
    EXPECT_EQ(declaredOdbc("varchar(20)", odbc::VARCHAR, 20, 0), "varchar(20)");
    EXPECT_EQ(declaredOdbc("numeric", odbc::NUMERIC, 38, 10), "numeric(38,10)");
    EXPECT_EQ(declaredOdbc("nvarchar", odbc::WVARCHAR, 0, 0), "nvarchar") << "of any length";
    EXPECT_EQ(declaredOdbc("int", odbc::INTEGER, 10, 0), "int");
    EXPECT_EQ(declaredOdbc("", odbc::VARCHAR, 20, 0), "");
}

TEST(OdbcTypesTest, knowWhatTheirValuesAre)
{
    EXPECT_EQ(typeOfOdbc(odbc::BIGINT, false, ""), uint32_t{sql::SQL_VALUE_INTEGER});
    EXPECT_EQ(typeOfOdbc(odbc::BIGINT, true, ""), uint32_t{sql::SQL_VALUE_DECIMAL})
        << "they may be too large";
    EXPECT_EQ(typeOfOdbc(odbc::VARCHAR, false, "bool"), uint32_t{sql::SQL_VALUE_INTEGER});
    EXPECT_EQ(typeOfOdbc(odbc::SS_TIMESTAMP_WITH_ZONE, false, ""), uint32_t{sql::SQL_VALUE_TIMESTAMP});
    EXPECT_EQ(typeOfOdbc(-9999, false, "geometry"), uint32_t{sql::SQL_VALUE_TEXT});
}

TEST(OdbcControlTest, knowsWhatBeginsAndEndsTransactions)
{
    const auto tControl = [](const char* pText) {
        return controlOf(parseStatement(pText, profileOf("MariaDB").dialect, Markers::PLAIN),
                         profileOf("MariaDB").dialect);
    };
    for (const char* tText :
         {"begin", " BEGIN ;", "begin work", "/* x */ Start -- y\n transaction", "begin transaction;"})
        EXPECT_EQ(tControl(tText), Control::BEGIN) << tText;
    for (const char* tText : {"commit", "COMMIT WORK", "end", "commit /* all */"})
        EXPECT_EQ(tControl(tText), Control::COMMIT) << tText;
    for (const char* tText : {"rollback", "rollback work", "abort"})
        EXPECT_EQ(tControl(tText), Control::ROLLBACK) << tText;
    for (const char* tText :
         {"begin immediate", "start transaction read only", "begin isolation level serializable"})
        EXPECT_EQ(tControl(tText), Control::OTHER) << tText;
    for (const char* tText : {"rollback to x", "commit prepared 'x'", "begin x := 1; end", "select 1", "",
                              "'begin'", "begin 'x'", "start slave"})
        EXPECT_EQ(tControl(tText), Control::NONE) << tText;
}

TEST(OdbcProfileTest, tellsWhatAnErrorStandsFor)
{
    EXPECT_STREQ(profileOf("MariaDB").name, "MariaDB");
    EXPECT_STREQ(profileOf("Anything").name, "");
    EXPECT_STREQ(profileOf("").name, "");
    EXPECT_EQ(bestState(profileOf("MariaDB"), "23000", 1062, ""), "23505");
    EXPECT_EQ(bestState(profileOf("MariaDB"), "HY000", 99999, "x"), "HY000");
    EXPECT_EQ(bestState(profileOf("SQLite"), "HY000", 19, "UNIQUE constraint failed: t.n (19)"), "23505");
    EXPECT_EQ(bestState(profileOf("SQLite"), "HY000", 1, "no such table: t (1)"), "42P01");
    EXPECT_EQ(bestState(profileOf("Anything"), "42S02", 1062, ""), "42S02");
    EXPECT_EQ(failureOf("HYT00", "").code, SQL_E_TIMEOUT);
    EXPECT_EQ(failureOf("IM001", "").code, E_NOT_SUPPORTED);
    EXPECT_EQ(failureOf("IM002", "").code, SQL_E_CONNECTION);
    EXPECT_EQ(failureOf("HY010", "").code, E_WRONG_STATE);
    EXPECT_EQ(failureOf("21S01", "").code, SQL_E_SYNTAX);
    EXPECT_EQ(failureOf("42S12", "").code, SQL_E_NO_OBJECT);
    EXPECT_EQ(failureOf("42S21", "").code, SQL_E_OBJECT_EXISTS);
}

} // namespace

} // namespace vel::kos::drivers
