// URIs for tests: random ones that follow the grammar, and a check of their bytes.
#pragma once

#include <cstring>
#include <random>
#include <string>
#include <string_view>

namespace kgen_test {

/// The first byte that may not stand in a URI in normal form, or a percent-encoding that is not in normal
/// form.
inline std::size_t firstForbidden(std::string_view pUri)
{
    constexpr char ALLOWED[] =
        "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-._~:/?[]@!$&'()*+,;=";
    constexpr char HEX[] = "0123456789ABCDEF";
    const auto hex = [&](std::size_t pAt) -> const char* {
        return pAt < pUri.size() && pUri[pAt] ? std::strchr(HEX, pUri[pAt]) : nullptr;
    };
    for (std::size_t tAt = 0; tAt < pUri.size(); ++tAt) {
        if (pUri[tAt] == '%') {
            const char* tHigh = hex(tAt + 1);
            const char* tLow = hex(tAt + 2);
            if (!tHigh || !tLow) return tAt;
            const auto tByte = static_cast<char>((tHigh - HEX) * 16 + (tLow - HEX));
            const std::string_view tUnreserved(ALLOWED, 66);
            if (tUnreserved.find(tByte) != std::string_view::npos) return tAt;
            tAt += 2;
        } else if (pUri[tAt] == '\0' || !std::strchr(ALLOWED, pUri[tAt])) {
            return tAt;
        }
    }
    return std::string_view::npos;
}

/// Makes random URIs, each valid by the grammar of RFC 3986, without a fragment.
class UriGenerator {
public:
    explicit UriGenerator(unsigned pSeed) : mRandom(pSeed) {}

    std::string make()
    {
        const char* const tSchemes[] = {"http", "HTTPS", "fOo", "urn", "file", "a+b-c.9"};
        std::string tUri = std::string(tSchemes[below(6)]) + ":";
        if (below(4)) {
            tUri += "//" + authority();
            for (int tCount = below(6); tCount > 0; --tCount)
                tUri += "/" + segment(0);
        } else {
            if (below(2)) tUri += "/";
            tUri += segment(1);
            for (int tCount = below(5); tCount > 0; --tCount)
                tUri += "/" + segment(0);
        }
        if (below(3) == 0) tUri += "?" + text("/?:@", below(6));
        return tUri;
    }

private:
    int below(int pLimit) { return std::uniform_int_distribution<int>(0, pLimit - 1)(mRandom); }

    std::string character(std::string_view pMore)
    {
        constexpr std::string_view COMMON = "aZ09-._~!$&'()*+,;=";
        if (below(5) == 0) {
            const char* const tEncoded[] = {"%41", "%7e", "%2e", "%2E", "%2f",
                                            "%c3", "%C3", "%20", "%25", "%3A"};
            return tEncoded[below(10)];
        }
        const int tPick = below(static_cast<int>(COMMON.size() + pMore.size()));
        const auto tAt = static_cast<std::size_t>(tPick);
        return std::string(1, tAt < COMMON.size() ? COMMON[tAt] : pMore[tAt - COMMON.size()]);
    }

    std::string text(std::string_view pMore, int pLength)
    {
        std::string tText;
        for (; pLength > 0; --pLength)
            tText += character(pMore);
        return tText;
    }

    std::string segment(int pLeast)
    {
        switch (below(8)) {
        case 0:
            return ".";
        case 1:
            return "..";
        case 2:
            return "%2E.";
        default:
            return text(":@", pLeast + below(4));
        }
    }

    std::string authority()
    {
        const char* const tLiterals[] = {"[::1]", "[2001:DB8::A]", "[::FFFF:1.2.3.4]", "[1:2:3:4:5:6:7:8]",
                                         "[v1F.a:B]"};
        std::string tAuthority = below(4) ? "" : text(":", below(5)) + "@";
        tAuthority += below(4) ? text("", 1 + below(8)) : tLiterals[below(5)];
        const char* const tPorts[] = {"", ":80", ":443", ":8042", ":"};
        return tAuthority + tPorts[below(5)];
    }

    std::mt19937 mRandom;
};

} // namespace kgen_test
