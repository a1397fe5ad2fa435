#include "kutil/catalogue.h"

#include <map>
#include <memory>
#include <string>
#include <vector>

#include "kom/identity.h"
#include "kpr/mutex.h"
#include "kpr/text.h"
#include "kutil/kutil_MoFile.h"
#include "kutil/log.h"

namespace vel::kos::util {

namespace {

constexpr uint64_t MAX_FILE_SIZE = 64u << 20;

/// A domain's catalogues in the order of their search: language and territory, then the language.
using Chain = std::vector<const MoFile*>;

struct Catalogues {
    kpr::SharedMutex mutex;
    std::string dir K_GUARDED_BY(mutex);
    std::string language K_GUARDED_BY(mutex);
    /// What the domains asked for so far have under the present choice.
    std::map<std::string, Chain, std::less<>> domains K_GUARDED_BY(mutex);
    /// Every catalogue ever read, by path; none is dropped, since its texts were handed out.
    std::map<std::string, std::unique_ptr<MoFile>, std::less<>> files K_GUARDED_BY(mutex);
};

/// Never destroyed: threads may ask for texts while the process ends.
Catalogues& catalogues()
{
    static Catalogues* const tCatalogues = new Catalogues;
    return *tCatalogues;
}

/// The catalogue of a path, read when it was not yet; null when there is none. pProblem says why one that is
/// there cannot be used.
const MoFile* open(Catalogues& pAll, const std::string& pPath, std::string& pProblem) K_REQUIRES(pAll.mutex)
{
    if (const auto tKnown = pAll.files.find(pPath); tKnown != pAll.files.end()) return tKnown->second.get();
    std::string tBytes;
    // That there is none is ordinary for a language without a catalogue.
    if (const auto tRes = kpr::readFile(pPath.c_str(), MAX_FILE_SIZE, tBytes); KFAILED(tRes)) {
        if (tRes != KPR_E_NOT_FOUND && tRes != KPR_E_NOT_DIRECTORY) pProblem = komStrError(tRes);
        return nullptr;
    }
    auto tFile = std::make_unique<MoFile>();
    if (!tFile->parse(std::move(tBytes), pProblem)) return nullptr;
    return pAll.files.emplace(pPath, std::move(tFile)).first->second.get();
}

const char* find(const Chain& pChain, const char* pText)
{
    for (const MoFile* tFile : pChain)
        if (const char* tTranslation = tFile->find(pText)) return tTranslation;
    return pText;
}

/// Reads a domain's catalogues. Warnings are collected for the caller, who gives them out without the lock.
const Chain& load(Catalogues& pAll, const char* pDomain, std::vector<std::string>& pWarnings)
    K_REQUIRES(pAll.mutex)
{
    const auto [tEntry, tIsNew] = pAll.domains.try_emplace(pDomain);
    if (!tIsNew || pAll.language.empty()) return tEntry->second;
    std::vector<std::string> tLanguages = {pAll.language};
    if (const auto tTerritory = pAll.language.find('_'); tTerritory != std::string::npos)
        tLanguages.push_back(pAll.language.substr(0, tTerritory));
    for (const std::string& tLanguage : tLanguages) {
        const std::string tPath = message("%1/%2/LC_MESSAGES/%3.mo", pAll.dir, tLanguage, pDomain);
        std::string tProblem;
        if (const MoFile* tFile = open(pAll, tPath, tProblem)) tEntry->second.push_back(tFile);
        if (!tProblem.empty())
            pWarnings.push_back(message("Can't use the catalogue %1: %2", tPath, tProblem));
    }
    return tEntry->second;
}

} // namespace

const char* kGetText(const char* pDomain, const char* pText)
{
    // The empty text stands for the catalogue's own description.
    if (!pText || !*pText || !pDomain) return pText ? pText : "";

    Catalogues& tAll = catalogues();
    {
        const kpr::SharedLock tLock(tAll.mutex);
        if (const auto tDomain = tAll.domains.find(std::string_view(pDomain)); tDomain != tAll.domains.end())
            return find(tDomain->second, pText);
    }
    std::vector<std::string> tWarnings;
    const char* tText;
    {
        const kpr::Lock tLock(tAll.mutex);
        tText = find(load(tAll, pDomain, tWarnings), pText);
    }
    for (const std::string& tWarning : tWarnings)
        kWarning(nullptr, "kos:kutil", tWarning);
    return tText;
}

void kSetCatalogues(const char* pDir, const char* pLanguage)
{
    Catalogues& tAll = catalogues();
    const kpr::Lock tLock(tAll.mutex);
    tAll.dir = pDir ? pDir : "";
    tAll.language = pLanguage ? pLanguage : "";
    tAll.domains.clear();
}

} // namespace vel::kos::util
