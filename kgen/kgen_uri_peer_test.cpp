// Compares URI normalisation with uriparser's, over thousands of generated URIs.
#include <gtest/gtest.h>

#include <uriparser/Uri.h>

#include "kgen/testing/kgen_UriGenerator.h"
#include "kgen/text.h"
#include "kgen/uri.h"

namespace {

std::string textOf(const UriTextRangeA& pRange)
{
    return pRange.first ? std::string(pRange.first, pRange.afterLast) : std::string();
}

/// uriparser lowers the digits of the percent-encodings in a host; they belong in upper case.
std::string raiseEncodings(std::string pHost)
{
    for (std::size_t tAt = 0; (tAt = pHost.find('%', tAt)) != std::string::npos; tAt += 3)
        for (char& tDigit : {std::ref(pHost[tAt + 1]), std::ref(pHost[tAt + 2])})
            if (tDigit >= 'a' && tDigit <= 'f') tDigit = static_cast<char>(tDigit - 'a' + 'A');
    return pHost;
}

/// What has to come out, put together from the components that uriparser has normalised, with the rules for
/// ports and empty paths, which it does not know.
std::string expected(const std::string& pUri)
{
    UriUriA tUri;
    if (uriParseSingleUriA(&tUri, pUri.c_str(), nullptr) != URI_SUCCESS) return "uriparser refuses it";
    // It writes addresses out in full; their letters' case is all that has to change.
    const bool tIsAddress = tUri.hostData.ip6 || tUri.hostData.ipFuture.first;
    const std::string tAddress = "[" + kgen::toLower(textOf(tUri.hostText)) + "]";
    if (uriNormalizeSyntaxA(&tUri) != URI_SUCCESS) return "uriparser fails";

    const std::string tScheme = textOf(tUri.scheme);
    std::string tText = tScheme + ":";
    if (tUri.hostText.first) {
        tText += "//";
        if (tUri.userInfo.first) tText += textOf(tUri.userInfo) + "@";
        tText += tIsAddress ? tAddress : raiseEncodings(textOf(tUri.hostText));
        const std::string tPort = textOf(tUri.portText);
        const bool tIsDefault =
            (tScheme == "http" && tPort == "80") || (tScheme == "https" && tPort == "443");
        if (!tPort.empty() && !tIsDefault) tText += ":" + tPort;
    }
    const bool tBeginsLikeAuthority =
        tUri.pathHead && tUri.pathHead->text.first == tUri.pathHead->text.afterLast;
    if (tUri.absolutePath && tBeginsLikeAuthority && tUri.pathHead->next) tText += "/.";
    if (tUri.hostText.first || tUri.absolutePath) tText += "/";
    for (const UriPathSegmentA* tSegment = tUri.pathHead; tSegment; tSegment = tSegment->next)
        tText += textOf(tSegment->text) + (tSegment->next ? "/" : "");
    if (tUri.query.first) tText += "?" + textOf(tUri.query);
    uriFreeUriMembersA(&tUri);
    return tText;
}

/// Dot segments in a path without a root: uriparser leaves such a path without a root, where their removal,
/// taken literally, can give it one.
bool isRelativePath(const std::string& pUri)
{
    const std::string tPath = pUri.substr(pUri.find(':') + 1);
    return tPath[0] != '/' && tPath.find('/') != std::string::npos;
}

TEST(UriPeer, Agrees)
{
    kgen_test::UriGenerator tGenerator(11);
    int tCompared = 0;
    for (int tRound = 0; tRound < 40000; ++tRound) {
        const std::string tUri = tGenerator.make();
        if (isRelativePath(tUri)) continue;
        ASSERT_EQ(kgen::normaliseUri(tUri), expected(tUri)) << tUri;
        ++tCompared;
    }
    EXPECT_GT(tCompared, 30000);
}

} // namespace
