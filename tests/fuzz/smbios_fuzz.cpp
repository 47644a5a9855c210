// Any bytes as a firmware table or a dump of one: no row without a structure, no text from outside.

#include "platform/servers/Smbios.h"

#include <cstdlib>

using namespace orv::platform;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
    constexpr std::size_t smallestStructure = 6; // header and the end of the texts
    const std::span<const std::uint8_t> dump(bytes, size);
    for (const auto table : {dump, smbiosTableOfDump(dump)}) {
        const auto rows = physicalMemoryRows(table);
        if (rows.size() > table.size() / smallestStructure) std::abort();
        for (const ManagementColumns& row : rows)
            for (const auto& [column, value] : row)
                if (value.text.size() > table.size() + 20) std::abort(); // 20 digits of a capacity
    }
    return 0;
}
