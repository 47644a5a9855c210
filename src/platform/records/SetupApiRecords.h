#pragma once

// Device interfaces as SetupAPI lists them to a 32-bit process (Windows SDK, setupapi.h).

#include <cstddef>
#include <cstdint>

namespace orv::platform {

struct Guid {
    std::uint32_t data1;
    std::uint16_t data2;
    std::uint16_t data3;
    std::uint8_t data4[8];
    bool operator==(const Guid&) const = default;
};

/// One device interface in a list.
struct SP_DEVICE_INTERFACE_DATA {
    std::uint32_t cbSize;
    Guid InterfaceClassGuid;
    std::uint32_t Flags;
    std::uint32_t Reserved; ///< the platform's own
};
static_assert(sizeof(SP_DEVICE_INTERFACE_DATA) == 28 && offsetof(SP_DEVICE_INTERFACE_DATA, Flags) == 20 &&
              offsetof(SP_DEVICE_INTERFACE_DATA, Reserved) == 24);

} // namespace orv::platform
