// Names made-up Windows systems for a stream of requests on standard input, for sysinfo_oracle.py.
//
// A request is one line "MAJOR MINOR PLATFORM PRODUCTTYPE EXTENDED MASK..."; EXTENDED is 0 or 1, the masks
// are suite masks in decimal, or the one word "all" for every mask there is. The output is a line for each
// mask, "VERSION<TAB>NAME", as the whole detection finds them.
#include <iostream>
#include <sstream>
#include <string>

#include "kfw/sysinfo/kfw_SystemInfo_WindowsFacts.h"
#include "kfw/sysinfo/testing/kfw_SystemInfo_FakeWindows.h"
#include "kutil/log.h"

using namespace vel::kos::kfw;
using test::gMachine;

namespace {

void name(WindowsFacts& pSource, uint16_t pMask, std::string& pAnswer)
{
    gMachine.version.suiteMask = pMask;
    gMachine.trace.clear();
    SystemFacts tFacts;
    pSource.detectOs(nullptr, tFacts);
    pAnswer.append(tFacts.osVersion).append("\t").append(tFacts.osProductName).append("\n");
}

} // namespace

int main()
{
    std::ios::sync_with_stdio(false);
    vel::kos::util::kSetFallbackLog([](uint32_t, const char*, const char*) {});
    WindowsFacts tSource(test::FAKE_CALLS);
    for (std::string tLine, tWord; std::getline(std::cin, tLine);) {
        std::istringstream tRequest(tLine);
        unsigned tProductType;
        bool tExtended;
        gMachine = {};
        tRequest >> gMachine.version.major >> gMachine.version.minor >> gMachine.version.platformId >>
            tProductType >> tExtended;
        if (!tRequest) return 2;
        gMachine.version.productType = static_cast<uint8_t>(tProductType);
        gMachine.version.build = 77;
        if (!tExtended) { // only the plain record of the oldest call is to be had
            gMachine.missingEntries = {"RtlGetVersion"};
            gMachine.refusedVersionSizes = {OsVersionRecord::EXTENDED_SIZE};
        }
        std::string tAnswer;
        while (tRequest >> tWord) {
            if (tWord != "all")
                name(tSource, static_cast<uint16_t>(std::stoul(tWord)), tAnswer);
            else
                for (uint32_t tMask = 0; tMask <= 0xFFFF; ++tMask)
                    name(tSource, static_cast<uint16_t>(tMask), tAnswer);
        }
        std::cout << tAnswer << std::flush;
    }
    return 0;
}
