// What the notes of a Linux module say, read from memory; nothing in them is trusted.
#pragma once

#include <string>
#include <string_view>

#include "kpr/kpr_block.h"

namespace kpr {

struct Notes {
    std::string buildId; ///< lower-case hexadecimal, of the first note of owner "GNU" and type 3
    AttributePairs
        attributes; ///< of the notes of owner "KOS" and type 1; the first of each key that has a value
};

/// Adds what the notes of a segment say, as far as they are whole. pAlignment is that of the segment: 4 or 8.
void readNotes(std::string_view pNotes, size_t pAlignment, Notes* pResult);

} // namespace kpr
