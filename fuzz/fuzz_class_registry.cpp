// The class registry's parser: no input may harm it, and what it accepts survives writing and reading again.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string_view>

#include "kom/kom_classfile.h"

namespace {

void require(bool pCondition)
{
    if (!pCondition) std::abort();
}

bool equal(const kom::ClassFile& pA, const kom::ClassFile& pB)
{
    if (pA.comments != pB.comments || pA.classes.size() != pB.classes.size()) return false;
    for (auto tA = pA.classes.begin(), tB = pB.classes.begin(); tA != pA.classes.end(); ++tA, ++tB)
        if (tA->first != tB->first || tA->second.module != tB->second.module ||
            tA->second.comments != tB->second.comments)
            return false;
    return true;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* pData, size_t pSize)
{
    const std::string_view tText(reinterpret_cast<const char*>(pData), pSize);
    kom::ClassFile tFile;
    kom::ClassFileProblem tProblem;
    if (!kom::parseClassFile(tText, tFile, tProblem)) {
        require(tProblem.line > 0 && !tProblem.text.empty());
        require(tFile.classes.empty() && tFile.comments.empty());
        // Any text will do for a module's path, NUL apart.
        if (pSize == 0 || tText.find('\0') != std::string_view::npos) return 0;
        tFile.classes["a20d8cf0-c2f2-11d5-bfd3-0000e2430653"].module = tText;
    }
    for (const auto& [tId, tEntry] : tFile.classes)
        require(kom::isClassId(tId) && !tEntry.module.empty());
    const std::string tWritten = kom::composeClassFile(tFile);
    kom::ClassFile tAgain;
    require(kom::parseClassFile(tWritten, tAgain, tProblem));
    require(equal(tFile, tAgain));
    require(kom::composeClassFile(tAgain) == tWritten);
    return 0;
}
