// Where a module's path counts from.
#pragma once

namespace kom {

enum class PathStart { FULL, RELATIVE, AMBIGUOUS };

/// Whether a path says by itself where it is, by the rules of the platform with that separator. What counts
/// from a current drive ("\\x" on Windows) or from a drive's own current folder ("C:x") is neither full nor
/// relative to a folder.
inline PathStart pathStart(const char* pPath, char pSeparator)
{
    const auto isSeparator = [=](char pChar) { return pChar == '/' || pChar == pSeparator; };
    const bool tStarts = isSeparator(pPath[0]);
    if (pSeparator == '/') return tStarts ? PathStart::FULL : PathStart::RELATIVE;
    if (tStarts) return isSeparator(pPath[1]) ? PathStart::FULL : PathStart::AMBIGUOUS;
    if (!pPath[0] || pPath[1] != ':') return PathStart::RELATIVE;
    return isSeparator(pPath[2]) ? PathStart::FULL : PathStart::AMBIGUOUS;
}

} // namespace kom
