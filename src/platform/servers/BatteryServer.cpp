#include "platform/servers/BatteryServer.h"

#include "platform/utf16.h"

#include <algorithm>
#include <cstring>

namespace orv::platform {

namespace {

using Answer = Result<std::uint32_t>;
using Bytes = std::vector<std::byte>;

template <class T>
Bytes bytesOf(const T& record) {
    const auto bytes = std::as_bytes(std::span(&record, 1));
    return {bytes.begin(), bytes.end()};
}

template <class T, class Encode>
std::optional<Bytes> encoded(const std::optional<T>& value, Encode encode) {
    if (!value) return std::nullopt;
    return encode(*value);
}

Bytes narrowWithNul(const std::string& text) {
    const auto bytes = std::as_bytes(std::span(text.c_str(), text.size() + 1));
    return {bytes.begin(), bytes.end()};
}

std::optional<Bytes> answerOfLevel(const BatteryFacts& facts, std::int32_t level) {
    if (const auto raw = facts.rawAnswers.find(level); raw != facts.rawAnswers.end()) return raw->second;
    switch (level) {
    case BatteryInformation:
        return bytesOf(facts.information);
    case BatteryTemperature:
        return encoded(facts.temperature, bytesOf<std::uint32_t>);
    case BatteryEstimatedTime:
        return encoded(facts.estimatedTime, bytesOf<std::uint32_t>);
    case BatteryDeviceName:
        return encoded(facts.deviceName, utf16WithNul);
    case BatteryManufactureDate:
        return encoded(facts.manufactureDate, bytesOf<BATTERY_MANUFACTURE_DATE>);
    case BatteryManufactureName:
        return encoded(facts.manufactureName, utf16WithNul);
    case BatteryUniqueID:
        return encoded(facts.uniqueId, narrowWithNul);
    case BatterySerialNumber:
        return encoded(facts.serialNumber, utf16WithNul);
    default:
        return std::nullopt;
    }
}

Answer put(const Bytes& answer, std::span<std::byte> out) {
    if (answer.size() > out.size()) return Answer::failed(kInsufficientBuffer);
    std::ranges::copy(answer, out.begin());
    return {static_cast<std::uint32_t>(answer.size())};
}

template <class T>
bool take(std::span<const std::byte> in, T& record) {
    if (in.size() < sizeof record) return false;
    std::memcpy(&record, in.data(), sizeof record);
    return true;
}

Answer answerInformation(const BatteryFacts& facts, std::span<const std::byte> in, std::span<std::byte> out) {
    BATTERY_QUERY_INFORMATION query;
    if (!take(in, query)) return Answer::failed(kInvalidParameter);
    if (query.BatteryTag != facts.tag) return Answer::failed(kFileNotFound);
    const auto error = facts.levelErrors.find(query.InformationLevel);
    if (error != facts.levelErrors.end()) return Answer::failed(error->second);
    const auto answer = answerOfLevel(facts, query.InformationLevel);
    return answer ? put(*answer, out) : Answer::failed(kInvalidFunction);
}

} // namespace

Answer answerBattery(const BatteryFacts& facts, std::uint32_t code, std::span<const std::byte> in,
                     std::span<std::byte> out) {
    if (facts.tag == 0) return Answer::failed(kFileNotFound); // as the battery class driver has it
    switch (code) {
    case IOCTL_BATTERY_QUERY_TAG:
        return put(bytesOf(facts.tag), out);
    case IOCTL_BATTERY_QUERY_INFORMATION:
        return answerInformation(facts, in, out);
    case IOCTL_BATTERY_QUERY_STATUS: {
        BATTERY_WAIT_STATUS wait;
        if (!take(in, wait)) return Answer::failed(kInvalidParameter);
        if (wait.BatteryTag != facts.tag) return Answer::failed(kFileNotFound);
        if (facts.statusError) return Answer::failed(facts.statusError);
        return put(bytesOf(facts.status), out);
    }
    default:
        return Answer::failed(kInvalidFunction);
    }
}

} // namespace orv::platform
