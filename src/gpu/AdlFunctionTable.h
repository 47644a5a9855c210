#pragma once

#include "frame/EncodedText.h"
#include "frame/HWException.h"
#include "platform/Libraries.h"
#include "platform/records/AdlRecords.h"

#include <cstring>

namespace orv {

/// A slot for one function of ADL. Calling it before it is resolved throws, so a function that a version of
/// the library lacks costs only what needs it.
template <class... Args>
class AdlFunction {
  public:
    constexpr explicit AdlFunction(const char* functionName) : name(functionName) {}

    void resolve(platform::LibraryFunction found) {
        address_ = reinterpret_cast<platform::adl::Status (*)(Args...)>(found);
        loaded = found != nullptr;
    }

    platform::adl::Status operator()(Args... args) const {
        if (!address_) throwHW(L"no load function: {}", EncodedText(name, std::strlen(name)).wide);
        return address_(args...);
    }

    const char* const name;
    bool loaded = false;

  private:
    platform::adl::Status (*address_)(Args...) = nullptr;
};

/// The functions of AMD's display library, in the order in which they are resolved.
struct AdlFunctionTable {
    template <class... Args>
    using Function = AdlFunction<Args...>;
    using Allocator = platform::adl::Allocator;
    using Context = platform::adl::Context;

    Function<Allocator, int> mainControlCreate{"ADL_Main_Control_Create"};
    Function<int*> numberOfAdapters{"ADL_Adapter_NumberOfAdapters_Get"};
    Function<platform::adl::AdapterInfo*, int> adapterInfo{"ADL_Adapter_AdapterInfo_Get"};
    Function<int, int*> adapterActive{"ADL_Adapter_Active_Get"};
    Function<int, int*> adapterId{"ADL_Adapter_ID_Get"};
    Function<Allocator, int, Context*> createContext{"ADL2_Main_Control_Create"};
    Function<Context> destroyContext{"ADL2_Main_Control_Destroy"};
    Function<Context, int, platform::adl::PmLogData*> pmLog{"ADL2_New_QueryPMLogData_Get"};
    Function<int, int*, int*, int*> overdriveCaps{"ADL_Overdrive_Caps"};
    Function<Context, int, platform::adl::Od6Capabilities*> od6Capabilities{
        "ADL2_Overdrive6_Capabilities_Get"};
    Function<int, platform::adl::Od5Parameters*> od5Parameters{"ADL_Overdrive5_ODParameters_Get"};
    Function<int, int, platform::adl::Od5Temperature*> od5Temperature{"ADL_Overdrive5_Temperature_Get"};
    Function<Context, int, int, int*> odnTemperature{"ADL2_OverdriveN_Temperature_Get"};
    Function<int, platform::adl::Od5Activity*> od5Activity{"ADL_Overdrive5_CurrentActivity_Get"};
    Function<Context, int, platform::adl::MemoryInfoX4*> memoryInfoX4{"ADL2_Adapter_MemoryInfoX4_Get"};
    Function<Context, int, platform::adl::MemoryInfo*> memoryInfo{"ADL2_Adapter_MemoryInfo_Get"};

    template <class Action>
    void forEach(Action&& action) {
        action(mainControlCreate), action(numberOfAdapters), action(adapterInfo), action(adapterActive);
        action(adapterId), action(createContext), action(destroyContext), action(pmLog);
        action(overdriveCaps), action(od6Capabilities), action(od5Parameters), action(od5Temperature);
        action(odnTemperature), action(od5Activity), action(memoryInfoX4), action(memoryInfo);
    }
};

/// Made at load with every slot unresolved; AdlInit resolves them.
extern AdlFunctionTable adlFunctionTable;

} // namespace orv
