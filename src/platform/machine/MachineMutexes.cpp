#include "platform/machine/Node.h"
#include "platform/machine/processor/MachineRing0.h"
#include "platform/text.h"

#include <algorithm>
#include <limits>

namespace orv::platform {

namespace {
constexpr std::int64_t kNsPerMillisecond = 1'000'000;
constexpr std::uint64_t kLongestHold = 1'000'000'000; // milliseconds
constexpr ErrorCode kNotOwner = 288;                  // ERROR_NOT_OWNER
} // namespace

MachineNamedMutexes::MachineNamedMutexes(const Node& root, Requests& requests, MachineClock& clock)
    : requests_(requests), clock_(clock) {
    for (const Node& entry : root.list("mutexes")) {
        Mutex& mutex = mutexes_[entry.text("name")];
        mutex.error = static_cast<ErrorCode>(entry.number("error", std::numeric_limits<ErrorCode>::max(), 0));
        mutex.heldUntilNs =
            static_cast<std::int64_t>(entry.number("heldForMs", kLongestHold, 0)) * kNsPerMillisecond;
        mutex.abandoned = entry.flag("abandoned", false);
        entry.done();
    }
}

Result<MutexHandle> MachineNamedMutexes::open(const std::string& name, ErrorCode planned) {
    const ErrorCode error = planned != kSuccess ? planned : mutexes_[name].error;
    if (error != kSuccess) return Result<MutexHandle>::failed(error);
    handles_[next_] = name;
    return {next_++};
}

Result<MutexHandle> MachineNamedMutexes::CreateMutexW(std::wstring_view name) {
    const std::string text = wideToUtf8(name);
    return open(text, requests_.enter("CreateMutexW", [&] { return text; }));
}

Result<MutexHandle> MachineNamedMutexes::CreateMutexForEveryone(std::wstring_view name) {
    const std::string text = wideToUtf8(name);
    return open(text, requests_.enter("CreateMutexForEveryone", [&] { return text; }));
}

Result<MutexHandle> MachineNamedMutexes::OpenMutexW(std::uint32_t, std::wstring_view name) {
    const std::string text = wideToUtf8(name);
    return open(text, requests_.enter("OpenMutexW", [&] { return text; }));
}

const std::string* MachineNamedMutexes::nameOf(MutexHandle mutex) const {
    const auto found = handles_.find(mutex);
    return found == handles_.end() ? nullptr : &found->second;
}

std::uint32_t MachineNamedMutexes::WaitForSingleObject(MutexHandle handle, std::uint32_t milliseconds) {
    const std::string* name = nameOf(handle);
    const ErrorCode error =
        requests_.enter("WaitForSingleObject", [&] { return name ? *name : std::string("no handle"); });
    if (error != kSuccess || !name) return kWaitFailed;
    Mutex& mutex = mutexes_[*name];
    const std::int64_t left = mutex.heldUntilNs - clock_.now();
    const std::int64_t most = std::int64_t{milliseconds} * kNsPerMillisecond;
    if (left > 0) clock_.sleepNs(std::min(left, most));
    if (left > most) return kWaitTimeout;
    ++mutex.depth;
    return std::exchange(mutex.abandoned, false) ? kWaitAbandoned : kWaitOwned;
}

ErrorCode MachineNamedMutexes::ReleaseMutex(MutexHandle handle) {
    const std::string* name = nameOf(handle);
    if (const ErrorCode error =
            requests_.enter("ReleaseMutex", [&] { return name ? *name : std::string("no handle"); }))
        return error;
    if (!name) return kInvalidHandle;
    Mutex& mutex = mutexes_[*name];
    if (mutex.depth == 0) return kNotOwner;
    --mutex.depth;
    return kSuccess;
}

void MachineNamedMutexes::CloseHandle(MutexHandle handle) {
    const std::string* name = nameOf(handle);
    requests_.enter("CloseHandle", [&] { return name ? *name : std::string("no handle"); });
    handles_.erase(handle);
}

} // namespace orv::platform
