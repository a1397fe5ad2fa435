#include "tests/windows/bundle/bundle_Volumes_win.h"

#include <windows.h>

#include "tests/windows/bundle/bundle_Facts_win.h"
#include "tests/windows/bundle/bundle_Process_win.h"

namespace bundle {

namespace {

/// Why nothing of this kind is tried; empty when it is.
std::string obstacle()
{
    if (!wineVersion().empty()) return "not shown by Wine";
    if (!isElevated()) return "the program does not run as administrator";
    return {};
}

/// A drive letter that is free, with a colon; empty when there is none.
std::string freeDrive()
{
    const DWORD tTaken = GetLogicalDrives();
    for (char tLetter = 'Z'; tLetter >= 'D'; --tLetter)
        if (!(tTaken >> (tLetter - 'A') & 1)) return std::string(1, tLetter) + ":";
    return {};
}

} // namespace

std::string FatImage::diskpart(const std::string& pScript)
{
    const std::string tScript = mScratch + "\\diskpart-script.txt", tOutput = mScratch + "\\diskpart.txt";
    if (!writeFile(tScript, pScript)) return "the script for diskpart cannot be written";
    const Ending tEnding = run({"diskpart.exe", "/s", tScript}, mScratch, tOutput, 120);
    return tEnding.isGood() ? "" : "diskpart " + tEnding.text() + ": " + readFile(tOutput);
}

std::string FatImage::open(const std::string& pScratch)
{
    if (std::string tWhy = obstacle(); !tWhy.empty()) return tWhy;
    mScratch = pScratch;
    const std::string tDrive = freeDrive(), tImage = pScratch + "\\fat32.vhd";
    if (tDrive.empty()) return "there is no free drive letter";
    if (std::string tWhy = diskpart("create vdisk file=\"" + tImage + "\" maximum=100 type=expandable\r\n");
        !tWhy.empty())
        return tWhy;
    mImage = tImage;
    const std::string tWhy = diskpart("select vdisk file=\"" + tImage +
                                      "\"\r\nattach vdisk\r\ncreate partition primary\r\nformat fs=fat32 "
                                      "label=KFW quick\r\nassign letter=" +
                                      tDrive.substr(0, 1) + "\r\n");
    if (!tWhy.empty()) return tWhy;
    mDrive = tDrive;
    return makeFolders(folder()) ? "" : "no folder can be made on " + mDrive;
}

FatImage::~FatImage()
{
    if (!mImage.empty()) diskpart("select vdisk file=\"" + mImage + "\"\r\ndetach vdisk\r\n");
}

std::string LoopbackShare::open(const std::string& pScratch)
{
    if (std::string tWhy = obstacle(); !tWhy.empty()) return tWhy;
    if (pScratch.size() < 3 || pScratch[1] != ':') return "the work folder is not on a drive";
    mFolder = std::string("\\\\localhost\\") + pScratch[0] + "$" + pScratch.substr(2) + "\\loopback";
    if (makeFolders(mFolder)) return {};
    return mFolder + " cannot be reached: " + errorText(GetLastError());
}

} // namespace bundle
