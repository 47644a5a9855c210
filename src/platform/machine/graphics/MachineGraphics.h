#pragma once

#include "platform/Processes.h"
#include "platform/machine/Requests.h"
#include "platform/machine/drives/MachineAmdRc2.h"
#include "platform/servers/AdlServer.h"
#include "platform/servers/NvapiServer.h"

#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

namespace orv::platform {

class Node;

/// Section "graphics.nvidia" of a machine file: an NVIDIA driver and its adapters. A value that an adapter
/// lacks is one that its function refuses.
class MachineNvidia : public NvapiServer {
  public:
    MachineNvidia(const Node& root, Requests& requests);

    bool isInstalled() const { return installed_; }
    bool lacks(const std::string& function) const { return missing_.contains(function); }
    /// The helper program ran: the adapters wake up. False when the machine has no such program.
    bool runHelper();

    nvapi::Status initialize() override;
    nvapi::Status enumPhysicalGpus(nvapi::GpuHandle* handles, std::uint32_t& count) override;
    nvapi::Status fullName(nvapi::GpuHandle gpu, nvapi::ShortString& name) override;
    nvapi::Status thermalSettings(nvapi::GpuHandle gpu, std::uint32_t sensor,
                                  nvapi::ThermalSettings& record) override;
    nvapi::Status dynamicPstates(nvapi::GpuHandle gpu, nvapi::DynamicPstatesInfo& record) override;
    nvapi::Status memoryInfo(nvapi::GpuHandle gpu, nvapi::MemoryInfo& record) override;
    nvapi::Status errorMessage(nvapi::Status status, nvapi::ShortString& text) override;

  private:
    struct Adapter {
        std::string name;
        std::optional<std::int32_t> temperature;
        std::optional<std::uint32_t> load;
        std::optional<std::uint32_t> memory;
        bool hasSensor = true;
        bool asleep = false;
    };
    /// The status of one request and, when that is kOk, its adapter. `rest` of the arguments is recorded.
    nvapi::Status enter(RequestName function, nvapi::GpuHandle gpu, Adapter*& adapter,
                        std::string_view rest = {});

    Requests& requests_;
    std::vector<Adapter> adapters_;
    std::uint32_t count_ = 0;
    std::set<std::string> missing_;
    bool installed_ = false;
    bool hasHelper_ = false;
};

/// Section "graphics.amd": AMD's display library and the entries of its list.
class MachineAmd : public AdlServer {
  public:
    MachineAmd(const Node& root, Requests& requests);

    /// File name of the library; empty without one.
    const std::string& library() const { return library_; }
    bool lacks(const std::string& function) const { return missing_.contains(function); }

    adl::Status create(adl::Allocator allocator, int connected) override;
    adl::Status numberOfAdapters(int& count) override;
    adl::Status adapterInfo(adl::AdapterInfo* records, std::size_t room) override;
    adl::Status adapterActive(int adapter, int& status) override;
    adl::Status createContext(adl::Allocator allocator, int adapter, adl::Context& context) override;
    adl::Status destroyContext(adl::Context context) override;
    adl::Status pmLog(adl::Context context, int adapter, adl::PmLogData& data) override;
    adl::Status overdriveCaps(int adapter, int& supported, int& enabled, int& version) override;
    adl::Status od6Capabilities(adl::Context context, int adapter, adl::Od6Capabilities& record) override;
    adl::Status od5Parameters(int adapter, adl::Od5Parameters& record) override;
    adl::Status od5Temperature(int adapter, int controller, adl::Od5Temperature& record) override;
    adl::Status odnTemperature(adl::Context context, int adapter, int type, int& temperature) override;
    adl::Status od5Activity(int adapter, adl::Od5Activity& record) override;
    adl::Status memorySize(adl::Context context, int adapter, std::int64_t& bytes) override;

  private:
    struct Caps {
        std::int32_t supported = 1;
        std::int32_t version = 0;
    };
    struct Adapter {
        adl::AdapterInfo info{};
        std::optional<Caps> overdrive;
        std::optional<std::int32_t> overdrive6;
        bool overdrive5 = false;
        std::optional<std::int32_t> od5Temperature;
        std::optional<std::int32_t> odnTemperature;
        std::optional<std::int32_t> activity;
        std::optional<adl::PmLogData> pmLog;
        std::optional<std::int64_t> memory;
    };
    static Adapter readAdapter(const Node& entry, std::size_t position);
    /// The status of one request and, when that is kOk, its adapter. `rest` of the arguments is recorded.
    adl::Status enter(RequestName function, int index, Adapter*& adapter, std::string_view rest = {});
    template <class Value>
    adl::Status answer(RequestName function, int index, std::optional<Value> Adapter::*value, Value& into,
                       std::string_view rest = {});
    /// As above for a function that takes the adapter's context, too.
    template <class Value>
    adl::Status answer(adl::Context context, RequestName function, int index,
                       std::optional<Value> Adapter::*value, Value& into, std::string_view rest = {});

    Requests& requests_;
    std::string library_;
    std::vector<Adapter> adapters_;
    int count_ = 0;
    std::set<std::string> missing_;
};

class MachineLibraries : public Libraries {
  public:
    MachineLibraries(MachineAmd& amd, MachineAmdRc2& amdRc2, Requests& requests)
        : amd_(amd), amdRc2_(amdRc2), requests_(requests) {}

    Result<Library> load(std::wstring_view name) override;
    Result<LibraryFunction> function(Library library, const char* name) override;
    Result<std::wstring> publisher(std::wstring_view path) override;

  private:
    MachineAmd& amd_;
    MachineAmdRc2& amdRc2_;
    Requests& requests_;
};

class MachineGraphicsSdk : public GraphicsSdk {
  public:
    MachineGraphicsSdk(MachineNvidia& nvidia, Requests& requests) : nvidia_(nvidia), requests_(requests) {}

    Result<LibraryFunction> function(std::uint32_t interfaceId) override;

  private:
    MachineNvidia& nvidia_;
    Requests& requests_;
};

/// The only program that a described machine can have is the helper of its NVIDIA driver.
class MachineProcesses : public Processes {
  public:
    MachineProcesses(MachineNvidia& nvidia, Requests& requests) : nvidia_(nvidia), requests_(requests) {}

    ErrorCode runAndWait(const std::wstring& program) override;

  private:
    MachineNvidia& nvidia_;
    Requests& requests_;
};

} // namespace orv::platform
