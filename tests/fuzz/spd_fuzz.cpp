// Any bytes as an EEPROM: each decoder gives a well-formed text or its own reason.

#include "frame/HWException.h"
#include "log/Logger.h"
#include "log/log.h"
#include "memory/SPDDecoders.h"

#include <algorithm>
#include <cstdlib>

using namespace orv;

namespace {

template <class Decoder>
void check(const memory::Spd& spd, Decoder decoder, std::size_t shortest, std::size_t longest) {
    try {
        const std::wstring text = decoder(spd);
        if (text.size() < shortest || text.size() > longest) std::abort();
    } catch (const HWException&) {
        // the decoder's reason
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
    spdLogger.sinks().clear();
    hwExceptionLogger.sinks().clear();
    const memory::Spd spd(bytes, bytes + size);
    constexpr std::size_t longestTiming = 2 + 3 * 12; // a latency and three signed 32-bit numbers
    check(spd, memory::parseDDR4TimingBySPD, 11, longestTiming);
    check(spd, memory::parseDDR5TimingBySPD, 11, longestTiming);
    check(spd, memory::parseSerialNumberDDR4, 8, 8);
    check(spd, memory::parseSerialNumberDDR5, 8, 8);
    return 0;
}
