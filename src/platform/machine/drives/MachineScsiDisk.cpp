#include "platform/machine/drives/MachineScsiDisk.h"

#include "platform/machine/Node.h"

#include <algorithm>
#include <charconv>

namespace orv::platform {

namespace {

using Block = ScsiDiskFacts::Block;
using Cdb = std::span<const std::uint8_t>;

constexpr std::uint8_t kIllegalRequest = 5, kInvalidCommand = 0x20, kInvalidField = 0x24;

void putBigEndian(Block& block, std::uint64_t value, std::size_t bytes) {
    while (bytes-- > 0)
        block.push_back(static_cast<std::uint8_t>(value >> (8 * bytes)));
}

std::uint64_t bigEndian(Cdb cdb, std::size_t at, std::size_t bytes) {
    std::uint64_t value = 0;
    for (std::size_t i = at; i < at + bytes; ++i)
        value = value << 8 | (i < cdb.size() ? cdb[i] : 0);
    return value;
}

void putText(Block& block, std::string text, std::size_t bytes) {
    text.resize(bytes, ' ');
    block.insert(block.end(), text.begin(), text.end());
}

/// Sense data in the fixed format.
Block senseOf(std::uint8_t key, std::uint8_t code) {
    return {0x70, 0, key, 0, 0, 0, 0, 10, 0, 0, 0, 0, code, 0, 0, 0, 0, 0};
}

ScsiReply refused(std::uint8_t code) {
    return {kCheckCondition, {}, senseOf(kIllegalRequest, code)};
}

ScsiReply given(Block data, std::uint64_t room) {
    data.resize(std::min<std::uint64_t>(data.size(), room));
    return {0, std::move(data), {}};
}

Block inquiryOf(const ScsiDiskFacts& disk) {
    if (disk.inquiry) return *disk.inquiry;
    Block data = {0, 0, 6, 0x12, 91, 0, 0, 2}; // SPC-4, answers to several commands at once
    putText(data, disk.vendor, 8);
    putText(data, disk.product, 16);
    putText(data, disk.revision, 4);
    data.resize(96);
    return data;
}

ScsiReply productData(const ScsiDiskFacts& disk, std::uint8_t page, std::uint64_t room) {
    constexpr std::uint8_t pages = 0, serial = 0x80, characteristics = 0xB1;
    Block list = {pages, serial};
    if (disk.rotationRate != 0) list.push_back(characteristics);
    if (std::ranges::find(list, page) == list.end()) return refused(kInvalidField);
    Block content;
    if (page == pages) content = list;
    if (page == serial) putText(content, disk.serial, disk.serial.size());
    if (page == characteristics) {
        putBigEndian(content, disk.rotationRate, 2);
        content.resize(60);
    }
    Block data = {0, page};
    putBigEndian(data, content.size(), 2);
    data.insert(data.end(), content.begin(), content.end());
    return given(std::move(data), room);
}

ScsiReply capacity(const ScsiDiskFacts& disk, bool longForm, std::uint64_t room) {
    constexpr std::uint64_t mostOfShortForm = 0xFFFFFFFF;
    const std::uint64_t last = disk.blocks - 1;
    Block data;
    putBigEndian(data, longForm ? last : std::min(last, mostOfShortForm), longForm ? 8 : 4);
    putBigEndian(data, disk.blockBytes, 4);
    if (longForm) data.resize(32);
    return given(std::move(data), room);
}

ScsiReply logSense(const ScsiDiskFacts& disk, Cdb cdb) {
    constexpr std::uint8_t cumulative = 1;
    if (!disk.logPages) return refused(kInvalidCommand);
    const auto number = static_cast<std::uint8_t>(cdb[2] & 0x3F);
    const std::uint64_t room = bigEndian(cdb, 7, 2);
    if (cdb[2] >> 6 != cumulative || cdb[3] != 0) return refused(kInvalidField);
    const auto page = disk.logPages->find(number);
    if (page != disk.logPages->end())
        return page->second ? given(*page->second, room) : refused(kInvalidField);
    if (number != 0) return refused(kInvalidField);
    Block list = {0, 0};
    putBigEndian(list, disk.logPages->size() + 1, 2);
    list.push_back(0);
    for (const auto& [listed, bytes] : *disk.logPages)
        list.push_back(listed);
    return given(std::move(list), room);
}

/// Texts stand in INQUIRY data as they are.
std::string textOf(const Node& scsi, std::string_view key, std::size_t most) {
    std::string text = scsi.text(key, "");
    if (text.size() > most) scsi.at(key).fail("is longer than " + std::to_string(most) + " characters");
    return text;
}

std::optional<Block> blockOf(const Node& scsi, std::string_view key) {
    return scsi.has(key) ? std::optional(scsi.bytes(key)) : std::nullopt;
}

std::uint8_t pageNumber(const Node& pages, const std::string& key) {
    unsigned number = 0;
    const auto [end, error] = std::from_chars(key.data(), key.data() + key.size(), number, 16);
    if (error != std::errc() || end != key.data() + key.size() || number > 0x3F)
        pages.fail("\"" + key + "\" is no page number from 00 to 3f");
    return static_cast<std::uint8_t>(number);
}

} // namespace

ScsiDiskFacts readScsiDisk(const Node& scsi) {
    constexpr std::uint64_t most32 = 0xFFFFFFFF;
    ScsiDiskFacts disk;
    disk.vendor = textOf(scsi, "vendor", 8);
    disk.product = textOf(scsi, "product", 16);
    disk.revision = textOf(scsi, "revision", 4);
    disk.serial = textOf(scsi, "serial", 0xFF);
    disk.blocks = scsi.number("blocks", UINT64_MAX);
    disk.blockBytes = static_cast<std::uint32_t>(scsi.number("blockBytes", most32, disk.blockBytes));
    disk.rotationRate = static_cast<std::uint16_t>(scsi.number("rotationRate", 0xFFFF, 0));
    disk.inquiry = blockOf(scsi, "inquiry");
    disk.sense = blockOf(scsi, "sense");
    for (const Node& attention : scsi.list("unitAttentions"))
        disk.unitAttentions.push_back(attention.asBytes());
    if (const auto pages = scsi.find("logPages")) {
        auto& into = disk.logPages.emplace();
        for (const std::string& key : pages->keys())
            into[pageNumber(*pages, key)] =
                pages->at(key).isNull() ? std::nullopt : std::optional(pages->bytes(key));
    }
    scsi.done();
    return disk;
}

ScsiReply refusedByScsi() {
    return refused(kInvalidCommand);
}

ScsiReply answerScsi(const ScsiDiskFacts& disk, std::size_t& attentionsGiven, Cdb cdb) {
    constexpr std::uint8_t testUnitReady = 0x00, requestSense = 0x03, inquiry = 0x12, readCapacity10 = 0x25,
                           logSenseCode = 0x4D, serviceActionIn16 = 0x9E, readCapacity16 = 0x10;
    constexpr std::uint8_t groupOf10 = 10;
    if (cdb.empty()) return refused(kInvalidCommand);
    const std::uint8_t code = cdb[0];
    if (cdb.size() < (code < 0x20 ? 6 : code == serviceActionIn16 ? 16 : groupOf10))
        return refused(kInvalidField);
    if (attentionsGiven < disk.unitAttentions.size() && code != inquiry) {
        const Block& attention = disk.unitAttentions[attentionsGiven++];
        if (code == requestSense) return given(attention, cdb[4]);
        return {kCheckCondition, {}, attention};
    }
    switch (code) {
    case testUnitReady:
        return {};
    case requestSense:
        return given(disk.sense.value_or(senseOf(0, 0)), cdb[4]);
    case inquiry:
        if (cdb[1] & 1) return productData(disk, cdb[2], bigEndian(cdb, 3, 2));
        return cdb[2] == 0 ? given(inquiryOf(disk), bigEndian(cdb, 3, 2)) : refused(kInvalidField);
    case readCapacity10:
        return capacity(disk, false, 8);
    case logSenseCode:
        return logSense(disk, cdb);
    case serviceActionIn16:
        if ((cdb[1] & 0x1F) == readCapacity16) return capacity(disk, true, bigEndian(cdb, 10, 4));
        return refused(kInvalidField);
    default:
        return refused(kInvalidCommand);
    }
}

} // namespace orv::platform
