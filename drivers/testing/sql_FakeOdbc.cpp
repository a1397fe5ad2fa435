#include "drivers/testing/sql_FakeOdbc.h"

#include <algorithm>
#include <chrono>
#include <cstring>
#include <thread>
#include <utility>

namespace vel::kos::drivers {

namespace {

FakeOdbc* gFake = nullptr;

struct FakeHandle {
    int16_t type;
    bool connected = false;
    bool onRow = false;
    std::string text;
};

FakeHandle& of(Odbc::Handle pHandle) { return *static_cast<FakeHandle*>(pHandle); }

std::string narrow(const Odbc::Char* pText, int32_t pLength) { return {pText, pText + pLength}; }

bool hasRow(const std::string& pText) { return pText.starts_with("select") || pText.starts_with("SELECT"); }

Odbc::Return run(Odbc::Handle pHandle)
{
    const Odbc::Return tReturn = gFake->onRun(of(pHandle).text);
    of(pHandle).onRow = odbc::succeeded(tReturn) && hasRow(of(pHandle).text);
    return tReturn;
}

void install(Odbc& pOdbc)
{
    pOdbc.allocate = [](int16_t pType, Odbc::Handle, Odbc::Handle* pHandle) {
        *pHandle = new FakeHandle{pType, false, false, {}};
        ++gFake->handles;
        return odbc::SUCCESS;
    };
    pOdbc.free = [](int16_t, Odbc::Handle pHandle) {
        // Drivers keep a connection that is freed without having been closed.
        if (of(pHandle).connected) return odbc::FAILED;
        delete &of(pHandle);
        --gFake->handles;
        return odbc::SUCCESS;
    };
    pOdbc.setEnvironment = [](Odbc::Handle, int32_t, void*, int32_t) { return odbc::SUCCESS; };
    pOdbc.setConnection = [](Odbc::Handle, int32_t pAttribute, void* pValue, int32_t) {
        return gFake->onSet(pAttribute, reinterpret_cast<uintptr_t>(pValue));
    };
    pOdbc.getConnection = [](Odbc::Handle, int32_t, void*, int32_t, int32_t*) { return odbc::FAILED; };
    pOdbc.connect = [](Odbc::Handle pHandle, void*, const Odbc::Char*, int16_t, Odbc::Char*, int16_t,
                       int16_t*, uint16_t) {
        of(pHandle).connected = true;
        ++gFake->connections;
        return odbc::SUCCESS;
    };
    pOdbc.disconnect = [](Odbc::Handle pHandle) {
        if (!of(pHandle).connected) return odbc::FAILED;
        of(pHandle).connected = false;
        --gFake->connections;
        return odbc::SUCCESS;
    };
    pOdbc.getInfo = [](Odbc::Handle, uint16_t pWhat, void* pValue, int16_t pSize, int16_t*) {
        const auto tFound = gFake->infos.find(pWhat);
        if (tFound == gFake->infos.end() || pSize > 4) return odbc::FAILED;
        std::memcpy(pValue, &tFound->second, static_cast<size_t>(pSize));
        return odbc::SUCCESS;
    };
    pOdbc.diagnostics = [](int16_t, Odbc::Handle, int16_t pNumber, Odbc::Char* pState, int32_t* pNative,
                           Odbc::Char* pText, int16_t, int16_t* pLength) {
        if (pNumber > 1) return odbc::NO_DATA;
        std::copy(gFake->state.begin(), gFake->state.end(), pState);
        *pNative = 0;
        pText[0] = u'x';
        *pLength = 1;
        return odbc::SUCCESS;
    };
    pOdbc.endTransaction = [](int16_t, Odbc::Handle, int16_t pHow) {
        gFake->ends.push_back(pHow);
        return odbc::SUCCESS;
    };
    pOdbc.executeText = [](Odbc::Handle pHandle, const Odbc::Char* pText, int32_t pLength) {
        of(pHandle).text = narrow(pText, pLength);
        return run(pHandle);
    };
    pOdbc.executeNarrow = [](Odbc::Handle pHandle, const char* pText, int32_t pLength) {
        of(pHandle).text.assign(pText, static_cast<size_t>(pLength));
        return run(pHandle);
    };
    pOdbc.prepare = [](Odbc::Handle pHandle, const Odbc::Char* pText, int32_t pLength) {
        of(pHandle).text = narrow(pText, pLength);
        return gFake->onPrepare(of(pHandle).text);
    };
    pOdbc.execute = run;
    pOdbc.parameters = [](Odbc::Handle pHandle, int16_t* pCount) {
        *pCount = static_cast<int16_t>(std::count(of(pHandle).text.begin(), of(pHandle).text.end(), '?'));
        return odbc::SUCCESS;
    };
    pOdbc.bindParameter = [](Odbc::Handle, uint16_t, int16_t, int16_t, int16_t, uint64_t, int16_t, void*,
                             Odbc::Length, Odbc::Length*) {
        gFake->onBind();
        return odbc::SUCCESS;
    };
    pOdbc.columns = [](Odbc::Handle pHandle, int16_t* pCount) {
        *pCount = hasRow(of(pHandle).text) ? 1 : 0;
        return odbc::SUCCESS;
    };
    pOdbc.describeColumn = [](Odbc::Handle, uint16_t, Odbc::Char* pName, int16_t, int16_t* pLength,
                              int16_t* pType, uint64_t* pSize, int16_t* pDigits, int16_t* pNullable) {
        pName[0] = u'n';
        *pLength = 1;
        *pType = odbc::BIGINT;
        *pSize = 19;
        *pDigits = *pNullable = 0;
        return odbc::SUCCESS;
    };
    pOdbc.columnAttribute = [](Odbc::Handle, uint16_t, uint16_t, void*, int16_t, int16_t*, Odbc::Length*) {
        return odbc::FAILED;
    };
    pOdbc.fetch = [](Odbc::Handle pHandle) {
        return std::exchange(of(pHandle).onRow, false) ? odbc::SUCCESS : odbc::NO_DATA;
    };
    pOdbc.getData = [](Odbc::Handle, uint16_t, int16_t pType, void* pValue, Odbc::Length,
                       Odbc::Length* pLength) {
        if (pType != odbc::C_SBIGINT) return odbc::FAILED;
        const int64_t tOne = 1;
        std::memcpy(pValue, &tOne, sizeof tOne);
        *pLength = sizeof tOne;
        return odbc::SUCCESS;
    };
    pOdbc.changedRows = [](Odbc::Handle, Odbc::Length* pRows) {
        *pRows = 1;
        return odbc::SUCCESS;
    };
    pOdbc.moreResults = [](Odbc::Handle) { return odbc::NO_DATA; };
    pOdbc.freeStatement = [](Odbc::Handle, uint16_t) { return odbc::SUCCESS; };
    pOdbc.cancel = [](Odbc::Handle) {
        ++gFake->cancels;
        return odbc::SUCCESS;
    };
}

} // namespace

FakeOdbc::FakeOdbc() : mBefore(gOdbc)
{
    gFake = this;
    install(gOdbc);
}

FakeOdbc::~FakeOdbc()
{
    gOdbc = mBefore;
    gFake = nullptr;
}

bool FakeOdbc::waitForCancel()
{
    const int tBefore = cancels;
    for (int i = 0; i < 500; ++i) {
        if (cancels != tBefore) return true;
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    return false;
}

} // namespace vel::kos::drivers
