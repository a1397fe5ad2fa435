// The walk through an attribute space, wherever its bytes are.
#pragma once

#include <cstdint>

namespace vel::kos::kfw {

/// The bytes that a string of pLength bytes, NUL included, occupies after its length.
constexpr uint64_t paddedLength(uint64_t pLength) { return (pLength + 3) / 4 * 4; }

/// Walks an attribute space, forward only. TBytes has size() and at(offset), which gives one byte; it is
/// never asked for one outside. Behind the last string's padding the position may lie past the end.
template <class TBytes>
class AttributeWalk {
public:
    explicit AttributeWalk(TBytes& pBytes) : mBytes(pBytes) {}

    /// Takes the next attribute: pKey and pValue are called with offset and length of the string, without its
    /// NUL. Returns "", or why there is none.
    template <class TKey, class TValue>
    const char* take(TKey pKey, TValue pValue)
    {
        if (!hasLength())
            return "FS cache: object file corrupted (offset of attribute key length beyond end of attribut "
                   "space).";
        if (!takeLength()) return "FS cache: object file corrupted (invalid key length).";
        if (!isTerminated()) return "FS cache: object file corrupted (key not null-terminated).";
        takeString(pKey);
        if (!hasLength())
            return "FS cache: object file corrupted (offset of attribute value length beyound end of "
                   "attribute space).";
        if (!takeLength()) return "FS cache: object file corrupted (invalid value length).";
        if (!isTerminated()) return "FS cache: object file corrupted (value not null-terminated).";
        takeString(pValue);
        return "";
    }

    /// Where the next attribute begins, or the end.
    uint64_t position() const { return mPosition; }

private:
    /// Whether a length word follows.
    bool hasLength() const { return mPosition + 4 <= mBytes.size(); }
    /// Takes the length word; false when the string that it announces is none or not all there.
    bool takeLength()
    {
        mLength = 0;
        for (uint32_t i = 0; i < 4; ++i)
            mLength = mLength << 8 | mBytes.at(mPosition++);
        return mLength != 0 && mLength <= mBytes.size() - mPosition;
    }
    bool isTerminated() { return mBytes.at(mPosition + mLength - 1) == 0; }
    template <class TTake>
    void takeString(TTake& pTake)
    {
        pTake(mPosition, mLength - 1);
        mPosition += paddedLength(mLength);
    }

    TBytes& mBytes;
    uint64_t mPosition = 0;
    uint32_t mLength = 0;
};

} // namespace vel::kos::kfw
