#include "disk_engine/paths/NvmePaths.h"

#include "log/log.h"

#include <limits>
#include <numeric>

namespace orv {

namespace {

// Identify Namespace, bytes (NVM Express 1.4, 5.15.2.1).
constexpr std::size_t kNamespaceSizeAt = 0;    // NSZE, 8 bytes, sectors
constexpr std::size_t kFormattedSizeAt = 26;   // FLBAS: the format in use in its low half
constexpr std::size_t kSectorExponentAt = 130; // LBADS of format 0
constexpr std::size_t kFormatBytes = 4;        // from one format to the next

constexpr unsigned kSizeBits = 64;
constexpr std::uint64_t kMegabyte = 1'000'000;

} // namespace

std::uint32_t byteSum(std::span<const std::uint8_t> data) {
    const auto summed = data.first(std::min(data.size(), kSmartBytes));
    return std::accumulate(summed.begin(), summed.end(), std::uint32_t{0});
}

void readNamespaceSize(const NvmeDataBlock& block, std::uint32_t& diskSize, bool sizeCounts) {
    const std::size_t format = block[kFormattedSizeAt] & 0x0F;
    const std::uint8_t inUse = block[kSectorExponentAt + format * kFormatBytes];
    if (sizeCounts && inUse != block[kSectorExponentAt])
        log::warn(
            diskLogger,
            L"the namespace uses format {} with 2^{} bytes a sector, its size is told by format 0 with 2^{}",
            format, inUse, block[kSectorExponentAt]);
    std::uint64_t sectors = 0;
    for (std::size_t i = sizeof(sectors); i-- > 0;)
        sectors = sectors << 8 | block[kNamespaceSizeAt + i];
    const unsigned exponent = block[kSectorExponentAt];
    if (exponent >= kSizeBits) return;
    constexpr std::uint64_t largest = std::numeric_limits<std::uint32_t>::max();
    const bool tooLarge = sectors > std::numeric_limits<std::uint64_t>::max() >> exponent;
    diskSize =
        static_cast<std::uint32_t>(tooLarge ? largest : std::min((sectors << exponent) / kMegabyte, largest));
}

} // namespace orv
