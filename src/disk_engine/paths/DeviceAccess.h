#pragma once

#include "platform/DeviceFiles.h"
#include "platform/records/StorageRecords.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <new>
#include <optional>
#include <span>
#include <string>

namespace orv {

/// A search without a descriptor left ends like one without memory: as a whole, for a part of the drives is
/// no list, and the next call runs it anew.
class TooManyOpenFiles : public std::bad_alloc {
  public:
    const char* what() const noexcept override { return "too many open files"; }
};
/// Throws it for that code, a system's or an HRESULT.
void endWithoutDescriptors(platform::ErrorCode error);

/// Of two failures in their order the one that says more: a right that was refused, a time-out, the later
/// one.
platform::ErrorCode tellingMore(platform::ErrorCode earlier, platform::ErrorCode later);

/// How the command paths reach devices, and what the failures since forget() say.
class DeviceAccess {
  public:
    /// Null when the device cannot be opened.
    std::unique_ptr<platform::DeviceFile> open(const std::wstring& path,
                                               const platform::DeviceOpening& opening = {});
    platform::Result<std::uint32_t> control(platform::DeviceFile& file, std::uint32_t code,
                                            std::span<const std::byte> in, std::span<std::byte> out);
    /// A control code whose answer is written over its question. An answer of fewer than `wanted` bytes, or
    /// of more than there is room for, is a failure.
    bool exchangeInPlace(platform::DeviceFile& file, std::uint32_t code, std::span<std::byte> block,
                         std::size_t wanted);
    /// A control code whose answer has `data` at a place. True when the answer is as long as it has to be;
    /// otherwise nothing of it is kept. Without data its length does not count.
    platform::Result<bool> exchange(platform::DeviceFile& file, std::uint32_t code,
                                    std::span<const std::byte> question, std::span<std::byte> answer,
                                    std::size_t dataAt, std::span<std::uint8_t> data);

    /// A failure that counts beside those of the calls above. In a search throws TooManyOpenFiles for that
    /// code.
    void noteFailure(platform::ErrorCode error);
    void forget() { failure_ = platform::kSuccess; }
    platform::ErrorCode failure() const { return failure_; }
    void setFailure(platform::ErrorCode error) { failure_ = error; }
    /// While a search runs, which a lack of descriptors ends.
    void setSearching(bool on) { searching_ = on; }

  private:
    platform::ErrorCode failure_ = platform::kSuccess;
    bool searching_ = false;
};

std::wstring physicalDrivePath(std::int32_t physicalDriveId); ///< "\\.\PhysicalDrive0"
std::wstring scsiPath(std::int32_t scsiPort);                 ///< "\\.\Scsi0:"

/// The address that a device has on its SCSI port; empty when it has none.
std::optional<platform::SCSI_ADDRESS> GetScsiAddress(const std::wstring& path);
/// "\\.\SCSI0:" of the port of a device; empty when it has none.
std::wstring GetScsiPath(const std::wstring& path);

/// The first bytes of a command block as they are sent.
template <class Block>
std::span<const std::byte> sent(const Block& block, std::size_t bytes = sizeof(Block)) {
    return std::as_bytes(std::span(&block, 1)).first(bytes);
}

/// The room of an answer.
template <class Block>
std::span<std::byte> room(Block& block, std::size_t bytes = sizeof(Block)) {
    return std::as_writable_bytes(std::span(&block, 1)).first(bytes);
}

} // namespace orv
