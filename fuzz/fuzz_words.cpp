// Lines of the shell: the words of a line, each quoted, are the same words.
#include "fuzz/fuzz_support.h"
#include "host/khost/khost_Words.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* pData, size_t pSize)
{
    std::vector<std::string> tWords, tAgain;
    if (!vel::kos::host::splitWords(toText(pData, pSize), tWords)) return 0;
    require(tWords.size() <= pSize);
    std::string tLine;
    for (const auto& tWord : tWords) {
        tLine += " \"";
        for (const char tChar : tWord) {
            if (tChar == '"' || tChar == '\\') tLine += '\\';
            tLine += tChar;
        }
        tLine += '"';
    }
    require(vel::kos::host::splitWords(tLine, tAgain));
    require(tAgain == tWords);
    return 0;
}
