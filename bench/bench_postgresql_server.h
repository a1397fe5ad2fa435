// A PostgreSQL server of a benchmark's own: a data folder in the system's temporary one, and a port of
// loopback.
#pragma once

#include <string>

namespace vel::kos::bench {

/// Runs for as long as the object lives.
class PostgresqlServer {
public:
    PostgresqlServer();
    ~PostgresqlServer();
    PostgresqlServer(const PostgresqlServer&) = delete;
    PostgresqlServer& operator=(const PostgresqlServer&) = delete;

    /// 0 when there is none to be had.
    int port() const { return mPort; }

private:
    std::string mFolder;
    int mPort = 0;
};

} // namespace vel::kos::bench
