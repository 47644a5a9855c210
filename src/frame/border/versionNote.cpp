// The version inside of the Linux library, as a note that no symbol stands for: `readelf -n` shows it, and a
// host finds it by dl_iterate_phdr or in the file. Windows has a version resource in its place.

#include "orvane/hwprobe.h"

#include <cstdint>

namespace {

struct Note {
    std::uint32_t ownerSize, textSize, type;
    char owner[8]; // each field fills whole words
    alignas(std::uint32_t) char text[sizeof HWPROBE_VERSION];
};

// Aligned by hand: left to itself the compiler takes more than a note may have.
[[maybe_unused, gnu::used, gnu::section(".note.Orvane")]] alignas(4) constexpr Note kVersionNote{
    sizeof "Orvane", sizeof HWPROBE_VERSION, 1, "Orvane", HWPROBE_VERSION};

} // namespace
