#include "platform/linux/files/HardwareIds.h"

#include <array>

namespace orv::platform {

namespace {

constexpr std::array kFolders = {"/usr/share/misc/", "/usr/share/hwdata/"};

/// A database line is "ID  Name", indented by one tab for a product of the vendor above it.
bool takeName(std::string_view line, std::string_view id, std::string& name) {
    if (!line.starts_with(id)) return false;
    line.remove_prefix(id.size());
    if (!line.starts_with("  ")) return false;
    name = line.substr(2);
    return true;
}

std::string find(std::string_view text, std::string_view vendor, std::string_view product) {
    std::string vendorName;
    std::string productText;
    while (!text.empty()) {
        const auto end = text.find('\n');
        const std::string_view line = text.substr(0, end);
        text.remove_prefix(end == text.npos ? text.size() : end + 1);
        if (line.empty() || line.front() == '#') continue;
        if (line.front() != '\t') {
            if (!vendorName.empty()) break; // the vendor's list has ended
            takeName(line, vendor, vendorName);
        } else if (!vendorName.empty() && takeName(line.substr(1), product, productText)) {
            return vendorName + " " + productText;
        }
    }
    return {};
}

} // namespace

std::string productName(const RootedFiles& files, std::string_view database, std::string_view vendor,
                        std::string_view product) {
    for (const char* folder : kFolders)
        if (const auto text = files.read(folder + std::string(database)); text.ok())
            return find(text.value, vendor, product);
    return {};
}

} // namespace orv::platform
