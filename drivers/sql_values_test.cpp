// The contract of the drivers: values and their types, columns, parameters.
#include <cmath>
#include <limits>

#include "drivers/testing/sql_TestDriver.h"

namespace vel::kos::drivers {

namespace {

using ValuesTest = DriverTest;
using UntypedValuesTest = DriverTest;

TEST_P(ValuesTest, tellsWhatItIs)
{
    kom::HeapString tType;
    EXPECT_EQ(mDatabase->getDatabaseType(tType.out()), 0u);
    EXPECT_EQ(tType.c_str(), type());
    uint32_t tFeatures = 0;
    EXPECT_EQ(mDatabase->getFeatures(&tFeatures), 0u);
    EXPECT_EQ(tFeatures, words().features);
    EXPECT_EQ(mDatabase->check(), 0u);
    EXPECT_EQ(error().code, 0u) << "nothing has failed yet";
}

TEST_P(ValuesTest, comeBackAsTheyWent)
{
    ASSERT_EQ(execute((std::string("create table values_test (i bigint, d double precision, t text, b ") +
                       words().bytesType + ")")
                          .c_str()),
              0u)
        << error().text;
    const Table tRows = {
        {Cell(), Cell(), Cell(), Cell()},
        {0, 0.0, "", bytes("")},
        {std::numeric_limits<int64_t>::max(), std::numeric_limits<double>::max(), "it's \"?\" :x $1 \\",
         bytes(std::string("\0\xFF\0\x80'\\", 6))},
        {std::numeric_limits<int64_t>::min(), std::numeric_limits<double>::denorm_min(),
         "\xF0\x9F\x98\x80\xF0\x9F\x91\xA9\xE2\x80\x8D\xF0\x9F\x9A\x80 \xC3\xA4\xE4\xB8\xAD\xEF\xBF\xBD",
         bytes(std::string(256, '\0'))},
        {-1, -std::numeric_limits<double>::infinity(), "line\r\n\ttab\x01\x7F", bytes("x")},
        {4294967296, std::numeric_limits<double>::infinity(), " blanks ", bytes("\\x41")},
        {7, 0.1 + 0.2, "0", bytes("E'\\000'")},
    };
    for (Row tRow : tRows) {
        tRow[1].number = storable(tRow[1].number);
        const bool tRefused = std::isinf(tRow[1].number) && !can(sql::SQL_FEATURE_INFINITY);
        ASSERT_EQ(execute("insert into values_test values (?, ?, ?, ?)", tRow), tRefused ? SQL_E_TYPE : 0u)
            << error().text;
        if (tRefused) {
            tRow[1] = 0.5;
            ASSERT_EQ(execute("insert into values_test values (?, ?, ?, ?)", tRow), 0u) << error().text;
        }
        EXPECT_EQ(table("select * from values_test"), Table{tRow});
        ASSERT_EQ(execute("delete from values_test"), 0u);
    }
    ASSERT_EQ(execute("drop table values_test"), 0u);
}

TEST_P(ValuesTest, mayBeSixteenMegabytesLong)
{
    ASSERT_EQ(execute((std::string("create table values_test (t ") + words().textType + ", b " +
                       words().bytesType + ")")
                          .c_str()),
              0u);
    std::string tText(16u << 20, 'x'), tBytes(16u << 20, '\0');
    for (size_t i = 0; i < tBytes.size(); i += 97) {
        tBytes[i] = static_cast<char>(i >> 8);
        tText[i] = static_cast<char>('0' + i % 10);
    }
    const Row tRow = {text(tText), bytes(tBytes)};
    ASSERT_EQ(execute("insert into values_test values (?, ?)", tRow), 0u) << error().text;
    // No gtest comparison: it would print them.
    EXPECT_TRUE(table("select t, b from values_test") == Table{tRow});
    ASSERT_EQ(execute("drop table values_test"), 0u);
}

TEST_P(ValuesTest, textsHoldNulsOrAreRefused)
{
    const Row tRow = {1, text(std::string("a\0b", 3))};
    const uint32_t tRes = execute("insert into driver_test values (?, ?)", tRow);
    if (can(sql::SQL_FEATURE_TEXT_WITH_NUL)) {
        EXPECT_EQ(tRes, 0u);
        EXPECT_EQ(table("select * from driver_test"), Table{tRow});
    } else {
        EXPECT_EQ(tRes, SQL_E_TYPE) << "never cut off";
        EXPECT_EQ(table("select * from driver_test"), Table{});
    }
}

TEST_P(ValuesTest, notANumberIsOneOrIsRefused)
{
    ASSERT_EQ(execute("create table values_test (d double precision)"), 0u);
    const uint32_t tRes = execute("insert into values_test values (?)", {std::nan("")});
    EXPECT_EQ(tRes, can(sql::SQL_FEATURE_NAN) ? 0u : SQL_E_TYPE);
    if (!tRes) {
        EXPECT_EQ(table("select d from values_test"), Table{{std::nan("")}});
    }
    ASSERT_EQ(execute("drop table values_test"), 0u);
}

TEST_P(ValuesTest, decimalsAndDatesKeepTheirForm)
{
    ASSERT_EQ(execute((std::string("create table values_test (n decimal(38, 10), d date, t ") +
                       words().timeType + ", ts " + words().timestampType + ")")
                          .c_str()),
              0u);
    const Row tRow = {{sql::SQL_VALUE_DECIMAL, "1234567890123456789012345678.0123456789"},
                      {sql::SQL_VALUE_DATE, "2026-01-31"},
                      {sql::SQL_VALUE_TIME, "23:59:59.5"},
                      {sql::SQL_VALUE_TIMESTAMP, "1969-12-31 23:59:59.123456"}};
    ASSERT_EQ(execute("insert into values_test values (?, ?, ?, ?)", tRow), 0u) << error().text;
    const Table tTable = table("select * from values_test");
    ASSERT_EQ(tTable.size(), 1u);
    EXPECT_EQ(Row(tTable[0].begin() + 1, tTable[0].end()), Row(tRow.begin() + 1, tRow.end()));
    if (can(sql::SQL_FEATURE_DECIMALS)) {
        EXPECT_EQ(tTable[0][0], tRow[0]);
    }
    const uint32_t tRes = execute("insert into values_test (d) values (?)", {"yesterday week"});
    EXPECT_EQ(tRes, can(sql::SQL_FEATURE_DATES) ? SQL_E_TYPE : 0u) << error().text;
    if (!tRes) {
        EXPECT_EQ(cell("select d from values_test where n is null"), Cell("yesterday week"))
            << "not called a date";
    }
    ASSERT_EQ(execute("drop table values_test"), 0u);
}

TEST_P(UntypedValuesTest, areWhatTheyAreWhateverTheirColumnIs)
{
    ASSERT_EQ(execute("create table values_test (i integer, d double precision)"), 0u);
    ASSERT_EQ(
        execute(
            "insert into values_test values (1, 0.5), (2.5, 'half'), ('one', '1 and a half'), ('', null)"),
        0u);
    EXPECT_EQ(table("select i, d from values_test"),
              (Table{{1, 0.5}, {2.5, "half"}, {"one", "1 and a half"}, {"", Cell()}}));
    ASSERT_EQ(execute("drop table values_test"), 0u);
}

TEST_P(ValuesTest, numbersFindNumbers)
{
    for (int i = 1; i <= 12; ++i)
        ASSERT_EQ(execute("insert into driver_test values (?, 'x')", {i}), 0u);
    EXPECT_EQ(table("select n from driver_test where n = ?", {9}), (Table{{9}}));
    EXPECT_EQ(table("select n from driver_test where n > ? order by n", {10}), (Table{{11}, {12}}));
    EXPECT_EQ(cell("select count(*) from driver_test where n between :a and :b", {2, 5}), Cell(4));
    EXPECT_EQ(table("select n from driver_test order by n limit ?", {1}), (Table{{1}}));
}

TEST_P(ValuesTest, columnsTellTheirNamesAndTypes)
{
    ASSERT_EQ(execute((std::string("create table values_test (a integer not null, b varchar(20), c ") +
                       words().timestampType + ")")
                          .c_str()),
              0u);
    const auto tStatement = prepare("select a, b as \"Other name\", c, 1 + 1 from values_test");
    const auto tRows = query("select a, b as \"Other name\", c, 1 + 1 from values_test");
    for (const bool tPrepared : {true, false}) {
        sql::SqlColumnList tColumns{};
        EXPECT_EQ(tPrepared ? tStatement->getColumns(&tColumns) : tRows->getColumns(&tColumns), 0u);
        ASSERT_EQ(tColumns.mCount, 4u);
        EXPECT_STREQ(tColumns.mColumns[0].mName, "a");
        EXPECT_EQ(std::string(tColumns.mColumns[0].mDeclaredType).substr(0, 3).find_first_not_of("iInNtT"),
                  std::string::npos)
            << tColumns.mColumns[0].mDeclaredType;
        EXPECT_NE(tColumns.mColumns[0].mNullable, uint32_t{sql::SQL_NULLS_TAKEN});
        EXPECT_STREQ(tColumns.mColumns[1].mName, "Other name");
        EXPECT_NE(std::string(tColumns.mColumns[1].mDeclaredType).find("(20)"), std::string::npos);
        EXPECT_NE(tColumns.mColumns[1].mNullable, uint32_t{sql::SQL_NULLS_REFUSED});
        EXPECT_EQ(std::string(tColumns.mColumns[2].mDeclaredType).substr(0, 4),
                  std::string(words().timestampType).substr(0, 4));
        if (!isSqlite()) {
            EXPECT_EQ(tColumns.mColumns[0].mType, uint32_t{sql::SQL_VALUE_INTEGER});
            EXPECT_EQ(tColumns.mColumns[2].mType, uint32_t{sql::SQL_VALUE_TIMESTAMP});
        }
        komFree(tColumns.mColumns);
    }
    sql::SqlColumnList tNone{7, nullptr};
    EXPECT_EQ(prepare("delete from values_test")->getColumns(&tNone), 0u);
    EXPECT_EQ(tNone.mCount, 0u);
    EXPECT_EQ(tNone.mColumns, nullptr);
    EXPECT_EQ(execute("drop table values_test"), 0u) << error().text;
}

TEST_P(ValuesTest, parametersStandWhereTheyAreMeant)
{
    // What looks like a parameter within texts, names and comments is none.
    const std::string tCast = std::string("cast(? as ") + words().asText + ")",
                      tA = std::string("cast(:a as ") + words().asText + ")",
                      tB = std::string("cast(:b as ") + words().asText + ")";
    EXPECT_EQ(table(("select '?', ':x', '''?', " + tCast + " as \"?\" -- ?\n /* ? :y */").c_str(), {"it"}),
              (Table{{"?", ":x", "'?", "it"}}));
    EXPECT_EQ(table(("select " + tA + ", " + tB + ", " + tA).c_str(), {"1", "2"}), (Table{{"1", "2", "1"}}));
    EXPECT_EQ(execute("select cast(? as text), cast(:a as text)", {"1", "2"}), SQL_E_SYNTAX);
    EXPECT_EQ(error().position, 29);
    EXPECT_EQ(execute("select ?1", {"1"}), SQL_E_SYNTAX);
    EXPECT_EQ(execute("select $1", {"1"}), SQL_E_SYNTAX);
    if (isSqlite() || isOdbc()) {
        EXPECT_EQ(execute("select 1 ?? 2", {}), SQL_E_SYNTAX);
    }
    if (GetParam() == "sqlite") {
        EXPECT_EQ(execute("select @a", {}), SQL_E_PARAMETERS);
        EXPECT_EQ(table("select 1 as [?], 2 as `:x`, ?", {3}), (Table{{1, 2, 3}}));
    }
    if (database() == "mariadb") {
        EXPECT_EQ(table("select '\\'?', \"\\\"?\", 2 as `:x`, cast(? as signed) # ?", {3}),
                  (Table{{"'?", "\"?", 2, 3}}));
    }
    if (database() == "postgresql") {
        EXPECT_EQ(table("select E'\\'?', $$ ? $$, $t$ :x $$ ? $t$, 'a'::text, /* ? */ ?::bigint", {5}),
                  (Table{{"'?", " ? ", " :x $$ ? ", "a", 5}}));
        EXPECT_EQ(table("select (array[1, 2, 3])[2:3] = array[2, 3]"), (Table{{1}}));
    }
    if (GetParam() == "postgresql") {
        EXPECT_EQ(table("select /* /* ? */ ? */ ?::bigint", {5}), (Table{{5}}));
        EXPECT_EQ(table("select '{\"a\": 1}'::jsonb ?? ?, '{\"a\": 1}'::jsonb ??| array[?, 'c']", {"a", "b"}),
                  (Table{{1, 0}}));
    }
}

TEST_P(ValuesTest, valuesOfTheWrongKindAreRefused)
{
    sql::SqlValue tWrong = sql::dataValue(99, "x", 1);
    sql::SqlValueList tList{1, &tWrong};
    EXPECT_EQ(mDatabase->execute("insert into driver_test (n) values (?)", &tList, nullptr), E_INVALIDARG);
    tWrong = sql::dataValue(sql::SQL_VALUE_TEXT, nullptr, 1);
    EXPECT_EQ(mDatabase->execute("insert into driver_test (n) values (?)", &tList, nullptr), E_INVALIDARG);
    tList = {1, nullptr};
    EXPECT_EQ(mDatabase->execute("insert into driver_test (n) values (?)", &tList, nullptr), E_INVALIDARG);
    EXPECT_EQ(error().text, "the parameters have no values");
    // A text without bytes may be null.
    tWrong = sql::dataValue(sql::SQL_VALUE_TEXT, nullptr, 0);
    tList = {1, &tWrong};
    EXPECT_EQ(mDatabase->execute("insert into driver_test values (1, ?)", &tList, nullptr), 0u);
    EXPECT_EQ(table("select t from driver_test"), (Table{{""}}));
    if (database() == "postgresql") {
        EXPECT_EQ(execute("update driver_test set t = ?", {bytes("x")}), SQL_E_TYPE) << error().text;
        EXPECT_EQ(run(prepare("update driver_test set t = ?").get(), {bytes("x")}), SQL_E_TYPE);
        EXPECT_EQ(execute("update driver_test set n = ?", {"x"}), SQL_E_TYPE) << error().text;
        EXPECT_EQ(error().state, "22P02");
    }
}

TEST_P(ValuesTest, blocksOfRowsAreTheReceivers)
{
    for (int i = 1; i <= 5; ++i)
        ASSERT_EQ(execute("insert into driver_test values (?, ?)",
                          {i, i == 3 ? Cell() : text("row " + std::to_string(i))}),
                  0u);
    auto tRows = query("select n, t from driver_test order by n");
    sql::SqlRowBlock tBlocks[3];
    EXPECT_EQ(tRows->fetch(0, &tBlocks[0]), E_INVALIDARG);
    for (auto& tBlock : tBlocks)
        EXPECT_EQ(tRows->fetch(3, &tBlock), 0u);
    tRows.reset();
    EXPECT_EQ(tBlocks[0].mRows, 3u);
    EXPECT_EQ(tBlocks[0].mColumns, 2u);
    EXPECT_EQ(Cell(tBlocks[0].mValues[3]), Cell("row 2"));
    EXPECT_STREQ(tBlocks[0].mValues[3].mData, "row 2") << "with a NUL behind it";
    EXPECT_EQ(Cell(tBlocks[0].mValues[5]), Cell());
    EXPECT_EQ(tBlocks[1].mRows, 2u);
    EXPECT_EQ(Cell(tBlocks[1].mValues[3]), Cell("row 5"));
    EXPECT_EQ(tBlocks[2].mRows, 0u);
    EXPECT_EQ(tBlocks[2].mValues, nullptr);
    for (auto& tBlock : tBlocks)
        komFree(tBlock.mValues);
}

TEST_P(ValuesTest, haveANulBehindTheirData)
{
    ASSERT_EQ(execute((std::string("create table nul_test (b ") + words().bytesType + ")").c_str()), 0u);
    for (const size_t tSize : {0u, 1u, 16u, 100u, 5000u})
        ASSERT_EQ(execute("insert into nul_test values (?)", {bytes(std::string(tSize, 'x'))}), 0u);
    const auto tRows = query("select b from nul_test");
    for (int i = 0; i < 5; ++i) {
        sql::SqlValueList tRow{};
        ASSERT_EQ(tRows->next(&tRow), 0u);
        ASSERT_EQ(tRow.mCount, 1u);
        EXPECT_EQ(tRow.mValues[0].mData[tRow.mValues[0].mSize], '\0') << tRow.mValues[0].mSize;
    }
    EXPECT_EQ(tRows->close(), 0u);
    ASSERT_EQ(execute("drop table nul_test"), 0u);
}

INSTANTIATE_TEST_SUITE_P(every, UntypedValuesTest, testing::Values("sqlite", "odbc_sqlite"),
                         [](const auto& pInfo) { return pInfo.param; });
INSTANTIATE_TEST_SUITE_P(every, ValuesTest, testing::ValuesIn(testedDrivers()),
                         [](const auto& pInfo) { return pInfo.param; });

} // namespace

} // namespace vel::kos::drivers
