#pragma once

#include "platform/Processor.h"
#include "platform/linux/files/RootedFiles.h"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace orv::platform {

/// The logical processors that the logic sees: those of one package that are on line and that this process
/// may run on, 32 at most. It is the package of the lowest such processor. Bit i of a mask is the i-th of
/// them, in affinity, topology records and machine registers alike. Without a topology they are the kernel's
/// first 32. Taken once: what the logic remembers by its bit has to stay the same processor.
class ProcessorSet {
  public:
    static constexpr std::size_t kMost = 32;

    explicit ProcessorSet(const RootedFiles& files) : files_(files) {}

    /// The kernel's number of each bit.
    const std::vector<std::uint32_t>& numbers();
    /// The lowest bit of a mask that stands for a processor.
    std::optional<std::size_t> lowestBit(std::uint32_t mask);
    /// The bits of a set of the kernel's numbers.
    std::uint32_t bitsOf(const AffinityMask& kernelSet);
    /// For a processor that has gone off line, by its bit: the lowest on-line one of its core, else of the
    /// set. None for one that is on line.
    std::optional<std::size_t> standInFor(std::size_t bit);

    /// An affinity in bits of the set to one in the kernel's numbers, and back. Bits from 32 on stand for the
    /// processors outside the set in their order, so that any affinity comes back as it was.
    AffinityMask toKernel(const AffinityMask& mask);
    AffinityMask fromKernel(const AffinityMask& kernelSet);

  private:
    void find();
    template <class Visit>
    void eachSlot(Visit visit);

    const RootedFiles& files_;
    std::vector<std::uint32_t> numbers_;
    std::vector<std::uint32_t> cores_; // the bits of each one's core: off line it has none
    AffinityMask inside_;
};

/// Folder of a processor's facts by the kernel's number.
std::string processorFolder(std::uint32_t number);
/// The processors of a processor's core and of its package; empty while it is off line.
AffinityMask coreOf(const RootedFiles& files, std::uint32_t number);
AffinityMask packageOf(const RootedFiles& files, std::uint32_t number);
/// Numbers N of the entries "prefixN" of a folder, in their order.
std::vector<std::uint32_t> numberedEntries(const RootedFiles& files, std::string_view folder,
                                           std::string_view prefix);
/// The kernel's two ways to write a set: words of 32 bits with the highest first, "00000000,00000003", and
/// ranges, "0-3,8".
AffinityMask setOfWords(std::string_view text);
AffinityMask setOfRanges(std::string_view text);

} // namespace orv::platform
