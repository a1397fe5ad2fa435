// A database driver module in one file, to start from: its databases hold one text, given in the description,
// and every query returns a row for each of its words: the word, and how long it is.
//
//     khost sql query --driver libexample_sql_driver.so "type=words;text=one two" "any statement"
#include <cstring>
#include <iterator>
#include <sstream>
#include <string>
#include <vector>

#include "kfw/sql/Unsupported.h"
#include "kfw/sql/driver.h"
#include "kom/implements.h"
#include "kpr/dso.h"

#if defined(_WIN32)
#define DRIVER_EXPORT __declspec(dllexport)
#else
#define DRIVER_EXPORT __attribute__((visibility("default")))
#endif

using namespace vel::kos;

namespace {

class Rows : public kom::Implements<Rows, sql::ISqlRows> {
    friend Implements;

public:
    explicit Rows(const std::string& pText)
    {
        std::istringstream tStream(pText);
        mWords.assign(std::istream_iterator<std::string>(tStream), {});
    }
    virtual ~Rows() = default;

    uint32_t getColumns(sql::SqlColumnList* pColumns) override
    {
        if (!pColumns) return E_INVALIDARG;
        // The names are static; whatever is not has its place in the same block.
        auto* const tColumns = static_cast<sql::SqlColumn*>(komCalloc(2, sizeof(sql::SqlColumn)));
        tColumns[0] = {sql::SQL_VALUE_TEXT, sql::SQL_NULLS_REFUSED, "word", "text"};
        tColumns[1] = {sql::SQL_VALUE_INTEGER, sql::SQL_NULLS_REFUSED, "length", "integer"};
        *pColumns = {2, tColumns};
        return 0;
    }
    uint32_t next(sql::SqlValueList* pRow) override
    {
        if (!pRow) return E_INVALIDARG;
        *pRow = {};
        if (mNext == mWords.size()) return 0;
        const std::string& tWord = mWords[mNext++];
        mRow[0] = sql::dataValue(sql::SQL_VALUE_TEXT, tWord.data(), tWord.size());
        mRow[1] = sql::integerValue(static_cast<int64_t>(tWord.size()));
        *pRow = {2, mRow};
        return 0;
    }
    uint32_t fetch(uint32_t, sql::SqlRowBlock* pBlock) override
    {
        return pBlock ? (*pBlock = {}, E_NOT_SUPPORTED) : E_INVALIDARG;
    }
    uint32_t getChanged(uint64_t* pChanged) override { return pChanged ? (*pChanged = 0, 0) : E_INVALIDARG; }
    uint32_t close() override
    {
        mNext = mWords.size();
        return 0;
    }

private:
    kom::RefCount mRefCount;
    std::vector<std::string> mWords;
    size_t mNext = 0;
    sql::SqlValue mRow[2] = {};
};

/// What it does not override it does not support.
class Database : public sql::Unsupported<kom::Implements<Database, sql::ISqlDatabase>> {
    friend Implements;

public:
    explicit Database(std::string pText) : mText(std::move(pText)) {}
    virtual ~Database() = default;

    uint32_t getDatabaseType(char** pType) override
    {
        return pType ? (*pType = komStrDup("words"), 0) : E_INVALIDARG;
    }
    uint32_t execute(const char*, const sql::SqlValueList*, uint64_t*) override
    {
        return fail(E_READ_ONLY, "the words cannot be changed");
    }
    uint32_t query(const char* pStatement, const sql::SqlValueList* pValues, sql::ISqlRows** pRows) override
    {
        if (!pStatement || !pRows) return E_INVALIDARG;
        *pRows = nullptr;
        if (pValues && pValues->mCount > 0) return fail(SQL_E_PARAMETERS, "there are no parameters here");
        *pRows = kom::retain(new Rows(mText)).detach();
        return 0;
    }
    uint32_t check() override { return 0; }
    uint32_t getError(sql::SqlError* pError) override
    {
        if (!pError) return E_INVALIDARG;
        *pError = {};
        pError->mCode = mCode;
        pError->mPosition = -1;
        pError->mText = komStrDup(mError);
        return 0;
    }

private:
    uint32_t fail(uint32_t pCode, const char* pError)
    {
        mError = pError;
        return mCode = pCode;
    }

    kom::RefCount mRefCount;
    std::string mText;
    uint32_t mCode = 0;
    const char* mError = "";
};

class Factory : public kom::Implements<Factory, sql::ISqlDatabaseFactory> {
    friend Implements;

public:
    virtual ~Factory() = default;

    uint32_t getDatabaseType(char** pType) override
    {
        return pType ? (*pType = komStrDup("words"), 0) : E_INVALIDARG;
    }
    uint32_t getDescriptionHelp(char** pText) override
    {
        return pText ? (*pText = komStrDup("type=words;text=TEXT  a text without \";\"\n"), 0) : E_INVALIDARG;
    }
    uint32_t createDatabase(const char* pDescription, sql::ISqlDatabase** pDatabase) override
    {
        if (!pDatabase) return E_INVALIDARG;
        *pDatabase = nullptr;
        // Whatever is not ours is declined, so that the registry asks the next driver. A driver with more
        // than one key of its own takes the description apart as its grammar says.
        constexpr char OURS[] = "type=words;text=";
        if (!pDescription || std::strncmp(pDescription, OURS, sizeof OURS - 1) != 0) return 0;
        *pDatabase = kom::retain(new Database(pDescription + sizeof OURS - 1)).detach();
        return 0;
    }
    /// It never fails to open one.
    uint32_t getCreateError(sql::SqlError* pError) override
    {
        return pError ? (*pError = {}, 0) : E_INVALIDARG;
    }

private:
    kom::RefCount mRefCount;
};

constexpr KprAttribute ATTRIBUTES[] = {{"FileVersion", "1.0.0.0"}, {"InternalName", "example_sql_driver"}};

} // namespace

extern "C" {

DRIVER_EXPORT uint32_t dsoGetAttributes(ModuleAttributes* pOut)
{
    *pOut = {ATTRIBUTES, static_cast<uint32_t>(std::size(ATTRIBUTES))};
    return 0;
}

// The module has no classes of its own: its factory goes into the registry.
DRIVER_EXPORT uint32_t dsoGetObjectFactory(const char*, const char*, kom::IUnknown** pOut)
{
    *pOut = nullptr;
    return KOM_E_CLASSNOTAVAILABLE;
}
DRIVER_EXPORT uint32_t dsoRegisterServer(unsigned int, void*) { return 0; }
DRIVER_EXPORT uint32_t dsoUnregisterServer(unsigned int, void*) { return 0; }

DRIVER_EXPORT uint32_t sqlAnnounceFactories(sql::ISqlDatabaseFactoryRegistry* pRegistry)
{
    return pRegistry ? pRegistry->registerFactory(kom::retain(new Factory).get()) : E_INVALIDARG;
}

} // extern "C"
