#pragma once

#include "platform/linux/files/RootedFiles.h"

#include <string>
#include <string_view>

namespace orv::platform {

/// "Vendor Product" from the system's hardware database (pci.ids or usb.ids of the hwdata or pci.ids
/// package); empty when the database or the product is missing. Ids are four lowercase hexadecimal digits.
std::string productName(const RootedFiles& files, std::string_view database, std::string_view vendor,
                        std::string_view product);

} // namespace orv::platform
