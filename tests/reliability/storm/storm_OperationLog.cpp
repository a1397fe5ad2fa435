#include "tests/reliability/storm/storm_OperationLog.h"

#include <cstdlib>
#include <sstream>
#include <stdexcept>

#include "kpr/codes.h"
#include "kpr/time.h"

namespace vel::kos::storm {

uint64_t monotonicNow()
{
    uint64_t tNow = 0;
    if (KFAILED(kprGetMonotonicTime(&tNow))) std::abort();
    return tNow;
}

OperationLogWriter::OperationLogWriter(const std::string& pPath)
{
    constexpr uint32_t tMode = KPR_OPEN_WRITE | KPR_OPEN_CREATE | KPR_OPEN_APPEND;
    if (KFAILED(kprOpenFile(pPath.c_str(), tMode, &mFile))) throw std::runtime_error("cannot open " + pPath);
}

OperationLogWriter::~OperationLogWriter() { kprCloseFile(mFile); }

void OperationLogWriter::write(const std::string& pKind, const std::string& pWords, uint64_t pTime)
{
    const std::string tLine =
        pKind + ' ' + std::to_string(pTime) + (pWords.empty() ? "" : " ") + pWords + '\n';
    const kpr::Lock tLock(mMutex);
    uint32_t tWritten = 0;
    if (KFAILED(kprWrite(mFile, tLine.data(), static_cast<uint32_t>(tLine.size()), &tWritten)) ||
        tWritten != tLine.size())
        std::abort();
}

uint64_t OperationLogLine::number(std::size_t pIndex) const
{
    return pIndex < words.size() ? std::strtoull(words[pIndex].c_str(), nullptr, 10) : 0;
}

std::string OperationLogLine::text(std::size_t pIndex) const
{
    std::string tText;
    for (std::size_t i = pIndex; i < words.size(); ++i)
        tText += (i > pIndex ? " " : "") + words[i];
    return tText;
}

std::vector<OperationLogLine> OperationLogReader::read()
{
    std::vector<OperationLogLine> tLines;
    KprFile tFile;
    if (KFAILED(kprOpenFile(mPath.c_str(), KPR_OPEN_READ, &tFile))) return tLines; // not started yet
    std::string tText;
    char tPiece[16384];
    uint32_t tRead = 0;
    while (!KFAILED(kprSeekAndRead(tFile, mOffset + tText.size(), tPiece, sizeof tPiece, &tRead)) &&
           tRead > 0)
        tText.append(tPiece, tRead);
    kprCloseFile(tFile);

    tText.resize(tText.find_last_of('\n') + 1); // npos + 1 is 0
    mOffset += tText.size();
    std::istringstream tStream(tText);
    for (std::string tRow; std::getline(tStream, tRow);) {
        std::istringstream tWords(tRow);
        OperationLogLine tLine{};
        tWords >> tLine.kind >> tLine.time;
        for (std::string tWord; tWords >> tWord;)
            tLine.words.push_back(tWord);
        tLines.push_back(std::move(tLine));
    }
    return tLines;
}

} // namespace vel::kos::storm
