#pragma once

#include "platform/Libraries.h"
#include "platform/records/AdlRecords.h"

#include <string_view>

namespace orv::platform {

/// ADL where the vendor has none: what stands behind its functions. ADL's older functions carry no context,
/// so one server answers at a time, as a process has one driver.
class AdlServer {
  public:
    AdlServer() = default;
    virtual ~AdlServer();
    AdlServer(const AdlServer&) = delete;
    AdlServer& operator=(const AdlServer&) = delete;

    /// From now on the functions ask this server.
    void serve();

    virtual adl::Status create(adl::Allocator, int) { return adl::kOk; }
    virtual adl::Status numberOfAdapters(int& count) = 0;
    /// Fills at most `room` records.
    virtual adl::Status adapterInfo(adl::AdapterInfo* records, std::size_t room) = 0;
    virtual adl::Status adapterActive(int, int& status);
    virtual adl::Status createContext(adl::Allocator, int adapter, adl::Context& context);
    virtual adl::Status destroyContext(adl::Context) { return adl::kOk; }
    virtual adl::Status pmLog(adl::Context, int adapter, adl::PmLogData& data) = 0;
    virtual adl::Status overdriveCaps(int adapter, int& supported, int& enabled, int& version) = 0;
    virtual adl::Status od6Capabilities(adl::Context, int, adl::Od6Capabilities&) {
        return adl::kNotSupported;
    }
    virtual adl::Status od5Parameters(int, adl::Od5Parameters&) { return adl::kNotSupported; }
    virtual adl::Status od5Temperature(int adapter, int controller, adl::Od5Temperature& record) = 0;
    virtual adl::Status odnTemperature(adl::Context, int, int, int&) { return adl::kNotSupported; }
    virtual adl::Status od5Activity(int adapter, adl::Od5Activity& record) = 0;
    virtual adl::Status memorySize(adl::Context, int adapter, std::int64_t& bytes) = 0;
};

/// The function of a name, which asks the server; nullptr for an unknown name.
LibraryFunction servedAdlFunction(std::string_view name);

} // namespace orv::platform
