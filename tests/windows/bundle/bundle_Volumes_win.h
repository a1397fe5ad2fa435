// Other volumes on which the tests of files run once more: a FAT32 image and a loopback share. Both need an
// administrator.
#pragma once

#include <string>

namespace bundle {

/// A volume for as long as it lives.
class OtherVolume {
public:
    OtherVolume() = default;
    virtual ~OtherVolume() = default;
    OtherVolume(const OtherVolume&) = delete;
    OtherVolume& operator=(const OtherVolume&) = delete;

    virtual std::string name() const = 0;
    /// Makes it available; pScratch is a folder for what it needs. Empty, or why it is not to be had.
    virtual std::string open(const std::string& pScratch) = 0;
    /// A folder on it.
    virtual std::string folder() const = 0;
};

/// A disk image of 100 MB, formatted with FAT32, under a drive letter of its own.
class FatImage : public OtherVolume {
public:
    ~FatImage() override;
    std::string name() const override { return "FAT32 image"; }
    std::string open(const std::string& pScratch) override;
    std::string folder() const override { return mDrive + "\\kfw"; }

private:
    /// What went wrong; empty when nothing did.
    std::string diskpart(const std::string& pScript);

    std::string mScratch, mImage, mDrive;
};

/// The scratch folder by way of this machine's own file server.
class LoopbackShare : public OtherVolume {
public:
    std::string name() const override { return "loopback share"; }
    std::string open(const std::string& pScratch) override;
    std::string folder() const override { return mFolder; }

private:
    std::string mFolder;
};

} // namespace bundle
