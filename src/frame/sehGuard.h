#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <unordered_map>

namespace orv {

/// Names of the hardware exception codes (winnt.h, EXCEPTION_*), made when the library is loaded
/// (frame/border/globals.cpp).
extern const std::unordered_map<std::uint32_t, std::string> sehExceptionNames;

/// The name of a hardware exception code; an unknown code as lowercase hexadecimal with "0x".
std::string sehExceptionText(std::uint32_t code);

/// Runs a report builder. A hardware fault inside it becomes std::runtime_error
/// "catch SEH exception: NAME"; what the builder throws passes through.
void sehGuard(const std::function<void()>& builder);

} // namespace orv
