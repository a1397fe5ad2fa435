#include "kgen/uri.h"

#include <algorithm>
#include <array>
#include <cstdint>

namespace kgen {

namespace {

using std::size_t;
using std::string_view;

// Where a byte may stand as it is; a byte may belong to several. "%" belongs to none.
enum Place : uint8_t {
    UNRESERVED = 0x01,
    HEX_DIGIT = 0x02,
    IN_SCHEME = 0x04,
    IN_REG_NAME = 0x08,
    IN_USER_INFO = 0x10, // and in a host literal of a future version
    IN_SEGMENT = 0x20,
    IN_QUERY = 0x40
};

constexpr bool isDigit(char pChar) { return pChar >= '0' && pChar <= '9'; }
constexpr bool isUpper(char pChar) { return pChar >= 'A' && pChar <= 'Z'; }
constexpr char lower(char pChar) { return isUpper(pChar) ? static_cast<char>(pChar - 'A' + 'a') : pChar; }
constexpr bool isAlpha(char pChar) { return lower(pChar) >= 'a' && lower(pChar) <= 'z'; }

constexpr std::array<uint8_t, 256> makePlaces()
{
    std::array<uint8_t, 256> tPlaces{};
    const auto allow = [&](string_view pBytes, unsigned pWhere) {
        for (const char tChar : pBytes) {
            uint8_t& tPlace = tPlaces[static_cast<uint8_t>(tChar)];
            tPlace = static_cast<uint8_t>(tPlace | pWhere);
        }
    };
    constexpr unsigned EVERYWHERE = IN_REG_NAME | IN_USER_INFO | IN_SEGMENT | IN_QUERY;
    for (int tByte = 0; tByte < 128; ++tByte) {
        const char tChar = static_cast<char>(tByte);
        if (isAlpha(tChar) || isDigit(tChar)) allow({&tChar, 1}, UNRESERVED | IN_SCHEME | EVERYWHERE);
    }
    allow("-._~", UNRESERVED | EVERYWHERE);
    allow("!$&'()*+,;=", EVERYWHERE);
    allow(":", IN_USER_INFO | IN_SEGMENT | IN_QUERY);
    allow("@", IN_SEGMENT | IN_QUERY);
    allow("/?", IN_QUERY);
    allow("+-.", IN_SCHEME);
    allow("0123456789abcdefABCDEF", HEX_DIGIT);
    return tPlaces;
}

constexpr std::array<uint8_t, 256> PLACES = makePlaces();

bool belongs(char pChar, Place pPlace) { return (PLACES[static_cast<uint8_t>(pChar)] & pPlace) != 0; }

bool allBelong(string_view pText, Place pPlace)
{
    return std::all_of(pText.begin(), pText.end(), [=](char pChar) { return belongs(pChar, pPlace); });
}

unsigned hexValue(char pDigit)
{
    return static_cast<unsigned>(isDigit(pDigit) ? pDigit - '0' : lower(pDigit) - 'a' + 10);
}

void appendEncoded(std::string& pOut, unsigned pByte)
{
    constexpr char DIGITS[] = "0123456789ABCDEF";
    pOut += '%';
    pOut += DIGITS[pByte >> 4];
    pOut += DIGITS[pByte & 15];
}

/// Appends a component with its percent-encodings in normal form, and what may not stand in it encoded.
void appendComponent(std::string& pOut, string_view pText, Place pPlace)
{
    for (size_t tAt = 0; tAt < pText.size();) {
        size_t tRun = tAt;
        while (tRun < pText.size() && belongs(pText[tRun], pPlace))
            ++tRun;
        pOut.append(pText, tAt, tRun - tAt);
        tAt = tRun;
        if (tAt == pText.size()) break;

        if (pText[tAt] == '%' && pText.size() - tAt > 2 && belongs(pText[tAt + 1], HEX_DIGIT) &&
            belongs(pText[tAt + 2], HEX_DIGIT)) {
            const unsigned tByte = hexValue(pText[tAt + 1]) * 16 + hexValue(pText[tAt + 2]);
            if (PLACES[tByte] & UNRESERVED)
                pOut += static_cast<char>(tByte);
            else
                appendEncoded(pOut, tByte);
            tAt += 3;
        } else {
            appendEncoded(pOut, static_cast<uint8_t>(pText[tAt]));
            ++tAt;
        }
    }
}

/// Lower case from an offset on; the digits of percent-encodings stay in upper case.
void lowerFrom(std::string& pOut, size_t pStart)
{
    for (size_t tAt = pStart; tAt < pOut.size(); ++tAt) {
        if (pOut[tAt] == '%')
            tAt += 2;
        else
            pOut[tAt] = lower(pOut[tAt]);
    }
}

/// Appends a path without its dot segments; a segment counts as one also where its dots were encoded.
void appendPath(std::string& pOut, string_view pPath)
{
    const size_t tStart = pOut.size();
    const auto written = [&](size_t pFrom) { return string_view(pOut).substr(pFrom); };
    const auto segmentEnd = [&](size_t pFrom) { return std::min(pPath.find('/', pFrom), pPath.size()); };
    size_t tAt = 0;

    // A path without a root: dot segments at its front go together with the "/" after them.
    while (tAt < pPath.size() && pPath[tAt] != '/') {
        const size_t tEnd = segmentEnd(tAt);
        appendComponent(pOut, pPath.substr(tAt, tEnd - tAt), IN_SEGMENT);
        tAt = tEnd;
        if (written(tStart) != "." && written(tStart) != "..") break;
        pOut.resize(tStart);
        if (tAt < pPath.size()) ++tAt;
    }

    while (tAt < pPath.size()) {
        const size_t tSlash = pOut.size();
        const size_t tEnd = segmentEnd(tAt + 1);
        pOut += '/';
        appendComponent(pOut, pPath.substr(tAt + 1, tEnd - tAt - 1), IN_SEGMENT);
        tAt = tEnd;
        const bool tParent = written(tSlash) == "/..";
        if (!tParent && written(tSlash) != "/.") continue;

        pOut.resize(tSlash);
        if (tParent) {
            const size_t tLast = written(tStart).rfind('/');
            pOut.resize(tLast == string_view::npos ? tStart : tStart + tLast);
        }
        if (tAt == pPath.size()) pOut += '/';
    }
}

bool isIPv4(string_view pText)
{
    int tOctets = 0;
    for (size_t tAt = 0;; ++tAt) {
        const size_t tEnd = std::min(pText.find('.', tAt), pText.size());
        const string_view tOctet = pText.substr(tAt, tEnd - tAt);
        if (tOctet.empty() || tOctet.size() > 3 || !std::all_of(tOctet.begin(), tOctet.end(), isDigit))
            return false;
        if (tOctet.size() > 1 && tOctet[0] == '0') return false;
        if (tOctet.size() == 3 && tOctet > "255") return false;
        ++tOctets;
        tAt = tEnd;
        if (tAt == pText.size()) return tOctets == 4;
    }
}

bool isIPv6(string_view pText)
{
    const bool tLeading = pText.substr(0, 2) == "::";
    bool tElided = tLeading;
    int tGroups = 0;
    for (size_t tAt = tLeading ? 2 : 0; tAt < pText.size();) {
        size_t tEnd = tAt;
        while (tEnd < pText.size() && belongs(pText[tEnd], HEX_DIGIT))
            ++tEnd;
        if (tEnd < pText.size() && pText[tEnd] == '.') {
            if (!isIPv4(pText.substr(tAt))) return false;
            tGroups += 2;
            break;
        }
        if (tEnd == tAt || tEnd - tAt > 4) return false;
        ++tGroups;
        tAt = tEnd;
        if (tAt == pText.size()) break;
        if (pText[tAt++] != ':' || tAt == pText.size()) return false;
        if (pText[tAt] == ':') {
            if (tElided) return false;
            tElided = true;
            ++tAt;
        }
    }
    return tElided ? tGroups <= 7 : tGroups == 8;
}

bool isFutureAddress(string_view pText)
{
    const size_t tDot = pText.find('.');
    return tDot != string_view::npos && tDot >= 2 && tDot + 1 < pText.size() && lower(pText[0]) == 'v' &&
           allBelong(pText.substr(1, tDot - 1), HEX_DIGIT) && allBelong(pText.substr(tDot + 1), IN_USER_INFO);
}

struct SchemePort {
    string_view scheme;
    string_view port;
};

constexpr SchemePort DEFAULT_PORTS[] = {
    {"http", "80"},   {"https", "443"}, {"ftp", "21"},   {"ws", "80"},    {"wss", "443"},   {"acap", "674"},
    {"dict", "2628"}, {"gopher", "70"}, {"imap", "143"}, {"ipp", "631"},  {"ipps", "631"},  {"ldap", "389"},
    {"ldaps", "636"}, {"nfs", "2049"},  {"nntp", "119"}, {"pop", "110"},  {"rsync", "873"}, {"rtsp", "554"},
    {"rtsps", "322"}, {"rtspu", "554"}, {"sftp", "22"},  {"snmp", "161"}, {"ssh", "22"},    {"telnet", "23"},
    {"tftp", "69"},   {"vnc", "5900"},  {"wais", "210"}};

bool isDefaultPort(string_view pScheme, string_view pPort)
{
    pPort.remove_prefix(std::min(pPort.find_first_not_of('0'), pPort.size()));
    return std::any_of(std::begin(DEFAULT_PORTS), std::end(DEFAULT_PORTS),
                       [=](const SchemePort& pRow) { return pRow.scheme == pScheme && pRow.port == pPort; });
}

/// Appends "//" and the authority; false when it does not parse.
bool appendAuthority(std::string& pOut, string_view pAuthority, string_view pScheme)
{
    string_view tRest = pAuthority;
    pOut += "//";
    const size_t tStart = pOut.size();
    if (const size_t tAt = tRest.find('@'); tAt != string_view::npos) {
        const string_view tUserInfo = tRest.substr(0, tAt);
        if (tUserInfo.find_first_of("[]") != string_view::npos) return false;
        appendComponent(pOut, tUserInfo, IN_USER_INFO);
        pOut += '@';
        tRest.remove_prefix(tAt + 1);
    }

    const size_t tHost = pOut.size();
    size_t tHostEnd;
    if (tRest.substr(0, 1) == "[") {
        const size_t tClose = tRest.find(']');
        if (tClose == string_view::npos) return false;
        const string_view tLiteral = tRest.substr(1, tClose - 1);
        if (!isIPv6(tLiteral) && !isFutureAddress(tLiteral)) return false;
        tHostEnd = tClose + 1;
        pOut.append(tRest, 0, tHostEnd);
    } else {
        tHostEnd = std::min(tRest.find(':'), tRest.size());
        const string_view tName = tRest.substr(0, tHostEnd);
        if (tName.find_first_of("@[]") != string_view::npos) return false;
        appendComponent(pOut, tName, IN_REG_NAME);
    }
    lowerFrom(pOut, tHost);
    tRest.remove_prefix(tHostEnd);

    if (!tRest.empty()) {
        const string_view tPort = tRest.substr(1);
        if (tRest[0] != ':' || !std::all_of(tPort.begin(), tPort.end(), isDigit)) return false;
        if (!tPort.empty() && !isDefaultPort(pScheme, tPort)) pOut.append(tRest);
    }
    // The default authority of a file is written as the empty one.
    if (pScheme == "file" && string_view(pOut).substr(tStart) == "localhost") pOut.resize(tStart);
    return true;
}

} // namespace

std::string normaliseUri(string_view pUri)
{
    string_view tRest = pUri.substr(0, pUri.find('#'));
    size_t tColon = 0;
    while (tColon < tRest.size() && belongs(tRest[tColon], IN_SCHEME))
        ++tColon;
    if (tColon == tRest.size() || tRest[tColon] != ':' || !isAlpha(tRest[0])) return {};

    std::string tOut;
    tOut.reserve(tRest.size() + 8);
    tOut.append(tRest, 0, tColon + 1);
    lowerFrom(tOut, 0);
    tRest.remove_prefix(tColon + 1);

    const size_t tQuestion = std::min(tRest.find('?'), tRest.size());
    string_view tPath = tRest.substr(0, tQuestion);
    const string_view tQuery = tRest.substr(tQuestion);

    const bool tHasAuthority = tPath.substr(0, 2) == "//";
    if (tHasAuthority) {
        const size_t tEnd = std::min(tPath.find('/', 2), tPath.size());
        const std::string tScheme = tOut.substr(0, tColon);
        if (!appendAuthority(tOut, tPath.substr(2, tEnd - 2), tScheme)) return {};
        tPath.remove_prefix(tEnd);
    }

    const size_t tPathStart = tOut.size();
    appendPath(tOut, tPath);
    if (tHasAuthority && tOut.size() == tPathStart) tOut += '/';
    // Without an authority a path must not begin as one does.
    if (!tHasAuthority && tOut.compare(tPathStart, 2, "//") == 0) tOut.insert(tPathStart, "/.");

    if (!tQuery.empty()) {
        tOut += '?';
        appendComponent(tOut, tQuery.substr(1), IN_QUERY);
    }
    return tOut;
}

} // namespace kgen
