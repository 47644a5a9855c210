#include "platform/windows/Services.h"

#include <winsock2.h>

#include <windows.h>

#include <algorithm>
#include <cstring>
#include <iphlpapi.h>

namespace orv::platform {

namespace {

constexpr int kMostAttempts = 4;
constexpr ULONG kFirstAdapterBytes = 648;   // a record, rounded up
constexpr ULONG kFirstInterfaceBytes = 864; // a table of one row

constexpr ULONG kAddressFlags = 0x10; // GAA_FLAG_INCLUDE_PREFIX

static_assert(sizeof(IP_ADAPTER_INFO) == 640 && sizeof(MIB_IFROW) == 860 && sizeof(MIB_IFTABLE) == 864);

/// The code that a failed call left behind; the call's own result where it left none, so that no failure
/// reads as a success.
ErrorCode leftBehind(DWORD result) {
    const DWORD last = ::GetLastError();
    return last != 0 ? last : result;
}

/// Texts of fixed arrays end at their NUL or with the array.
std::string bounded(const char* text, std::size_t size) {
    return {text, ::strnlen(text, size)};
}

template <std::size_t Size>
std::string bounded(const char (&text)[Size]) {
    return bounded(text, Size);
}

} // namespace

Result<std::vector<AdapterRecord>> WindowsNetworkTables::adapters() {
    std::vector<std::byte> memory(kFirstAdapterBytes);
    ULONG size = kFirstAdapterBytes;
    DWORD result = ERROR_BUFFER_OVERFLOW;
    ::SetLastError(ERROR_SUCCESS);
    for (int attempt = 0; attempt < kMostAttempts && result == ERROR_BUFFER_OVERFLOW; ++attempt) {
        memory.assign(size, std::byte{0});
        result = ::GetAdaptersInfo(reinterpret_cast<IP_ADAPTER_INFO*>(memory.data()), &size);
    }
    Result<std::vector<AdapterRecord>> answer;
    if (result != ERROR_SUCCESS) {
        answer.error = leftBehind(result);
        return answer;
    }
    for (const auto* at = reinterpret_cast<const IP_ADAPTER_INFO*>(memory.data()); at; at = at->Next)
        answer.value.push_back({bounded(at->Description), bounded(at->IpAddressList.IpAddress.String),
                                bounded(at->IpAddressList.IpMask.String),
                                bounded(at->GatewayList.IpAddress.String)});
    return answer;
}

Result<std::uint32_t> WindowsNetworkTables::adapterAddressesSize() {
    ULONG size = 0;
    const ULONG result = ::GetAdaptersAddresses(AF_UNSPEC, kAddressFlags, nullptr, nullptr, &size);
    return {size, result};
}

Result<std::vector<AdapterAddress>> WindowsNetworkTables::adapterAddresses(std::uint32_t size) {
    using Answer = Result<std::vector<AdapterAddress>>;
    std::vector<std::byte> memory(size);
    auto* first = reinterpret_cast<IP_ADAPTER_ADDRESSES*>(memory.data());
    ULONG room = size;
    const ULONG result = ::GetAdaptersAddresses(AF_UNSPEC, kAddressFlags, nullptr, first, &room);
    if (result != ERROR_SUCCESS) return Answer::failed(result);
    Answer answer;
    for (const auto* at = first; at; at = at->Next) {
        AdapterAddress& adapter = answer.value.emplace_back();
        if (at->Description) adapter.description = at->Description;
        adapter.interfaceType = at->IfType;
        const std::size_t length =
            std::min<std::size_t>(at->PhysicalAddressLength, sizeof at->PhysicalAddress);
        adapter.physicalAddress.assign(at->PhysicalAddress, at->PhysicalAddress + length);
    }
    return answer;
}

ErrorCode WindowsNetworkTables::interfaceRows(std::vector<InterfaceRow>& rows) {
    if (tableMemory_.size() < kFirstInterfaceBytes) tableMemory_.resize(kFirstInterfaceBytes);
    DWORD result = ERROR_INSUFFICIENT_BUFFER;
    ::SetLastError(ERROR_SUCCESS);
    for (int attempt = 0; attempt < kMostAttempts && result == ERROR_INSUFFICIENT_BUFFER; ++attempt) {
        auto size = static_cast<ULONG>(tableMemory_.size());
        result = ::GetIfTable(reinterpret_cast<MIB_IFTABLE*>(tableMemory_.data()), &size, FALSE);
        if (result == ERROR_INSUFFICIENT_BUFFER) tableMemory_.resize(size);
    }
    if (result != ERROR_SUCCESS) return leftBehind(result);

    const auto* table = reinterpret_cast<const MIB_IFTABLE*>(tableMemory_.data());
    const std::size_t room = (tableMemory_.size() - offsetof(MIB_IFTABLE, table)) / sizeof(MIB_IFROW);
    const std::size_t count = table->dwNumEntries < room ? table->dwNumEntries : room;
    rows.resize(count);
    for (std::size_t i = 0; i < count; ++i) {
        const MIB_IFROW& row = table->table[i];
        const auto* text = reinterpret_cast<const char*>(row.bDescr);
        rows[i].description.assign(text, ::strnlen(text, sizeof row.bDescr));
        rows[i].inOctets = row.dwInOctets;
        rows[i].outOctets = row.dwOutOctets;
    }
    return kSuccess;
}

} // namespace orv::platform
