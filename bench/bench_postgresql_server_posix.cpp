#include "bench/bench_postgresql_server.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <cstdio>
#include <cstdlib>

namespace vel::kos::bench {

namespace {

/// What a shell prints, without the line's end; "" after a failure.
std::string said(const std::string& pCommand)
{
    std::string tText;
    FILE* const tPipe = popen(pCommand.c_str(), "r");
    if (!tPipe) return {};
    std::array<char, 256> tPart{};
    while (std::fgets(tPart.data(), static_cast<int>(tPart.size()), tPipe))
        tText += tPart.data();
    const bool tDone = pclose(tPipe) == 0;
    while (!tText.empty() && tText.back() == '\n')
        tText.pop_back();
    return tDone ? tText : std::string();
}

int freePort()
{
    const int tSocket = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in tAddress{};
    tAddress.sin_family = AF_INET;
    tAddress.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t tSize = sizeof tAddress;
    const bool tFree =
        bind(tSocket, static_cast<sockaddr*>(static_cast<void*>(&tAddress)), tSize) == 0 &&
        getsockname(tSocket, static_cast<sockaddr*>(static_cast<void*>(&tAddress)), &tSize) == 0;
    close(tSocket);
    return tFree ? ntohs(tAddress.sin_port) : 0;
}

/// The server's tools, from whatever version is installed; it refuses to run as root.
std::string tool(const std::string& pFolder, const std::string& pCommand)
{
    return "cd " + pFolder + " && " +
           (getuid() == 0 ? "setpriv --reuid=nobody --regid=nogroup --clear-groups " : "") +
           "$(ls -d /usr/lib/postgresql/*/bin | tail -1)/" + pCommand + " >/dev/null 2>&1 && echo done";
}

} // namespace

PostgresqlServer::PostgresqlServer()
{
    mFolder = said("mktemp -d -t bench-postgres-XXXXXX");
    if (mFolder.empty() ||
        (getuid() == 0 && said("chown nobody:nogroup " + mFolder + " && echo done").empty()))
        return;
    const int tPort = freePort();
    if (said(tool(mFolder, "initdb -D " + mFolder + "/db -U bench -A trust -E UTF8 --locale=C --no-sync"))
            .empty() ||
        said(tool(mFolder,
                  "pg_ctl -D " + mFolder + "/db -w -s -l " + mFolder + "/log -o \"-p " +
                      std::to_string(tPort) +
                      " -c listen_addresses=127.0.0.1 -c unix_socket_directories='' -c fsync=off\" start"))
            .empty())
        return;
    mPort = tPort;
}

PostgresqlServer::~PostgresqlServer()
{
    if (mPort) said(tool(mFolder, "pg_ctl -D " + mFolder + "/db -m immediate -s stop"));
    if (!mFolder.empty()) said("rm -rf " + mFolder);
}

} // namespace vel::kos::bench
