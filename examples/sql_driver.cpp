// A database driver module in one file, to start from: its databases hold one text, given in the description,
// and every query gives a row for each of its words.
//
//     khost sql query --driver libexample_sql_driver.so "type=words;text=one two" "any statement"
#include <cstring>
#include <iterator>
#include <sstream>
#include <string>
#include <vector>

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

    uint32_t getColumnCount(uint32_t* pCount) override { return pCount ? (*pCount = 1, 0) : E_INVALIDARG; }
    uint32_t getColumnName(uint32_t pColumn, char** pName) override
    {
        if (!pName) return E_INVALIDARG;
        *pName = pColumn == 0 ? komStrDup("word") : nullptr;
        return pColumn == 0 ? 0 : E_INVALIDARG;
    }
    uint32_t next(uint32_t* pRow) override
    {
        if (!pRow) return E_INVALIDARG;
        if (mNext <= mWords.size()) ++mNext;
        *pRow = mNext <= mWords.size() ? 1 : 0;
        return 0;
    }
    uint32_t getText(uint32_t pColumn, char** pText) override
    {
        if (!pText) return E_INVALIDARG;
        *pText = nullptr;
        if (mNext == 0 || mNext > mWords.size()) return E_WRONG_STATE;
        if (pColumn != 0) return E_INVALIDARG;
        *pText = komStrDup(mWords[mNext - 1].c_str());
        return 0;
    }

private:
    kom::RefCount mRefCount;
    std::vector<std::string> mWords;
    size_t mNext = 0; ///< the number of the current row, counted from 1
};

class Database : public kom::Implements<Database, sql::ISqlDatabase> {
    friend Implements;

public:
    explicit Database(std::string pText) : mText(std::move(pText)) {}
    virtual ~Database() = default;

    uint32_t getDatabaseType(char** pType) override
    {
        return pType ? (*pType = komStrDup("words"), 0) : E_INVALIDARG;
    }
    uint32_t execute(const char*, const sql::SqlParameters*, uint64_t*) override { return refuse(); }
    uint32_t query(const char* pStatement, const sql::SqlParameters*, sql::ISqlRows** pRows) override
    {
        if (!pStatement || !pRows) return E_INVALIDARG;
        *pRows = kom::retain(new Rows(mText)).detach();
        return 0;
    }
    uint32_t begin() override { return refuse(); }
    uint32_t commit() override { return refuse(); }
    uint32_t rollback() override { return refuse(); }
    uint32_t getErrorText(char** pText) override
    {
        return pText ? (*pText = komStrDup(mError), 0) : E_INVALIDARG;
    }

private:
    uint32_t refuse()
    {
        mError = "the words cannot be changed";
        return E_READ_ONLY;
    }

    kom::RefCount mRefCount;
    std::string mText;
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
        return pText ? (*pText = komStrDup("type=words;text=TEXT\n"), 0) : E_INVALIDARG;
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
    uint32_t getCreateError(char** pText) override
    {
        return pText ? (*pText = komStrDup(""), 0) : E_INVALIDARG;
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
