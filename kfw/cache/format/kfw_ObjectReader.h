// Reading an object file in few system calls.
#pragma once

#include <string>

#include "kfw/cache/format/kfw_ByteSource.h"
#include "kfw/cache/format/kfw_ObjectFile.h"

namespace vel::kos::kfw {

/// Opens an object file for reading. Its failure is reported.
uint32_t openObject(const std::string& pPath, OpenFile* pFile, ProblemLog& pLog);

/// Reads one object file. The first read takes more than the header, so that small objects are read at once;
/// what it brought is not read again. When that read fails, exact reads of each part follow. Every failure is
/// reported and leaves the outputs as they were: the platform's code, or E_FAIL for a file that breaks a
/// rule.
class ObjectReader {
public:
    /// Reads from a source that stands at its start; pPath names it in reports. All outlive the reader.
    ObjectReader(ByteSource& pSource, const std::string& pPath, ProblemLog& pLog)
        : mSource(pSource), mPath(pPath), mLog(pLog)
    {
    }

    /// Reads and checks the header; first of all.
    uint32_t readObjectHeader();
    /// Takes as much memory as the attributes do, whatever lies behind them in a large space.
    uint32_t readAttributes(fw::CacheAttrList* pList);
    /// Reads and checks the attributes as readAttributes does, with the same reports, but keeps none: piece
    /// by piece, in memory of a fixed size.
    uint32_t checkAttributes();
    uint32_t readData(fw::CacheBytes* pBytes);

    /// The header, once it was read.
    const ObjectFileHeader& header() const noexcept { return mHeader; }

private:
    class SpaceInFile;

    /// Reads a range that the header check found inside the file. Why the bytes are not all there is
    /// reported; pWhat is "attributes" or "data", of which pBefore bytes were read before.
    uint32_t readRange(const char* pWhat, uint32_t pOffset, uint8_t* pBuffer, uint32_t pLength,
                       uint32_t pBefore = 0);
    /// Reads and checks the attributes piece by piece; *pUsed is how much of their space they take.
    /// pToTheEnd: the whole space is read before one that is wrong is refused.
    uint32_t walkAttributes(bool pToTheEnd, uint32_t* pUsed);
    uint32_t refuse(const std::string& pProblem);

    ByteSource& mSource;
    const std::string& mPath;
    ProblemLog& mLog;
    ObjectFileHeader mHeader;
    uint32_t mHeadSize = 0;
    uint8_t mHead[4096];
};

} // namespace vel::kos::kfw
