// Linked into a test program with kpr_volume, lets it run as a whole on what looks like a FAT32 volume.
#include "kpr/testing/kpr_volume_win.h"

namespace {

const bool tFat = [] {
    for (const kprtest::Volume& tVolume : kprtest::volumes())
        if (tVolume.fat) kprtest::gVolume = tVolume;
    return kprtest::gVolume.fat;
}();

} // namespace
