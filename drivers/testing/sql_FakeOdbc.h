// A driver manager of the tests' own, whose database fails as it is told to: for what no real one can be
// brought to do.
#pragma once

#include <atomic>
#include <functional>
#include <map>
#include <string>
#include <vector>

#include "drivers/odbc/sql_Odbc.h"

namespace vel::kos::drivers {

/// The functions of gOdbc, for as long as the object lives; one at a time. Texts are ASCII.
class FakeOdbc {
public:
    FakeOdbc();
    ~FakeOdbc();
    FakeOdbc(const FakeOdbc&) = delete;
    FakeOdbc& operator=(const FakeOdbc&) = delete;

    /// What running a statement comes to; it has no rows, or one with the integer 1 when it begins with
    /// "select".
    std::function<Odbc::Return(const std::string& pText)> onRun = [](const std::string&) {
        return odbc::SUCCESS;
    };
    /// What preparing one comes to.
    std::function<Odbc::Return(const std::string& pText)> onPrepare = [](const std::string&) {
        return odbc::SUCCESS;
    };
    /// A parameter is bound.
    std::function<void()> onBind = [] {};
    /// What becomes of an attribute of a connection.
    std::function<Odbc::Return(int32_t pAttribute, uintptr_t pValue)> onSet = [](int32_t, uintptr_t) {
        return odbc::SUCCESS;
    };
    /// The SQLSTATE of every failure.
    std::string state = "HY000";
    /// SQLGetInfo's numbers.
    std::map<uint16_t, uint32_t> infos = {{odbc::MAX_CONCURRENT_ACTIVITIES, 0},
                                          {odbc::CURSOR_COMMIT_BEHAVIOR, 0},
                                          {odbc::TXN_CAPABLE, odbc::TRANSACTIONS_ALL}};

    /// How many handles there are, and how many of them are connected.
    int handles = 0, connections = 0;
    /// How often a statement was asked to stop.
    std::atomic<int> cancels{0};
    /// Waits for the next such request; false when none comes within five seconds.
    bool waitForCancel();
    /// How transactions were ended: odbc::COMMIT, odbc::ROLLBACK.
    std::vector<int16_t> ends;

private:
    const Odbc mBefore;
};

} // namespace vel::kos::drivers
