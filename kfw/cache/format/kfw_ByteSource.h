// A source of bytes, an open file as one, and a guard that closes it.
#pragma once

#include <cstdint>
#include <string>
#include <utility>

#include "kfw/cache/format/kfw_ProblemLog.h"
#include "kpr/file.h"

namespace vel::kos::kfw {

/// Something of a size that can be read. Operations return a result code; a read that meets the end returns
/// success and fewer bytes.
class ByteSource {
public:
    /// The size in bytes.
    virtual uint32_t getSize(uint64_t* pSize) = 0;
    /// Reads from the current position, which is the start at first, and moves it.
    virtual uint32_t read(void* pBuffer, uint32_t pLength, uint32_t* pRead) = 0;
    /// Reads at an offset. Where the position is afterwards is not defined.
    virtual uint32_t readAt(uint64_t pOffset, void* pBuffer, uint32_t pLength, uint32_t* pRead) = 0;

protected:
    ~ByteSource() = default;
};

/// An open file, which stays its owner's. Reads and writes at an offset are one call where the platform can,
/// else the position is moved first; that it arrived is checked.
class FileBytes final : public ByteSource {
public:
    /// The log outlives this object.
    FileBytes(KprFile pFile, ProblemLog& pLog) : mFile(pFile), mLog(pLog) {}

    uint32_t getSize(uint64_t* pSize) override;
    uint32_t read(void* pBuffer, uint32_t pLength, uint32_t* pRead) override;
    uint32_t readAt(uint64_t pOffset, void* pBuffer, uint32_t pLength, uint32_t* pRead) override;
    uint32_t writeAt(uint64_t pOffset, const void* pBuffer, uint32_t pLength, uint32_t* pWritten);

private:
    uint32_t seekTo(uint64_t pOffs);

    KprFile mFile;
    ProblemLog& mLog;
};

/// An open file that is closed when it goes out of scope, unless it was closed before or is to stay open.
class OpenFile {
public:
    OpenFile() = default;
    ~OpenFile() { static_cast<void>(close()); }
    OpenFile(const OpenFile&) = delete;
    OpenFile& operator=(const OpenFile&) = delete;

    /// Opens a regular file, not through a link.
    uint32_t open(const std::string& pPath, uint32_t pMode)
    {
        return kprOpenFile(pPath.c_str(), pMode, &mFile);
    }
    uint32_t close()
    {
        const KprFile tFile = detach();
        return tFile == KPR_NO_FILE ? 0 : kprCloseFile(tFile);
    }
    KprFile detach() { return std::exchange(mFile, KPR_NO_FILE); }
    KprFile get() const { return mFile; }

private:
    KprFile mFile = KPR_NO_FILE;
};

} // namespace vel::kos::kfw
