// Any text as the description of a machine: it is one, or the reader says where it is none.

#include "Answering.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
    const std::string_view text(reinterpret_cast<const char*>(bytes), size);
    if (text.find("file") != text.npos || text.find('\\') != text.npos) return 0; // would lead to other files
    try {
        const auto machine = platform::Machine::fromText(text);
        machine->processor().contradictions();
        machine->requests().unmetFaults();
    } catch (const platform::MachineFileError& problem) {
        require(*problem.what() != '\0');
    }
    return 0;
}
