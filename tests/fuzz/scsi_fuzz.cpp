// Any bytes as what a SCSI disk answers: the reading stays within its bounds, and each value has its basis.
//
// The input: answer after answer, each behind a byte that tells which it is, and one of its length in twos.

#include "Answering.h"
#include "drive_reading/ScsiReading.h"

namespace {

ScsiAnswers answersOf() {
    ScsiAnswers answers;
    while (input.size() > 2) {
        const std::uint8_t which = nextByte();
        const auto bytes = take(nextByte() * 2U);
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

void requireBasis(const auto&... told) {
    (require(told.value.has_value() == !told.basis.empty()), ...);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
    input = {bytes, size};
    const ScsiAnswers answers = answersOf();
    isScsiDisk(answers.inquiry);
    for (const auto& [number, page] : answers.logPages) {
        std::string fault;
        require(listedLogPages(page, fault).size() <= std::size(kReadLogPages));
    }
    const ScsiDisk disk = scsiDiskOf(answers);
    const DriveReading& reading = disk.reading;
    requireBasis(reading.life, reading.powerOnHours, reading.powerCycles, reading.hostReadBytes,
                 reading.hostWrittenBytes, reading.temperature, reading.solidState);
    require(!reading.life || (*reading.life.value >= 0 && *reading.life.value <= 100));
    require(!reading.temperature || (*reading.temperature.value >= 0 && *reading.temperature.value < 255));
    require(!reading.healthReason.empty());
    require(disk.vendor.size() <= 8 && disk.product.size() <= 16 && disk.revision.size() <= 4);
    for (const char letter : disk.vendor + disk.product + disk.revision + disk.serialNumber + disk.fault)
        require(letter >= ' ' && letter <= '~');
    return 0;
}
