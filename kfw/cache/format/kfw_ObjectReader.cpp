#include "kfw/cache/format/kfw_ObjectReader.h"

#include <algorithm>
#include <cstring>

#include "kfw/cache/format/kfw_AttributeWalk.h"
#include "kom/identity.h"

namespace vel::kos::kfw {

uint32_t openObject(const std::string& pPath, OpenFile* pFile, ProblemLog& pLog)
{
    const uint32_t tRes = pFile->open(pPath, KPR_OPEN_READ);
    if (KFAILED(tRes)) pLog.debug("FS cache: can't open %1 for reading: %2", pPath, komStrError(tRes));
    return tRes;
}

uint32_t ObjectReader::refuse(const std::string& pProblem)
{
    mLog.debug("%1", pProblem);
    return E_FAIL;
}

uint32_t ObjectReader::readObjectHeader()
{
    uint64_t tSize = 0;
    uint32_t tRes = mSource.getSize(&tSize);
    if (KFAILED(tRes)) {
        mLog.debug("FS cache: failed to get size of %1: %2", mPath, komStrError(tRes));
        return tRes;
    }
    if (const std::string tProblem = checkObjectSize(mPath, tSize); !tProblem.empty())
        return refuse(tProblem);
    // Not beyond the end, where a second call would bring nothing.
    const auto tWanted = static_cast<uint32_t>(std::min<uint64_t>(sizeof mHead, tSize));
    tRes = mSource.read(mHead, tWanted, &mHeadSize);
    // A place that cannot be read may lie beyond the header: then the step that needs it fails.
    if (KFAILED(tRes)) tRes = mSource.readAt(0, mHead, OBJECT_HEADER_SIZE, &mHeadSize);
    if (KFAILED(tRes)) {
        mHeadSize = 0;
        mLog.debug("FS cache: error reading object header from %1: %2", mPath, komStrError(tRes));
        return tRes;
    }
    const std::string tProblem =
        parseObjectHeader(mPath, static_cast<uint32_t>(tSize), mHead, mHeadSize, &mHeader);
    return tProblem.empty() ? 0 : refuse(tProblem);
}

uint32_t ObjectReader::readRange(const char* pWhat, uint32_t pOffset, uint8_t* pBuffer, uint32_t pLength,
                                 uint32_t pBefore)
{
    if (pLength == 0) return 0; // and perhaps no buffer
    uint32_t tGot = 0;
    if (pOffset < mHeadSize) {
        tGot = std::min(pLength, mHeadSize - pOffset);
        std::memcpy(pBuffer, mHead + pOffset, tGot);
    }
    if (tGot == pLength) return 0;
    uint32_t tRead = 0;
    const uint32_t tRes = mSource.readAt(pOffset + tGot, pBuffer + tGot, pLength - tGot, &tRead);
    if (KFAILED(tRes)) {
        mLog.debug("FS cache: error reading %1 from %2: %3", pWhat, mPath, komStrError(tRes));
        return tRes;
    }
    tGot += tRead;
    if (tGot == pLength) return 0;
    mLog.debug("FS cache: incomplete read of %1 from %2 (got only %3 bytes).", pWhat, mPath, pBefore + tGot);
    return E_FAIL;
}

/// The attribute space as it lies in the file, in a window that moves forward over it.
class ObjectReader::SpaceInFile {
public:
    explicit SpaceInFile(ObjectReader& pReader) : mReader(pReader) {}

    uint64_t size() const { return mReader.mHeader.attrSize; }
    /// 0 where it cannot be read; offsets do not decrease.
    uint8_t at(uint64_t pOffset)
    {
        moveTo(pOffset);
        return KFAILED(mRes) ? 0 : mWindow[pOffset - mStart];
    }
    /// The first failure to read.
    uint32_t result() const { return mRes; }
    /// Reads what is left; the first failure of all.
    uint32_t finish()
    {
        if (size() > 0) moveTo(size() - 1);
        return mRes;
    }

private:
    void moveTo(uint64_t pOffset)
    {
        while (!KFAILED(mRes) && pOffset >= mStart + mLength) {
            mStart += mLength;
            mLength = static_cast<uint32_t>(std::min<uint64_t>(WINDOW, size() - mStart));
            mRes = mReader.readRange("attributes", static_cast<uint32_t>(mReader.mHeader.attrOffset + mStart),
                                     mWindow.get(), mLength, static_cast<uint32_t>(mStart));
        }
    }

    static constexpr uint32_t WINDOW = 65536;
    ObjectReader& mReader;
    std::unique_ptr<uint8_t[]> mWindow{new uint8_t[WINDOW]};
    uint64_t mStart = 0;  ///< where in the space the window begins
    uint32_t mLength = 0; ///< how much of the space it shows
    uint32_t mRes = 0;
};

uint32_t ObjectReader::walkAttributes(bool pToTheEnd, uint32_t* pUsed)
{
    SpaceInFile tSpace(*this);
    AttributeWalk tWalk(tSpace);
    const auto tNothing = [](uint64_t, uint32_t) {};
    for (uint32_t i = 0; i < mHeader.attrCount; ++i)
        if (const char* tProblem = tWalk.take(tNothing, tNothing); *tProblem) {
            // What cannot be read counts before what it says.
            const uint32_t tRes = pToTheEnd ? tSpace.finish() : tSpace.result();
            return KFAILED(tRes) ? tRes : refuse(tProblem);
        }
    *pUsed = static_cast<uint32_t>(std::min(tWalk.position(), tSpace.size()));
    return tSpace.finish();
}

uint32_t ObjectReader::checkAttributes()
{
    uint32_t tUsed = 0;
    return walkAttributes(false, &tUsed);
}

uint32_t ObjectReader::readAttributes(fw::CacheAttrList* pList)
{
    // A small space is read at once. A large one may be a hole, with little at its start that counts.
    constexpr uint32_t tSmall = 1u << 20;
    uint32_t tSize = mHeader.attrSize;
    if (tSize > tSmall)
        if (const uint32_t tRes = walkAttributes(true, &tSize); KFAILED(tRes)) return tRes;
    std::unique_ptr<uint8_t[]> tOwned;
    const uint8_t* tSpace = nullptr;
    if (uint64_t(mHeader.attrOffset) + tSize <= mHeadSize) {
        tSpace = mHead + mHeader.attrOffset;
    } else {
        tOwned.reset(new uint8_t[tSize]);
        tSpace = tOwned.get();
        if (const uint32_t tRes = readRange("attributes", mHeader.attrOffset, tOwned.get(), tSize);
            KFAILED(tRes))
            return tRes;
    }
    const std::string tProblem = parseAttributes(tSpace, tSize, mHeader.attrCount, pList);
    return tProblem.empty() ? 0 : refuse(tProblem);
}

uint32_t ObjectReader::readData(fw::CacheBytes* pBytes)
{
    fw::CacheBytes tBytes;
    tBytes.mSize = mHeader.dataSize;
    tBytes.mData = static_cast<uint8_t*>(komRealloc(nullptr, tBytes.mSize));
    if (const uint32_t tRes = readRange("data", mHeader.dataOffset, tBytes.mData, tBytes.mSize);
        KFAILED(tRes))
        return tRes;
    pBytes->swap(tBytes);
    return 0;
}

} // namespace vel::kos::kfw
