// Any bytes as what a SCSI disk answers: the reading stays within its bounds, and each value has its basis.
//
// The input: answer after answer, each a byte that tells which it is, and one that tells how many bytes of it
// there are, in units of two.

#include "drive_reading/ScsiReading.h"

#include <algorithm>
#include <cstdlib>

using namespace orv;

namespace {

void require(bool holds) {
    if (!holds) std::abort();
}

ScsiAnswers answersOf(std::span<const std::uint8_t> input) {
    ScsiAnswers answers;
    while (input.size() > 2) {
        const std::uint8_t which = input[0];
        const auto bytes = input.subspan(2, std::min<std::size_t>(input[1] * 2U, input.size() - 2));
        input = input.subspan(2 + bytes.size());
        const ScsiBytes data(bytes.begin(), bytes.end());
        if (which < 0x40) answers.logPages[which] = data;
        if (which == 0x40) answers.inquiry = data;
        if (which == 0x41) answers.serialNumberPage = data;
        if (which == 0x42) answers.characteristicsPage = data;
        if (which == 0x43) answers.capacity = data;
        if (which >= 0x44) answers.sense.push_back(data);
    }
    return answers;
}

template <class T>
void requireBasis(const Told<T>& told) {
    require(told.value.has_value() == !told.basis.empty());
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
    const ScsiAnswers answers = answersOf({bytes, size});
    isScsiDisk(answers.inquiry);
    for (const auto& [number, page] : answers.logPages) {
        std::string fault;
        require(listedLogPages(page, fault).size() <= std::size(kReadLogPages));
    }
    const ScsiDisk disk = scsiDiskOf(answers);
    const DriveReading& reading = disk.reading;
    requireBasis(reading.life);
    requireBasis(reading.powerOnHours);
    requireBasis(reading.powerCycles);
    requireBasis(reading.hostReadBytes);
    requireBasis(reading.hostWrittenBytes);
    requireBasis(reading.temperature);
    requireBasis(reading.solidState);
    require(!reading.life || (*reading.life.value >= 0 && *reading.life.value <= 100));
    require(!reading.temperature || (*reading.temperature.value >= 0 && *reading.temperature.value < 255));
    require(!reading.healthReason.empty());
    require(disk.vendor.size() <= 8 && disk.product.size() <= 16 && disk.revision.size() <= 4);
    for (const char letter : disk.vendor + disk.product + disk.revision + disk.serialNumber + disk.fault)
        require(letter >= ' ' && letter <= '~');
    return 0;
}
