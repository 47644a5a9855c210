#include "memory/SPD.h"

#include "log/log.h"
#include "memory/MemInfo.h"
#include "platform/Clock.h"
#include "platform/Platform.h"
#include "state/ProcessState.h"

namespace orv::memory {

namespace {

/// Layout of the EEPROMs. Another value would have no pages.
enum class SpdMode { ddr4 = 1, ddr5 = 2 };

struct SpdState {
    OnceCell<SpdMode> mode;
    OnceCell<SMBus> smbus;
};

constexpr std::uint8_t kFirstSlave = 0xA0;
constexpr std::uint8_t kLastSlave = 0xAE;
constexpr std::uint8_t kPageSelectDDR4[] = {0x6C, 0x6E}; // JEDEC EE1004: SPA0 and SPA1, shared by all modules
constexpr std::uint8_t kPageRegisterDDR5 = 11;           // JEDEC SPD5 hub: MR11, the page pointer
constexpr std::uint8_t kMemoryDDR5 = 0x80;               // registers below, EEPROM from here on
constexpr std::int64_t kPageSettleNs = 10'000'000;

/// Types that tell nothing of the layout leave it as it is at load.
SpdMode firstModulesMode() {
    switch (getMemoryType()) {
    case 26: // DDR4
    case 30: // LPDDR4
        return SpdMode::ddr4;
    default:
        return SpdMode::ddr5;
    }
}

SpdMode mode() {
    return processWide<SpdState>().mode.get(firstModulesMode);
}

unsigned pageNO() {
    log::entry(spdLogger, L"pageNO");
    return mode() == SpdMode::ddr4 ? 2 : 8;
}

unsigned byteSize() {
    log::entry(spdLogger, L"byteSize");
    return mode() == SpdMode::ddr4 ? 256 : 128;
}

/// Whether the device took it is not examined: without a page its bytes are read as they come.
void switchPage(SMBus& smbus, std::uint8_t address, unsigned page) {
    log::entry(spdLogger, L"switchPage");
    if (mode() == SpdMode::ddr4)
        smbus.writeSlaveData(kPageSelectDDR4[page], 0, 0);
    else
        smbus.writeSlaveData(address, kPageRegisterDDR5, static_cast<std::uint8_t>(page));
}

std::uint8_t convertOffset(unsigned n) {
    log::entry(spdLogger, L"convertOffset");
    return static_cast<std::uint8_t>(mode() == SpdMode::ddr4 ? n : n | kMemoryDDR5);
}

void sleepPast(std::int64_t nanoseconds) {
    platform::Clock& clock = platform::current().clock();
    const std::int64_t deadline = clock.monotonicNs() + nanoseconds;
    for (std::int64_t now = deadline - nanoseconds; now <= deadline; now = clock.monotonicNs())
        clock.sleepNs(deadline - now + 1);
}

Spd readModule(SMBus& smbus, std::uint8_t address) {
    Spd spd;
    const unsigned pages = pageNO();
    for (unsigned page = 0; page < pages; ++page) {
        switchPage(smbus, address, page);
        sleepPast(kPageSettleNs);
        const unsigned bytes = byteSize();
        for (unsigned n = 0; n < bytes; ++n)
            spd.push_back(smbus.readSlaveData(address, convertOffset(n)));
    }
    return spd;
}

} // namespace

SMBus& getSmbus() {
    log::entry(spdLogger, L"getSmbus");
    mode();
    return processWide<SpdState>().smbus.get([] { return SMBus(); });
}

std::vector<Spd> readSPD() {
    log::entry(spdLogger, L"readSPD");
    SMBus& smbus = getSmbus();
    std::vector<Spd> spds;
    for (unsigned slave = kFirstSlave; slave <= kLastSlave; slave += 2) {
        const auto address = static_cast<std::uint8_t>(slave);
        if (smbus.readSlaveData(address, 0) == 0xFF) continue;
        Spd spd = readModule(smbus, address);
        log::info(spdLogger, L"readSPD: addr=0x{:02X}", address);
        spds.push_back(std::move(spd));
    }
    return spds;
}

} // namespace orv::memory
