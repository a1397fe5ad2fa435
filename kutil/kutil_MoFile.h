// A compiled message catalogue (.mo) in memory.
#pragma once

#include <cstdint>
#include <string>

namespace vel::kos::util {

/// The texts of one catalogue. Every offset and length of the file is checked when it is taken in, so
/// that lookups need no checks. Immutable afterwards: any thread may look up.
class MoFile {
public:
    /// Takes in a file's bytes. False when they are damaged; pProblem then says how.
    bool parse(std::string pBytes, std::string& pProblem);

    /// The translation of a text, NUL-terminated and valid as long as the object; null when there is none.
    const char* find(const char* pText) const;

private:
    uint32_t number(uint64_t pOffset) const;
    const char* text(uint32_t pTable, uint32_t pIndex) const;
    bool isTableSound(uint32_t pTable) const;

    std::string mBytes;
    bool mSwapped = false;      ///< the file's byte order is not the host's
    uint32_t mCount = 0;        ///< texts
    uint32_t mOriginals = 0;    ///< offset of the table of the originals, which are in ascending order
    uint32_t mTranslations = 0; ///< offset of the table of the translations
};

} // namespace vel::kos::util
