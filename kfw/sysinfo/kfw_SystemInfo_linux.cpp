#include <sys/utsname.h>

#include <algorithm>
#include <charconv>
#include <cstring>
#include <iterator>
#include <set>
#include <sstream>

#include "kfw/kfw_LogDomain.h"
#include "kfw/sysinfo/kfw_SystemInfo_LinuxFacts.h"
#include "kpr/text.h"
#include "kutil/log.h"

namespace vel::kos::kfw {

using util::kDebug;
using util::message;

namespace {

std::string_view trim(std::string_view pText)
{
    constexpr char BLANKS[] = " \t\r\n";
    const auto tFirst = pText.find_first_not_of(BLANKS);
    if (tFirst == std::string_view::npos) return {};
    return pText.substr(tFirst, pText.find_last_not_of(BLANKS) - tFirst + 1);
}

/// Calls pVisit(key, value), both without blanks around them, for every line that holds the separator.
void eachPair(std::string_view pText, char pSeparator, auto pVisit)
{
    while (!pText.empty()) {
        const std::string_view tLine = pText.substr(0, pText.find('\n'));
        pText.remove_prefix(std::min(pText.size(), tLine.size() + 1));
        const auto tPlace = tLine.find(pSeparator);
        if (tPlace != std::string_view::npos)
            pVisit(trim(tLine.substr(0, tPlace)), trim(tLine.substr(tPlace + 1)));
    }
}

/// The number that a text starts with.
template <class T>
std::optional<T> parseNumber(std::string_view pText)
{
    T tNumber{};
    if (std::from_chars(pText.data(), pText.data() + pText.size(), tNumber).ec != std::errc()) return {};
    return tNumber;
}

/// A value of os-release, which is written as a shell would read it.
std::string unquote(std::string_view pText)
{
    std::string tValue;
    char tQuote = 0;
    for (std::size_t i = 0; i < pText.size(); ++i) {
        const char tChar = pText[i];
        if (tChar == '\\' && tQuote != '\'' && i + 1 < pText.size())
            tValue += pText[++i];
        else if (tQuote ? tChar == tQuote : (tChar == '"' || tChar == '\''))
            tQuote = tQuote ? '\0' : tChar;
        else
            tValue += tChar;
    }
    return tValue;
}

/// The name that Windows has for an architecture of the kernel's.
std::string_view architectureName(std::string_view pMachine)
{
    if (pMachine == "x86_64") return "amd64";
    if (pMachine.size() == 4 && pMachine[0] == 'i' && pMachine.ends_with("86")) return "i386";
    if (pMachine == "ppc" || pMachine == "mips" || pMachine == "alpha" || pMachine == "ia64") return pMachine;
    return {};
}

/// The word that Windows starts a processor's identifier with, by the processor's maker.
std::string_view identifierPrefix(std::string_view pVendor)
{
    if (pVendor == "GenuineIntel") return "Intel64";
    if (pVendor == "CentaurHauls") return "VIA64";
    return "AMD64";
}

/// Whether subnormal operands can be taken for zeros: a bit of the mask that FXSAVE stores, for which the
/// kernel has no flag.
bool hasDenormalsAreZero()
{
    alignas(16) unsigned char tArea[512] = {};
    asm volatile("fxsave64 %0" : "=m"(tArea));
    uint32_t tMask;
    std::memcpy(&tMask, tArea + 28, sizeof tMask);
    return tMask & 0x40;
}

struct FlagName {
    const char* flag; ///< of /proc/cpuinfo
    const char* name;
};

constexpr FlagName DAZ = {"fxsr", "DAZ"};
/// In the order in which they are listed. "CMP8XCHG16" belongs to no processor that Linux calls x86.
constexpr FlagName FLAG_NAMES[] = {{"fdiv_bug", "FDIVBug"},
                                   {"mmx", "MMX"},
                                   {"3dnow", "3DNOW"},
                                   {"sse", "XMMI"},
                                   {"sse2", "XMMI64"},
                                   {"pni", "SSE3"},
                                   DAZ,
                                   {"tsc", "RDTSC"},
                                   {"cx8", "CMPXCHG"},
                                   {"cx16", "CMPXCHG16B"},
                                   {"xsave", "XSAVE"},
                                   {"pae", "PAE"},
                                   {"nx", "NX"}};

std::string featureNames(const std::set<std::string, std::less<>>& pFlags)
{
    std::string tNames;
    for (const FlagName& tFeature : FLAG_NAMES) {
        if (!pFlags.contains(tFeature.flag)) continue;
        if (tFeature.flag == DAZ.flag && !hasDenormalsAreZero()) continue;
        if (!tNames.empty()) tNames += ' ';
        tNames += tFeature.name;
    }
    return tNames;
}

} // namespace

bool LinuxFacts::tryRead(const std::string& pPath, std::string& pText) const
{
    constexpr uint64_t LARGEST = 16u << 20; // of a machine with thousands of processors
    return !KFAILED(kpr::readFile((mRoot + pPath).c_str(), LARGEST, pText));
}

std::string LinuxFacts::read(fw::IApplication* pApp, const std::string& pPath) const
{
    std::string tText;
    static_cast<void>(tryRead(pPath, tText));
    if (tText.empty()) kDebug(pApp, LOG_DOMAIN, message("Failed to read %1", pPath));
    return tText;
}

void LinuxFacts::detect(fw::IApplication* pApp, SystemFacts& pFacts)
{
    detectOs(pApp, pFacts);
    detectCpu(pApp, pFacts);
}

void LinuxFacts::detectOs(fw::IApplication* pApp, SystemFacts& pFacts) const
{
    std::string tText;
    if (!tryRead("/etc/os-release", tText)) tText = read(pApp, "/usr/lib/os-release");
    Values tValues;
    eachPair(tText, '=', [&](std::string_view pKey, std::string_view pValue) {
        if (!pKey.starts_with('#')) tValues[std::string(pKey)] = unquote(pValue);
    });
    const auto firstOf = [&](auto... pKeys) {
        std::string tFound;
        static_cast<void>(((tFound = tValues[pKeys], !tFound.empty()) || ...));
        return tFound;
    };
    pFacts.osVendor = firstOf("VENDOR_NAME", "NAME");
    pFacts.osProductName = firstOf("PRETTY_NAME", "NAME");
    utsname tName;
    if (uname(&tName) != 0) return;
    pFacts.osVersion = tName.release;
    pFacts.architecture = architectureName(tName.machine);
}

std::vector<LinuxFacts::Values> LinuxFacts::readProcessors(fw::IApplication* pApp) const
{
    std::vector<Values> tProcessors;
    eachPair(read(pApp, "/proc/cpuinfo"), ':', [&](std::string_view pKey, std::string_view pValue) {
        if (pKey == "processor") tProcessors.emplace_back();
        if (!tProcessors.empty()) tProcessors.back()[std::string(pKey)] = pValue;
    });
    return tProcessors;
}

void LinuxFacts::detectCpu(fw::IApplication* pApp, SystemFacts& pFacts) const
{
    auto tProcessors = readProcessors(pApp);
    pFacts.processorCount = static_cast<uint32_t>(tProcessors.size());
    if (tProcessors.empty()) return;
    Values& tFirst = tProcessors[0];
    pFacts.cpuVendor = tFirst["vendor_id"];
    if (const std::string& tFamily = tFirst["cpu family"], &tModel = tFirst["model"]; !tFamily.empty())
        pFacts.cpuModel = message("%1 Family %2 Model %3 Stepping %4", identifierPrefix(pFacts.cpuVendor),
                                  tFamily, tModel, tFirst["stepping"]);
    std::istringstream tWords(tFirst["flags"]);
    std::set<std::string, std::less<>> tFlags(std::istream_iterator<std::string>(tWords), {});
    if (tFirst["fdiv_bug"] == "yes") tFlags.insert("fdiv_bug");
    pFacts.cpuFeatures = featureNames(tFlags);
}

std::optional<MemoryFacts> LinuxFacts::readMemory(fw::IApplication* pApp)
{
    std::optional<uint64_t> tTotal, tAvailable, tSwapTotal, tSwapFree;
    const std::pair<std::string_view, std::optional<uint64_t>&> tWanted[] = {{"MemTotal", tTotal},
                                                                             {"MemAvailable", tAvailable},
                                                                             {"SwapTotal", tSwapTotal},
                                                                             {"SwapFree", tSwapFree}};
    eachPair(read(pApp, "/proc/meminfo"), ':', [&](std::string_view pKey, std::string_view pValue) {
        for (const auto& [tKey, tBytes] : tWanted)
            if (pKey == tKey)
                if (const auto tKb = parseNumber<uint64_t>(pValue)) tBytes = *tKb * 1024;
    });
    if (!tTotal || *tTotal == 0 || !tAvailable) return std::nullopt;
    const uint64_t tFree = std::min(*tAvailable, *tTotal);
    return MemoryFacts{static_cast<uint32_t>((*tTotal - tFree) * 100 / *tTotal), *tTotal, tFree,
                       *tTotal + tSwapTotal.value_or(0), tFree + tSwapFree.value_or(0)};
}

std::optional<uint32_t> LinuxFacts::readMhz(uint32_t pProcessor, const char* pName) const
{
    // Virtual machines have no such files; that is no failure.
    std::string tText;
    static_cast<void>(tryRead(message("/sys/devices/system/cpu/cpu%1/cpufreq/%2", pProcessor, pName), tText));
    const auto tKhz = parseNumber<uint32_t>(tText);
    return tKhz ? std::optional(*tKhz / 1000) : std::nullopt;
}

std::vector<FrequencyFacts> LinuxFacts::readFrequencies(fw::IApplication* pApp, uint32_t pCount)
{
    std::vector<FrequencyFacts> tFrequencies;
    if (pCount == 0) return tFrequencies;
    for (Values& tProcessor : readProcessors(pApp)) {
        if (tFrequencies.size() == pCount) break; // one came online since init
        const uint32_t tNumber = parseNumber<uint32_t>(tProcessor["processor"]).value_or(0);
        FrequencyFacts& tFacts = tFrequencies.emplace_back();
        tFacts.maximum = readMhz(tNumber, "cpuinfo_max_freq");
        tFacts.current = readMhz(tNumber, "scaling_cur_freq");
        if (!tFacts.current) tFacts.current = parseNumber<uint32_t>(tProcessor["cpu MHz"]);
        tFacts.limit = readMhz(tNumber, "scaling_max_freq");
    }
    return tFrequencies;
}

std::unique_ptr<FactSource> makeFactSource() { return std::make_unique<LinuxFacts>(); }

} // namespace vel::kos::kfw
