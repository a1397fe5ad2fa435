#include "host/host_LogFile.h"

#include <filesystem>

#include "kpr/codes.h"

namespace vel::kos::host {

LogFile::LogFile(std::string pPath, uint64_t pBytes, uint32_t pOldFiles)
    : mPath(std::move(pPath)), mBytes(pBytes), mOldFiles(pOldFiles)
{
}

LogFile::~LogFile()
{
    if (mFile != KPR_NO_FILE) kprCloseFile(mFile);
}

uint32_t LogFile::open()
{
    if (auto tRes = kprOpenFile(mPath.c_str(),
                                KPR_OPEN_WRITE | KPR_OPEN_CREATE | KPR_OPEN_APPEND | KPR_OPEN_OWN, &mFile);
        KFAILED(tRes))
        return tRes;
    KprFileInfo tInfo;
    mSize = KFAILED(kprGetOpenFileInfo(mFile, KPR_INFO_SIZE, &tInfo)) ? 0 : tInfo.size;
    return 0;
}

std::string LogFile::oldName(uint32_t pNumber) const
{
    if (pNumber == 0) return mPath;
    const std::filesystem::path tPath(std::u8string(mPath.begin(), mPath.end()));
    const std::u8string tExtension = tPath.extension().u8string();
    std::string tName = mPath;
    return tName.insert(tName.size() - tExtension.size(), "." + std::to_string(pNumber));
}

void LogFile::rotate()
{
    kprCloseFile(mFile);
    mFile = KPR_NO_FILE;
    for (uint32_t i = mOldFiles; i > 0; --i)
        kprReplaceFile(oldName(i - 1).c_str(), oldName(i).c_str());
    if (mOldFiles == 0) kprRemoveFile(mPath.c_str());
    if (KFAILED(open())) return;
    // Where it could not be renamed it is added to, and tried again after as much more.
    if (mSize >= mBytes) mSize = 0;
}

void LogFile::sink_it_(const spdlog::details::log_msg& pMessage)
{
    spdlog::memory_buf_t tLine;
    formatter_->format(pMessage, tLine);
    if (mSize > 0 && mSize + tLine.size() > mBytes) rotate();
    uint32_t tWritten = 0;
    kprWrite(mFile, tLine.data(), static_cast<uint32_t>(tLine.size()), &tWritten);
    mSize += tWritten;
}

} // namespace vel::kos::host
