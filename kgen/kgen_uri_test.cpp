#include "kgen/uri.h"

#include <gtest/gtest.h>

#include <random>

#include "kgen/testing/kgen_UriGenerator.h"

namespace {

using kgen::normaliseUri;

struct Case {
    const char* input;
    const char* normal;
};

void expectAll(std::initializer_list<Case> pCases)
{
    for (const Case& tCase : pCases) {
        EXPECT_EQ(normaliseUri(tCase.input), tCase.normal) << tCase.input;
        EXPECT_EQ(normaliseUri(tCase.normal), tCase.normal) << "again: " << tCase.input;
    }
}

// The examples of RFC 3986, section 5.4, with the base "http://a/b/c/d;p?q". A path reference is merged with
// the base's path here, and what is left of resolving it is the removal of its dot segments.
TEST(Uri, ResolvesTheExamplesOfReferences)
{
    const struct {
        const char* reference;
        const char* merged;
        const char* resolved;
    } tExamples[] = {
        // 5.4.1
        {"g:h", "g:h", "g:h"},
        {"g", "http://a/b/c/g", "http://a/b/c/g"},
        {"./g", "http://a/b/c/./g", "http://a/b/c/g"},
        {"g/", "http://a/b/c/g/", "http://a/b/c/g/"},
        {"/g", "http://a/g", "http://a/g"},
        {"//g", "http://g", "http://g"},
        {"?y", "http://a/b/c/d;p?y", "http://a/b/c/d;p?y"},
        {"g?y", "http://a/b/c/g?y", "http://a/b/c/g?y"},
        {"#s", "http://a/b/c/d;p?q#s", "http://a/b/c/d;p?q"},
        {"g#s", "http://a/b/c/g#s", "http://a/b/c/g"},
        {"g?y#s", "http://a/b/c/g?y#s", "http://a/b/c/g?y"},
        {";x", "http://a/b/c/;x", "http://a/b/c/;x"},
        {"g;x", "http://a/b/c/g;x", "http://a/b/c/g;x"},
        {"g;x?y#s", "http://a/b/c/g;x?y#s", "http://a/b/c/g;x?y"},
        {"", "http://a/b/c/d;p?q", "http://a/b/c/d;p?q"},
        {".", "http://a/b/c/.", "http://a/b/c/"},
        {"./", "http://a/b/c/./", "http://a/b/c/"},
        {"..", "http://a/b/c/..", "http://a/b/"},
        {"../", "http://a/b/c/../", "http://a/b/"},
        {"../g", "http://a/b/c/../g", "http://a/b/g"},
        {"../..", "http://a/b/c/../..", "http://a/"},
        {"../../", "http://a/b/c/../../", "http://a/"},
        {"../../g", "http://a/b/c/../../g", "http://a/g"},
        // 5.4.2
        {"../../../g", "http://a/b/c/../../../g", "http://a/g"},
        {"../../../../g", "http://a/b/c/../../../../g", "http://a/g"},
        {"/./g", "http://a/./g", "http://a/g"},
        {"/../g", "http://a/../g", "http://a/g"},
        {"g.", "http://a/b/c/g.", "http://a/b/c/g."},
        {".g", "http://a/b/c/.g", "http://a/b/c/.g"},
        {"g..", "http://a/b/c/g..", "http://a/b/c/g.."},
        {"..g", "http://a/b/c/..g", "http://a/b/c/..g"},
        {"./../g", "http://a/b/c/./../g", "http://a/b/g"},
        {"./g/.", "http://a/b/c/./g/.", "http://a/b/c/g/"},
        {"g/./h", "http://a/b/c/g/./h", "http://a/b/c/g/h"},
        {"g/../h", "http://a/b/c/g/../h", "http://a/b/c/h"},
        {"g;x=1/./y", "http://a/b/c/g;x=1/./y", "http://a/b/c/g;x=1/y"},
        {"g;x=1/../y", "http://a/b/c/g;x=1/../y", "http://a/b/c/y"},
        {"g?y/./x", "http://a/b/c/g?y/./x", "http://a/b/c/g?y/./x"},
        {"g?y/../x", "http://a/b/c/g?y/../x", "http://a/b/c/g?y/../x"},
        {"g#s/./x", "http://a/b/c/g#s/./x", "http://a/b/c/g"},
        {"g#s/../x", "http://a/b/c/g#s/../x", "http://a/b/c/g"},
        {"http:g", "http:g", "http:g"},
    };
    for (const auto& tExample : tExamples) {
        // An empty path after an authority has "/" as its normal form.
        const std::string tNormal =
            tExample.resolved == std::string("http://g") ? "http://g/" : tExample.resolved;
        EXPECT_EQ(normaliseUri(tExample.merged), tNormal) << tExample.reference;
        EXPECT_EQ(normaliseUri(tExample.resolved), tNormal) << tExample.reference;
    }
}

TEST(Uri, KeepsTheExamplesOfTheSyntax)
{
    for (const char* tUri :
         {"ftp://ftp.is.co.za/rfc/rfc1808.txt", "http://www.ietf.org/rfc/rfc2396.txt",
          "ldap://[2001:db8::7]/c=GB?objectClass?one", "mailto:John.Doe@example.com",
          "news:comp.infosystems.www.servers.unix", "tel:+1-816-555-1212", "telnet://192.0.2.16/",
          "urn:oasis:names:specification:docbook:dtd:xml:4.1.2", "urn:example:animal:ferret:nose"})
        EXPECT_EQ(normaliseUri(tUri), tUri);
    EXPECT_EQ(normaliseUri("telnet://192.0.2.16:80/"), "telnet://192.0.2.16:80/");
    EXPECT_EQ(normaliseUri("foo://example.com:8042/over/there?name=ferret#nose"),
              "foo://example.com:8042/over/there?name=ferret");
}

TEST(Uri, RemovesDotSegments)
{
    expectAll({
        {"http://a/a/b/c/./../../g", "http://a/a/g"},
        {"eXAMPLE://a/./b/../b/%63/%7bfoo%7d", "example://a/b/c/%7Bfoo%7D"},
        {"http://a/..", "http://a/"},
        {"http://a/.", "http://a/"},
        {"http://a/b/...", "http://a/b/..."},
        {"http://a//b", "http://a//b"},
        {"http://a/b//../c", "http://a/b/c"},
        {"http://a/b/..//c", "http://a//c"},
        {"http://a/%2e/b", "http://a/b"},
        {"http://a/b/%2E%2e/c", "http://a/c"},
        {"http://a/b/.%2E", "http://a/"},
        {"http://a/b/%2F../c", "http://a/b/%2F../c"},
        // Paths without an authority, and without a root.
        {"foo:/a/../b", "foo:/b"},
        {"foo:/../a", "foo:/a"},
        {"foo:a/b/../c", "foo:a/c"},
        {"foo:./a", "foo:a"},
        {"foo:../a", "foo:a"},
        {"foo:./../a", "foo:a"},
        {"foo:.", "foo:"},
        {"foo:..", "foo:"},
        {"foo:./", "foo:"},
        {"foo:a/..", "foo:/"},
        {"foo:a/../b", "foo:/b"},
        // What would begin as an authority does gets a dot segment that keeps it a path.
        {"foo:/.//bar", "foo:/.//bar"},
        {"foo:/a/..//bar", "foo:/.//bar"},
        {"foo:a/..//bar", "foo:/.//bar"},
        {"foo:.///bar", "foo:/.//bar"},
    });
}

/// The removal of dot segments word for word as RFC 3986, section 5.2.4, has it.
std::string literalRemoval(std::string pInput)
{
    std::string tOutput;
    const auto startsWith = [&](const char* pPrefix) { return pInput.rfind(pPrefix, 0) == 0; };
    const auto removeLast = [&] {
        const auto tSlash = tOutput.rfind('/');
        tOutput.erase(tSlash == std::string::npos ? 0 : tSlash);
    };
    while (!pInput.empty()) {
        if (startsWith("../")) {
            pInput.erase(0, 3);
        } else if (startsWith("./")) {
            pInput.erase(0, 2);
        } else if (startsWith("/./")) {
            pInput.erase(0, 2);
        } else if (pInput == "/.") {
            pInput = "/";
        } else if (startsWith("/../")) {
            pInput.erase(0, 3);
            removeLast();
        } else if (pInput == "/..") {
            pInput = "/";
            removeLast();
        } else if (pInput == "." || pInput == "..") {
            pInput.clear();
        } else {
            const auto tEnd = std::min(pInput.find('/', 1), pInput.size());
            tOutput.append(pInput, 0, tEnd);
            pInput.erase(0, tEnd);
        }
    }
    return tOutput;
}

TEST(Uri, RemovesDotSegmentsOfEveryShortPath)
{
    constexpr char BYTES[] = "/.a";
    std::string tPath;
    // Counts through all texts of up to nine of these bytes.
    for (std::string tDigits; tDigits.size() < 10;) {
        tPath.clear();
        for (const char tDigit : tDigits)
            tPath += BYTES[static_cast<unsigned>(tDigit)];

        ASSERT_EQ(normaliseUri("x://h/" + tPath), "x://h" + literalRemoval("/" + tPath)) << tPath;
        if (tPath.rfind("//", 0) != 0) {
            const std::string tRemoved = literalRemoval(tPath);
            const char* tGuard = tRemoved.rfind("//", 0) == 0 ? "x:/." : "x:";
            ASSERT_EQ(normaliseUri("x:" + tPath), tGuard + tRemoved) << tPath;
        }

        std::size_t tAt = 0;
        while (tAt < tDigits.size() && tDigits[tAt] == 2)
            tDigits[tAt++] = 0;
        if (tAt < tDigits.size())
            ++tDigits[tAt];
        else
            tDigits += '\0';
    }
}

TEST(Uri, NormalisesCase)
{
    expectAll({
        {"HTTP://www.EXAMPLE.com/", "http://www.example.com/"},
        {"http://User@EXAMPLE.com/Path?Query", "http://User@example.com/Path?Query"},
        {"URN:Example:A", "urn:Example:A"},
        {"svn+SSH://Host/", "svn+ssh://host/"},
        {"a1+-.://h/", "a1+-.://h/"},
    });
}

TEST(Uri, NormalisesPercentEncodings)
{
    expectAll({
        {"http://a/%7Esmith/%41%5a%30%2d%2E%5F", "http://a/~smith/AZ0-._"},
        {"http://a/%c3%a4", "http://a/%C3%A4"},
        {"http://a/%2f%3a%40", "http://a/%2F%3A%40"},
        {"http://a/?%7e=%3d%61", "http://a/?~=%3Da"},
        {"http://%45xample.com/", "http://example.com/"},
        {"http://%c3%84.DE/", "http://%C3%84.de/"},
        {"http://%75ser:p%3a%77@h/", "http://user:p%3Aw@h/"},
        // Decoded once only.
        {"http://a/%2541", "http://a/%2541"},
        {"http://a/%25%34%31", "http://a/%2541"},
        // A "%" without two hexadecimal digits stands for itself.
        {"http://a/100%", "http://a/100%25"},
        {"http://a/%4", "http://a/%254"},
        {"http://a/%G1%1G", "http://a/%25G1%251G"},
        {"http://a/%%34%31", "http://a/%2541"},
        {"http://a/%4%31", "http://a/%2541"},
        {"http://a/?50%&b", "http://a/?50%25&b"},
    });
}

TEST(Uri, EncodesWhatAUriMayNotHold)
{
    expectAll({
        {"http://a/a b", "http://a/a%20b"},
        {"http://a/\t\n\x7f", "http://a/%09%0A%7F"},
        {"http://a/\xC3\xA4?\xC3\xB6", "http://a/%C3%A4?%C3%B6"},
        {"http://a/\"<>\\^`{|}", "http://a/%22%3C%3E%5C%5E%60%7B%7C%7D"},
        {"http://ex ample/", "http://ex%20ample/"},
        {"http://us er@h/", "http://us%20er@h/"},
        {"http://a/[1]?b[]=2", "http://a/%5B1%5D?b%5B%5D=2"},
        {"C:\\Files\\a b", "c:%5CFiles%5Ca%20b"},
        {"http://a/ ", "http://a/%20"},
    });
    EXPECT_EQ(normaliseUri(std::string_view("http://a/\0b", 11)), "http://a/%00b");
}

TEST(Uri, KeepsTheQueryAndDropsTheFragment)
{
    expectAll({
        {"http://a/b?", "http://a/b?"},
        {"http://a?b", "http://a/?b"},
        {"http://a/?b?c/d", "http://a/?b?c/d"},
        {"http://a/b#", "http://a/b"},
        {"http://a/b#c?d", "http://a/b"},
        {"http://a#b#c", "http://a/"},
        {"urn:a?b#c", "urn:a?b"},
        {"http://a/b/?c/../d", "http://a/b/?c/../d"},
    });
}

TEST(Uri, DropsDefaultAndEmptyPorts)
{
    expectAll({
        {"http://a:80/", "http://a/"},
        {"HTTP://A:80", "http://a/"},
        {"http://a:/", "http://a/"},
        {"http://a:080/", "http://a/"},
        {"http://a:8080/", "http://a:8080/"},
        {"http://a:0/", "http://a:0/"},
        {"http://a:443/", "http://a:443/"},
        {"https://a:443/", "https://a/"},
        {"https://a:80/", "https://a:80/"},
        {"ftp://a:21/", "ftp://a/"},
        {"ws://a:80/", "ws://a/"},
        {"wss://a:443/", "wss://a/"},
        {"ssh://a:22/", "ssh://a/"},
        {"sftp://a:22/", "sftp://a/"},
        {"telnet://a:23/", "telnet://a/"},
        {"gopher://a:70/", "gopher://a/"},
        {"ldap://a:389/", "ldap://a/"},
        {"ldaps://a:636/", "ldaps://a/"},
        {"rtsp://a:554/", "rtsp://a/"},
        {"unknown://a:80/", "unknown://a:80/"},
        {"unknown://a:/", "unknown://a/"},
        {"http://[::1]:80/", "http://[::1]/"},
        {"http://u@a:80/", "http://u@a/"},
        {"http://a:99999999999999999999/", "http://a:99999999999999999999/"},
    });
}

TEST(Uri, KeepsUserInfo)
{
    expectAll({
        {"http://user:pass@h/", "http://user:pass@h/"},
        {"http://@h/", "http://@h/"},
        {"http://:@h/", "http://:@h/"},
        {"http://a:b:c@h/", "http://a:b:c@h/"},
        {"ftp://U%40D@h/", "ftp://U%40D@h/"},
    });
}

TEST(Uri, GivesAnEmptyPathAfterAnAuthorityItsSlash)
{
    expectAll({
        {"http://example.com", "http://example.com/"},
        {"foo://h", "foo://h/"},
        {"http://", "http:///"},
        {"foo:", "foo:"},
        {"foo:?q", "foo:?q"},
    });
}

TEST(Uri, ReadsHostLiterals)
{
    for (const char* tHost :
         {"[::]", "[::1]", "[1::]", "[1:2:3:4:5:6:7:8]", "[1:2:3:4:5:6:7::]", "[::2:3:4:5:6:7:8]",
          "[1::3:4:5:6:7:8]", "[2001:db8::7]", "[abcd:ef01::]", "[::192.0.2.1]", "[::ffff:255.255.255.255]",
          "[1:2:3:4:5:6:0.0.0.0]", "[1:2:3:4:5::1.2.3.4]", "[v1.a]", "[vf0.a:b~!$]"}) {
        const std::string tUri = std::string("http://") + tHost + "/";
        EXPECT_EQ(normaliseUri(tUri), tUri);
    }
    for (const char* tHost : {"[]",
                              "[:]",
                              "[:::]",
                              "[1]",
                              "[1:2:3:4:5:6:7]",
                              "[1:2:3:4:5:6:7:8:9]",
                              "[1::2::3]",
                              "[1:2:3:4:5:6:7:8::]",
                              "[::1:2:3:4:5:6:7:8]",
                              "[12345::]",
                              "[g::]",
                              "[1:]",
                              "[:1::]",
                              "[::1",
                              "::1]",
                              "[::1]x",
                              "[::1]]",
                              "[[::1]",
                              "[::1.2.3]",
                              "[::1.2.3.4.5]",
                              "[::256.0.0.1]",
                              "[::01.2.3.4]",
                              "[::1.2.3.]",
                              "[::1.2.3.4:5]",
                              "[1:2:3:4:5:6:7:1.2.3.4]",
                              "[::1%25eth0]",
                              "[v.a]",
                              "[v1.]",
                              "[v1]",
                              "[vg.a]",
                              "[v1.a%20]",
                              "[v1.a@]",
                              "[1.2.3.4]",
                              "x[::1]"}) {
        const std::string tUri = std::string("http://") + tHost + "/";
        EXPECT_EQ(normaliseUri(tUri), "") << tUri;
    }
    EXPECT_EQ(normaliseUri("http://[2001:DB8::A]:8080/x"), "http://[2001:db8::a]:8080/x");
    EXPECT_EQ(normaliseUri("http://u@[V1F.Ab]/"), "http://u@[v1f.ab]/");
}

TEST(Uri, RefusesWhatDoesNotParse)
{
    for (const char* tUri : {"",
                             ":",
                             "a",
                             "/",
                             "/a/b",
                             "//host/a",
                             "?a",
                             "#a",
                             "a#b:c",
                             "a/b:c",
                             "a?b:c",
                             "1http://a/",
                             "+a:b",
                             "-a:b",
                             ".a:b",
                             ":a",
                             "ht tp://a/",
                             "h%74tp://a/",
                             " http://a/",
                             "ht\xC3\xA4p://a/",
                             "http://a:b/",
                             "http://a:8x/",
                             "http://a:80:80/",
                             "http://a:-1/",
                             "http://a:8 0/",
                             "http://a@b@c/",
                             "http://a[/",
                             "http://a]/",
                             "http://u[@h/",
                             "http://u]@h/",
                             "http://a:%38/"})
        EXPECT_EQ(normaliseUri(tUri), "") << tUri;
}

TEST(Uri, LeavesOpaqueUrisWhole)
{
    expectAll({
        {"mailto:Someone@Example.com?subject=a%20b", "mailto:Someone@Example.com?subject=a%20b"},
        {"MAILTO:a,b@c", "mailto:a,b@c"},
        {"urn:ISBN:0-395-36341-1", "urn:ISBN:0-395-36341-1"},
        {"data:text/plain;charset=utf-8;base64,SGVsbG8+Lw==",
         "data:text/plain;charset=utf-8;base64,SGVsbG8+Lw=="},
        {"data:,a b", "data:,a%20b"},
        {"about:blank", "about:blank"},
        {"tag:x,2000:%7e", "tag:x,2000:~"},
    });
}

TEST(Uri, WritesALocalFilesAuthorityAsTheEmptyOne)
{
    expectAll({
        {"file:///etc/fstab", "file:///etc/fstab"},
        {"file://localhost/etc/fstab", "file:///etc/fstab"},
        {"FILE://LocalHost/", "file:///"},
        {"file://", "file:///"},
        {"file://server/share", "file://server/share"},
        {"file:/etc/../usr", "file:/usr"},
        {"file:///C:/a%20b/../c", "file:///C:/c"},
        {"file://u@localhost/", "file://u@localhost/"},
        {"http://localhost/", "http://localhost/"},
    });
}

TEST(Uri, TakesLongTexts)
{
    constexpr std::size_t LENGTH = 1 << 20;
    const std::string tLong(LENGTH, 'x');
    EXPECT_EQ(normaliseUri("http://H/" + tLong), "http://h/" + tLong);
    EXPECT_EQ(normaliseUri("http://" + tLong), "http://" + tLong + "/");
    EXPECT_EQ(normaliseUri(tLong + ":"), tLong + ":");
    EXPECT_EQ(normaliseUri(tLong), "");
    EXPECT_EQ(normaliseUri("http://h/" + std::string(LENGTH, ' ')).size(), 9 + 3 * LENGTH);

    // In time that grows with the length alone, also for a way up from under a long host.
    std::string tDown, tUp;
    for (int tCount = 0; tCount < 200000; ++tCount) {
        tDown += "/a";
        tUp += "/..";
    }
    EXPECT_EQ(normaliseUri("http://" + tLong + tDown + tUp + tUp), "http://" + tLong + "/");
}

TEST(Uri, IsIdempotentAndHoldsOnlyWhatAUriMay)
{
    std::mt19937 tRandom(20240607);
    std::uniform_int_distribution<int> tByte(0, 255), tLength(0, 40);
    kgen_test::UriGenerator tGenerator(7);
    int tNormalised = 0;
    for (int tRound = 0; tRound < 60000; ++tRound) {
        std::string tInput = tGenerator.make();
        // Half of them are damaged, by bytes that mean something more often than by others.
        if (tRound % 2)
            for (int tCount = tLength(tRandom) % 4 + 1; tCount > 0; --tCount) {
                constexpr char MEANINGFUL[] = "%:/?#[]@. \\~2eE";
                const int tPick = tByte(tRandom);
                const char tChar = tPick < 200
                                       ? MEANINGFUL[static_cast<unsigned>(tPick) % (sizeof MEANINGFUL - 1)]
                                       : static_cast<char>(tByte(tRandom));
                tInput.insert(static_cast<std::size_t>(tByte(tRandom)) % (tInput.size() + 1), 1, tChar);
            }
        const std::string tNormal = normaliseUri(tInput);
        ASSERT_EQ(normaliseUri(tNormal), tNormal) << tInput;
        ASSERT_EQ(kgen_test::firstForbidden(tNormal), std::string::npos) << tInput << " -> " << tNormal;
        tNormalised += !tNormal.empty();
    }
    EXPECT_GT(tNormalised, 30000);
}

} // namespace
