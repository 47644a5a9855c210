// Any bytes as what the drivers and the library of a RAID answer: every scan ends, and the list has whole
// records.
//
// The input: the flags, then answer after answer. Each begins with a byte that tells whether it fails, and
// how many bytes of it there are; the rest of a block is as it was.

#include "Answering.h"

namespace {

/// Its lengths are mostly those of the answers; a length that is told may be another.
class AnsweringFile : public platform::DeviceFile {
  public:
    platform::Result<std::uint32_t> control(std::uint32_t, std::span<const std::byte>,
                                            std::span<std::byte> out) override {
        if (input.empty()) return {0, platform::kInvalidFunction};
        const std::uint8_t how = nextByte();
        if ((how & 7) == 0) return {0, (how & 8) ? platform::kIoDevice : platform::kNotSupported};
        const std::size_t at = std::min<std::size_t>((how & 8) ? 28 : (how & 16) ? 164 : 188, out.size());
        if (at == 188) out[30] = std::byte{0}; // the status of MegaRAID
        give(out.subspan(at), std::size_t{nextByte()} * ((how & 32) ? 8 : 1));
        const auto full = static_cast<std::uint32_t>(out.size());
        return {(how & 64) ? full - std::min<std::uint32_t>(full, nextByte()) + 1 : full, platform::kSuccess};
    }
    platform::Result<std::uint32_t> read(std::uint64_t, std::span<std::byte>) override {
        return {0, platform::kInvalidFunction};
    }
};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
    static AnsweringMachine<AnsweringFile> machine;
    platform::use(machine);
    ProcessState::renew();
    input = {bytes, size};
    const std::uint8_t flags = nextByte();
    CAtaSmart engine;
    engine.CsmiMode = 1 + (flags >> 3 & 1);
    if (flags & 1) engine.AddDiskAMD_RC2();
    if (flags & 2) engine.AddDiskMegaRaid(1);
    if (flags & 4) engine.AddDiskCsmi(2);
    require(engine.vars.size() <= kMaxDrives);
    for (const AtaSmartInfo& asi : engine.vars)
        require(!asi.Model.empty() && !asi.CommandTypeString.empty() && asi.AttributeCount <= kSmartEntries);
    return 0;
}
