#include "frame/sehGuard.h"

#include "platform/FaultTrap.h"
#include "platform/Platform.h"

#include <fmt/format.h>

#include <stdexcept>

namespace orv {

namespace {
constexpr std::uint32_t kIntegerDivideByZero = 0xC0000094;
} // namespace

std::string sehExceptionText(std::uint32_t code) {
    if (const auto row = sehExceptionNames.find(code); row != sehExceptionNames.end()) return row->second;
    return fmt::format("{:#x}", code);
}

void sehGuard(const std::function<void()>& builder) {
    platform::FaultTrap& trap = platform::current().faultTrap();
    const std::uint32_t code = trap.run(builder);
    if (code == 0) return;
    trap.resetStack();
    if (code == kIntegerDivideByZero) trap.clearFloatingPointStatus();
    throw std::runtime_error("catch SEH exception: " + sehExceptionText(code));
}

} // namespace orv
