#pragma once

#include "disk_engine/AtaSmartInfo.h"
#include "disk_engine/CommandPath.h"

#include <span>
#include <string>
#include <string_view>

namespace orv {

// Building a drive's record from what the drive answered. Nothing here talks to a drive: the blocks are
// given.

/// Where a drive was met, and on which path it answers.
struct DriveAddress {
    std::int32_t physicalDriveId = -1; ///< -1: known only by its port
    std::int32_t scsiPort = -1;
    std::int32_t scsiTargetId = -1;
    std::int32_t scsiBus = -1;
    std::uint8_t target = 0xA0; ///< 0xA0 master, 0xB0 slave
    std::uint32_t commandType = CMD_TYPE_UNKNOWN;
    std::int32_t siliconImageType = 0;
    const std::uint8_t* sasPhyEntity = nullptr; ///< 64 bytes
    std::wstring pnpDeviceId = {};
};

/// A record with everything at its start but the address.
AtaSmartInfo startRecord(const DriveAddress& address);

/// `Model` and `SerialNumber` in one, without the characters that a file's name cannot hold.
std::wstring modelSerialOf(std::wstring_view model, std::wstring_view serialNumber);

// ---- ATA: an IDENTIFY DEVICE block (ACS-4, 7.13) -------------------------------------------------------

/// Check sum and the three texts, as they stand and with their bytes swapped in pairs, which is their proper
/// reading; the swap and the blanks for control characters stay in `identify`. False for a block whose texts
/// are none, or that has no model or firmware, which is traced.
bool readIdentifyTexts(AtaSmartInfo& asi, IdentifyBlock identify);
/// The same, without the model's and firmware's test; false for texts that are none.
bool takeIdentifyTexts(AtaSmartInfo& asi, IdentifyBlock identify);

/// The texts with each byte pair swapped back take the place of the texts.
void takeReverseTexts(AtaSmartInfo& asi);
/// The same, when the model is one of those that bridges are known to swap.
void checkReverse(AtaSmartInfo& asi);

/// What the words say: versions, transfer mode, features, geometry, sizes. Counts beyond what a cylinder,
/// head and sector address can hold are cut, in `identify` too. At the end the record keeps the block.
void interpretIdentify(AtaSmartInfo& asi, IdentifyBlock identify);

/// After the SMART reads: drives whose thresholds are known to be wrong, and values that a drive without a
/// good read must not keep.
void finishRecord(AtaSmartInfo& asi);

// ---- NVMe: Identify Controller and the SMART / Health Information log page (NVM Express 1.4)
// ------------------

/// The record before the health read. `diskSize` is megabytes, 0 for unknown. False for a block without a
/// model.
bool readNvmeIdentify(AtaSmartInfo& asi, NvmeIdentifyBlock identify, std::uint32_t diskSize);

/// Megabytes of 1,000,000 bytes of the whole drive by its Identify Controller block (TNVMCAP), cut to the
/// largest value; 0 where it tells none, as a drive without namespace management may.
std::uint32_t nvmeCapacityOf(std::span<const std::uint8_t, kNvmeIdentifyBytes> identify);

/// Above which temperature a page is not believed: when a record is made, and when it is refreshed.
inline constexpr std::int32_t kHottestNewNvme = 100; ///< degrees Celsius
inline constexpr std::int32_t kHottestRefreshedNvme = 200;

/// The values of the health page in `SmartReadData`, and its fifteen pseudo attributes.
void takeNvmeHealth(AtaSmartInfo& asi, std::int32_t hottest);

/// What a new record gets of its first page: the values, and what the page makes the drive known as.
void interpretNvmeHealth(AtaSmartInfo& asi, std::int32_t hottest);

/// The text that the AMD RAID library writes into the block that it hands out, cleared afterwards.
void readAmdNvmeLink(AtaSmartInfo& asi, NvmeIdentifyBlock identify);

/// The pseudo attributes alone.
void fillNvmeAttributes(AtaSmartInfo& asi);

} // namespace orv
