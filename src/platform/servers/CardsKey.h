#pragma once

#include "platform/Registry.h"

#include <vector>

namespace orv::platform {

/// The one registry key of a system without a registry: the installed network cards, a subkey each.
struct CardKey {
    std::wstring name;
    std::uint32_t type = kRegistryText; ///< of the value "Description"
    std::vector<std::byte> description; ///< its raw bytes
};

/// Opens the key or one of its subkeys; kFileNotFound for any other path.
Result<std::unique_ptr<RegistryKey>> openCardsKey(const std::vector<CardKey>& cards, std::wstring_view path);

} // namespace orv::platform
